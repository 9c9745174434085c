#pragma once

namespace kestrel {

/// Results of the settings' operations; none may be dropped. `TMRegistry::GetErrorText` has the texts.
enum [[nodiscard]] Status : int{
    kSuccess = 0,          kBufferTooSmall = -1, kKeyUnreadable = -2,   kKeyMissing = -3,
    kKeyNotWritable = -4,  kKeyNotCreated = -5,  kBadArguments = -6,    kIniNotWritable = -7,
    kNoIniValue = -8,      kPathTooLong = -9,    kNotInitialized = -10, kBadConversion = -11,
    kDefaultTooLong = -12, kKeptExisting = -13,  kIniMissing = -14,     kIniUnreadable = -15,
};

}  // namespace kestrel
