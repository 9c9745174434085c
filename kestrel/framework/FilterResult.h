#pragma once
#include "kestrel/foundation/Result.h"

namespace kestrel {

/// Result of a step inside a filter: an HRESULT that the caller has to look at or pass on. It converts from and to
/// HRESULT, so that an operation of an interface returns it as it is. It has no truth value, since 0 means success.
class [[nodiscard]] FilterResult {
public:
    constexpr FilterResult(HRESULT code) : code_(code) {}
    constexpr operator HRESULT() const { return code_; }
    explicit operator bool() const = delete;

    /// Only `S_OK` means that the work is done: `S_FALSE`, which other interfaces count as a success, tells of an
    /// abort.
    constexpr bool Ok() const { return code_ == S_OK; }
    constexpr bool Failed() const { return code_ != S_OK; }

private:
    HRESULT code_;
};

}  // namespace kestrel
