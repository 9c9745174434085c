#include "kestrel/server/ClassFactory.h"

#include <map>
#include <mutex>
#include <new>

#include "kestrel/framework/Module.h"

namespace kestrel {

HRESULT CClassFactory::QueryInterface(const GUID& iid, void** object) {
    *object = iid == IUnknown::kIid || iid == IClassFactory::kIid ? static_cast<IClassFactory*>(this) : nullptr;
    if (!*object) return E_NOINTERFACE;
    AddRef();
    return S_OK;
}

std::uint32_t CClassFactory::AddRef() {
    Module::Lock();
    return references_.fetch_add(1, std::memory_order_relaxed) + 1;
}

std::uint32_t CClassFactory::Release() {
    const std::uint32_t left = references_.fetch_sub(1, std::memory_order_acq_rel) - 1;
    Module::Unlock();
    return left;
}

HRESULT CClassFactory::CreateInstance(IUnknown* outer, const GUID& iid, void** object) {
    *object = nullptr;
    if (outer) return CLASS_E_NOAGGREGATION;
    try {
        return row_.create(iid, object);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

HRESULT CClassFactory::LockServer(bool lock) {
    lock ? Module::Lock() : Module::Unlock();
    return S_OK;
}

HRESULT GetClassObject(const GUID& clsid, const GUID& iid, void** object) {
    static std::mutex guard;
    // Never destroyed: a host's own statics may hold objects, and with them factories, to the very end.
    static auto& factories = *new std::map<const ClassRow*, CClassFactory>;
    *object = nullptr;
    const ClassRow* const row = FindClass(clsid);
    if (!row) return CLASS_E_CLASSNOTAVAILABLE;
    const std::lock_guard lock(guard);
    return factories.try_emplace(row, *row).first->second.QueryInterface(iid, object);
}

}  // namespace kestrel
