#include "kestrel/storage/StorageFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

#include "kestrel/storage/CopyBlock.h"
#include "kestrel/storage/StorageFileException.h"

namespace kestrel {
namespace {

/// Whether the name still leads to the open file: another writer may have put a new one in its place meanwhile.
bool IsStill(const std::string& path, int descriptor) {
    struct stat named, held;
    return stat(path.c_str(), &named) == 0 && fstat(descriptor, &held) == 0 && named.st_dev == held.st_dev &&
           named.st_ino == held.st_ino;
}

/// Opens and locks a regular file; -1 with `errno`. A pipe or device is refused, without waiting for its other end.
int OpenLocked(const std::string& path, bool write) {
    for (;;) {
        const int descriptor = open(path.c_str(), (write ? O_RDWR : O_RDONLY) | O_NONBLOCK | O_CLOEXEC);
        if (descriptor < 0) return -1;
        struct stat status;
        int error = fstat(descriptor, &status) != 0 ? errno : S_ISREG(status.st_mode) ? 0 : EACCES;
        // A file system without locks is worked on without them.
        if (error == 0 && flock(descriptor, (write ? LOCK_EX : LOCK_SH) | LOCK_NB) != 0 && errno == EWOULDBLOCK)
            error = errno;
        if (error == 0 && IsStill(path, descriptor)) return descriptor;
        close(descriptor);
        if (error != 0) {
            errno = error;
            return -1;
        }
    }
}

}  // namespace

StorageFile::StorageFile(const std::string& path, const Flags& flags)
    : path_(path), mayRead_(flags.read || !flags.write), mayWrite_(flags.write) {
    OpenExisting(flags);
    if (existing_ && !(flags.create && flags.truncate)) {
        file_ = existing_;
        return;
    }
    try {
        Replace(false);
    } catch (...) {
        if (existing_) std::fclose(existing_);
        throw;
    }
}

StorageFile::~StorageFile() {
    replacement_.reset();
    if (existing_) std::fclose(existing_);
}

void StorageFile::OpenExisting(const Flags& flags) {
    const int descriptor = OpenLocked(path_, mayWrite_ || (flags.create && flags.truncate));
    if (descriptor < 0) {
        if (errno == ENOENT && flags.create) return;
        Fail(errno);
    }
    existing_ = fdopen(descriptor, "rb");
    if (!existing_) {
        const int error = errno;
        close(descriptor);
        Fail(error);
    }
}

void StorageFile::Fail(int error) const { throw StorageFileException(path_, error); }

/// From here on the changes go to a new file, which begins empty or with what the old one holds.
void StorageFile::Replace(bool keepContent) {
    auto replacement = std::make_unique<FileReplacement>(path_);
    std::FILE* target = replacement->Stream();
    if (!target) Fail(replacement->ErrorCode());
    if (keepContent) {
        const off_t position = ftello(existing_);
        std::rewind(existing_);
        std::vector<char> buffer(kCopyBlock);
        for (std::size_t count; (count = std::fread(buffer.data(), 1, buffer.size(), existing_)) > 0;)
            if (std::fwrite(buffer.data(), 1, count, target) != count) Fail(errno);
        if (std::ferror(existing_)) Fail(EIO);
        if (fseeko(target, position, SEEK_SET) != 0) Fail(errno);
    }
    replacement_ = std::move(replacement);
    file_ = target;
    last_ = Last::None;
}

/// Between reading and writing a stream wants to be positioned anew.
void StorageFile::Turn(Last next) {
    if (last_ != next && last_ != Last::None && fseeko(file_, 0, SEEK_CUR) != 0) Fail(errno);
    last_ = next;
}

std::size_t StorageFile::Read(void* buffer, std::size_t count) {
    if (!mayRead_) throw StorageFileException(path_, FileCause::AccessDenied);
    if (count == 0) return 0;  // without bytes the buffer may be null
    Turn(Last::Read);
    const std::size_t got = std::fread(buffer, 1, count, file_);
    if (got < count && std::ferror(file_)) Fail(errno);
    return got;
}

void StorageFile::Write(const void* buffer, std::size_t count) {
    if (!mayWrite_) throw StorageFileException(path_, FileCause::AccessDenied);
    if (!replacement_) Replace(true);
    Turn(Last::Write);
    if (count > 0 && std::fwrite(buffer, 1, count, file_) != count) {
        writeError_ = errno;
        Fail(writeError_);
    }
}

std::int64_t StorageFile::Seek(std::int64_t offset, int whence) {
    if (fseeko(file_, offset, whence) != 0) throw StorageFileException(path_, FileCause::BadSeek);
    last_ = Last::None;
    return Tell();
}

std::int64_t StorageFile::Tell() {
    const off_t position = ftello(file_);
    if (position < 0) Fail(errno);
    return position;
}

std::int64_t StorageFile::Length() {
    struct stat status;
    if ((last_ == Last::Write && std::fflush(file_) != 0) || fstat(fileno(file_), &status) != 0) Fail(errno);
    return status.st_size;
}

void StorageFile::SetLength(std::int64_t bytes) {
    if (!mayWrite_) throw StorageFileException(path_, FileCause::AccessDenied);
    if (!replacement_) Replace(true);
    const std::int64_t position = Tell();
    if (std::fflush(file_) != 0 || ftruncate(fileno(file_), bytes) != 0) Fail(errno);
    Seek(position, SEEK_SET);
}

void StorageFile::Commit() {
    if (writeError_ != 0) Fail(writeError_);
    if (replacement_ && !replacement_->Commit()) Fail(replacement_->ErrorCode());
}

std::FILE* StorageFile::Stream() {
    Turn(Last::Read);
    return file_;
}

}  // namespace kestrel
