#pragma once
#include "kestrel/foundation/Unknown.h"

namespace kestrel {

/// Makes objects of one class.
struct IClassFactory : IUnknown {
    static constexpr GUID kIid = MakeGuid("{00000001-0000-0000-C000-000000000046}");

    /// `outer` must be null: no class can be part of another object.
    virtual HRESULT CreateInstance(IUnknown* outer, const GUID& iid, void** object) = 0;
    /// Keeps the library loaded (true) or lets it go again.
    virtual HRESULT LockServer(bool lock) = 0;

protected:
    ~IClassFactory() = default;
};

}  // namespace kestrel
