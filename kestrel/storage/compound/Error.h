#pragma once
#include <cstdint>
#include <optional>
#include <utility>

#include "kestrel/foundation/Export.h"

namespace kestrel::compound {

/// What an operation came to. The engine throws nothing; every failure is one of these.
enum class [[nodiscard]] Error : std::uint8_t{
    kNone,
    kNotFound,          ///< no element or file of that name
    kPathNotFound,      ///< a folder on the way to the file is missing
    kExists,            ///< an element or file of that name is there already
    kWrongKind,         ///< a storage was asked for and the name is a stream's, or the other way round
    kAccessDenied,      ///< opened for reading only, already open, or the system refuses
    kShareViolation,    ///< another opener holds the file
    kLockViolation,     ///< the file system cannot lock the file
    kTooManyOpenFiles,  ///< the process or the system has no descriptor left
    kDiskFull,          ///< no room on the disk, or a quota or file size limit is reached
    kTooLarge,          ///< beyond what the format can hold: 2 GB in version 3, a stream of 16 TB in version 4
    kReadFault,         ///< the system could not read
    kWriteFault,        ///< the system could not write or flush
    kNotCompound,       ///< not a compound file, or of a version that nobody has described
    kDamaged,           ///< the tables contradict themselves; `Repair` saves what can be saved
    kInvalidName,       ///< empty, longer than 31 UTF-16 units, or with one of / \ : ! or NUL
    kInvalidArgument,   ///< a position before the beginning, a store that is not empty, ...
    kReverted,          ///< the element was removed while this handle was open
    kOutOfMemory,
};

/// One short English phrase without a period, such as "the disk is full".
KESTREL_API const char* Text(Error error);

/// A value, or the error that stood in its way.
template <class T>
class [[nodiscard]] Result {
public:
    Result(T value) : value_(std::move(value)) {}
    Result(Error error) : error_(error) {}

    explicit operator bool() const { return value_.has_value(); }
    Error Failure() const { return error_; }

    /// Only when there is a value.
    T& operator*() & { return *value_; }
    const T& operator*() const& { return *value_; }
    T&& operator*() && { return *std::move(value_); }
    T* operator->() { return &*value_; }
    const T* operator->() const { return &*value_; }

private:
    std::optional<T> value_;
    Error error_ = Error::kNone;
};

}  // namespace kestrel::compound
