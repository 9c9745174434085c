#include "kestrel/storage/StorageFileException.h"

#include <cerrno>
#include <system_error>

namespace kestrel {
namespace {

const char* Line(FileCause cause) {
    switch (cause) {
        case FileCause::Other:
            return "";
        case FileCause::NotFound:
            return "\nThe file could not be located.";
        case FileCause::BadPath:
            return "\nAll or part of the path is invalid.";
        case FileCause::TooManyOpen:
            return "\nThe permitted number of open files was exceeded.";
        case FileCause::AccessDenied:
            return "\nThe file could not be accessed.";
        case FileCause::InvalidFile:
            return "\nThere was an attempt to use an invalid file handle.";
        case FileCause::RemoveCurrent:
            return "\nThe current working directory cannot be removed.";
        case FileCause::NoMoreEntries:
            return "\nThere are no more directory entries.";
        case FileCause::BadSeek:
            return "\nThere was an error trying to set the file pointer.";
        case FileCause::Hardware:
            return "\nThere was a hardware error.";
        case FileCause::SharingViolation:
            return "\nSHARE.EXE was not loaded, or a shared region was locked.";
        case FileCause::LockViolation:
            return "\nThere was an attempt to lock a region that was already locked.";
        case FileCause::DiskFull:
            return "\nThe disk is full.";
        case FileCause::EndOfFile:
            return "\nThe end of file was reached.";
    }
    return "";
}

FileCause CauseOf(int error) {
    switch (error) {
        case ENOENT:
            return FileCause::NotFound;
        case ENOTDIR:
        case ENAMETOOLONG:
            return FileCause::BadPath;
        case EMFILE:
        case ENFILE:
            return FileCause::TooManyOpen;
        case EACCES:
        case EPERM:
        case EROFS:
        case EISDIR:
        case EXDEV:
        case ELOOP:
            return FileCause::AccessDenied;
        case EBADF:
            return FileCause::InvalidFile;
        case EOVERFLOW:
        case ESPIPE:
            return FileCause::BadSeek;
        case EIO:
            return FileCause::Hardware;
        case EWOULDBLOCK:
            return FileCause::SharingViolation;
        case EFBIG:
        case EDQUOT:
        case ENOSPC:
            return FileCause::DiskFull;
        default:
            return FileCause::Other;
    }
}

}  // namespace

StorageFileException::StorageFileException(const std::string& path, FileCause cause)
    : CQvError("Error processing file '" + path + "'" + Line(cause), static_cast<int>(cause)), path_(path) {}

StorageFileException::StorageFileException(const std::string& path, int error)
    : StorageFileException(path, CauseOf(error)) {
    error_ = error;
}

std::string StorageFileException::OneLine() const {
    std::string why = "it could not be read or written";
    if (Cause() == FileCause::SharingViolation) {
        why = "another program holds it";
    } else if (error_ != 0) {
        why = std::generic_category().message(error_);
    } else if (const char* line = Line(Cause()); *line) {
        why = line + 1;
        if (why.back() == '.') why.pop_back();
    }
    return path_ + ": " + why;
}

bool StorageFileException::MayPass() const {
    return Cause() == FileCause::AccessDenied || Cause() == FileCause::SharingViolation ||
           Cause() == FileCause::LockViolation;
}

}  // namespace kestrel
