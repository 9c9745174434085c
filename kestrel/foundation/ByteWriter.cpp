#include "kestrel/foundation/ByteWriter.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <stdexcept>

namespace kestrel {

bool ByteWriter::Write(const void* from, std::size_t count) noexcept {
    if (error_ == 0 && count > 0) {
        errno = 0;
        if (file_) {
            if (std::fwrite(from, 1, count, file_) != count) Fail();
        } else {
            const auto* bytes = static_cast<const std::uint8_t*>(from);
            try {
                bytes_->insert(bytes_->end(), bytes, bytes + count);
            } catch (const std::bad_alloc&) {
                error_ = ENOMEM;
            } catch (const std::length_error&) {
                error_ = ENOMEM;
            }
        }
        written_ += count;
    }
    errno = error_;
    return error_ == 0;
}

bool ByteWriter::CanReplace() const noexcept {
    if (!file_) return true;
    const int descriptor = fileno(file_);
    if (descriptor < 0) return ftello(file_) >= 0;  // a stream of the program's own that can seek
    struct stat status {};
    if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) return false;
    return (fcntl(descriptor, F_GETFL) & O_APPEND) == 0;
}

bool ByteWriter::Reserve(std::uint64_t count) noexcept {
    constexpr std::uint8_t kZero = 0;
    if (count == 0) return Write(nullptr, 0);
    if (error_ == 0 && file_) {
        errno = 0;
        if (fseeko(file_, static_cast<off_t>(count - 1), SEEK_CUR) != 0) Fail();
    } else if (error_ == 0) {
        try {
            bytes_->resize(bytes_->size() + count - 1);
        } catch (const std::bad_alloc&) {
            error_ = ENOMEM;
        } catch (const std::length_error&) {
            error_ = ENOMEM;
        }
    }
    written_ += count - 1;
    return Write(&kZero, 1);
}

bool ByteWriter::Replace(std::uint64_t position, const void* from, std::size_t count) noexcept {
    if (error_ == 0 && count > 0) {
        errno = 0;
        if (!file_) {
            const auto* bytes = static_cast<const std::uint8_t*>(from);
            std::copy_n(bytes, count, bytes_->end() - static_cast<std::ptrdiff_t>(written_ - position));
        } else {
            const off_t end = ftello(file_);
            const off_t at = end - static_cast<off_t>(written_ - position);
            if (end < 0 || fseeko(file_, at, SEEK_SET) != 0 || std::fwrite(from, 1, count, file_) != count ||
                fseeko(file_, end, SEEK_SET) != 0)
                Fail();
        }
    }
    errno = error_;
    return error_ == 0;
}

void ByteWriter::Fail() noexcept { error_ = errno ? errno : EIO; }

}  // namespace kestrel
