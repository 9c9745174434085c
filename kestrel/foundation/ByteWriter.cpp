#include "kestrel/foundation/ByteWriter.h"

#include <cerrno>
#include <new>
#include <stdexcept>

namespace kestrel {

bool ByteWriter::Write(const void* from, std::size_t count) noexcept {
    if (error_ == 0 && count > 0) {
        if (file_) {
            errno = 0;
            if (std::fwrite(from, 1, count, file_) != count) error_ = errno ? errno : EIO;
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
    }
    errno = error_;
    return error_ == 0;
}

}  // namespace kestrel
