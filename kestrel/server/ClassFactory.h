#pragma once
#include <atomic>

#include "kestrel/foundation/Export.h"
#include "kestrel/server/ClassTable.h"
#include "kestrel/server/IClassFactory.h"

namespace kestrel {

/// Makes objects of one row of the class table. It lives as long as the library; each reference that somebody holds
/// keeps the library loaded.
class CClassFactory final : public IClassFactory {
public:
    explicit CClassFactory(const ClassRow& row) : row_(row) {}
    CClassFactory(const CClassFactory&) = delete;
    CClassFactory& operator=(const CClassFactory&) = delete;

    HRESULT QueryInterface(const GUID& iid, void** object) override;
    std::uint32_t AddRef() override;
    std::uint32_t Release() override;
    /// Memory that does not suffice becomes `E_OUTOFMEMORY`.
    HRESULT CreateInstance(IUnknown* outer, const GUID& iid, void** object) override;
    HRESULT LockServer(bool lock) override;

private:
    const ClassRow& row_;
    std::atomic<std::uint32_t> references_{0};
};

/// An interface of the factory of a class, made at the first request and kept. From any thread.
/// Not in the table: null and `CLASS_E_CLASSNOTAVAILABLE`.
KESTREL_API HRESULT GetClassObject(const GUID& clsid, const GUID& iid, void** object);

}  // namespace kestrel
