#pragma once
#include <cstdint>

#include "kestrel/foundation/Guid.h"
#include "kestrel/foundation/Result.h"

namespace kestrel {

/// Root of every interface: identity and counted ownership. Counting is atomic; the rest is not guarded.
struct IUnknown {
    static constexpr GUID kIid = MakeGuid("{00000000-0000-0000-C000-000000000046}");

    /// Stores a counted pointer to the interface, or null with `E_NOINTERFACE`.
    virtual HRESULT QueryInterface(const GUID& iid, void** object) = 0;
    virtual std::uint32_t AddRef() = 0;
    /// Returns the count that is left; the object is gone at 0.
    virtual std::uint32_t Release() = 0;

protected:
    ~IUnknown() = default;  // objects end by Release only
};

}  // namespace kestrel
