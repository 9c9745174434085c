#include "kestrel/storage/compound/Error.h"

namespace kestrel::compound {

const char* Text(Error error) {
    switch (error) {
        case Error::kNone:
            return "no error";
        case Error::kNotFound:
            return "there is nothing of that name";
        case Error::kPathNotFound:
            return "a folder of the path is missing";
        case Error::kExists:
            return "the name is taken";
        case Error::kWrongKind:
            return "the element is of the other kind";
        case Error::kAccessDenied:
            return "access is denied";
        case Error::kShareViolation:
            return "the file is open elsewhere";
        case Error::kLockViolation:
            return "the file cannot be locked";
        case Error::kTooManyOpenFiles:
            return "too many files are open";
        case Error::kDiskFull:
            return "the disk is full";
        case Error::kTooLarge:
            return "the file would become larger than its format allows";
        case Error::kReadFault:
            return "the file cannot be read";
        case Error::kWriteFault:
            return "the file cannot be written";
        case Error::kNotCompound:
            return "this is no compound file";
        case Error::kDamaged:
            return "the compound file is damaged";
        case Error::kInvalidName:
            return "the name is not allowed";
        case Error::kInvalidArgument:
            return "an argument is out of range";
        case Error::kReverted:
            return "the element was removed";
        case Error::kOutOfMemory:
            return "there is not enough memory";
    }
    return "an unknown error";
}

}  // namespace kestrel::compound
