#include "kestrel/server/EntryPoints.h"

#include "kestrel/framework/Module.h"
#include "kestrel/server/ClassFactory.h"
#include "kestrel/server/ClassStore.h"

extern "C" {

kestrel::HRESULT DllGetClassObject(const kestrel::GUID& clsid, const kestrel::GUID& iid, void** object) {
    return kestrel::GetClassObject(clsid, iid, object);
}

kestrel::HRESULT DllCanUnloadNow() { return kestrel::Module::Count() == 0 ? kestrel::S_OK : kestrel::S_FALSE; }

kestrel::HRESULT DllRegisterServer() { return kestrel::RegisterClasses(); }

kestrel::HRESULT DllUnregisterServer() { return kestrel::UnregisterClasses(); }
}
