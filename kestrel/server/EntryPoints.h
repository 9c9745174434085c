#pragma once
#include "kestrel/foundation/Export.h"
#include "kestrel/foundation/Guid.h"
#include "kestrel/foundation/Result.h"

// What a host that loads the library by name looks for. Names are not mangled.
extern "C" {

/// The class factory of a class: `IClassFactory` or `IUnknown`.
KESTREL_API kestrel::HRESULT DllGetClassObject(const kestrel::GUID& clsid, const kestrel::GUID& iid, void** object);
/// 0 when no object, factory or lock of the library is held, otherwise 1.
KESTREL_API kestrel::HRESULT DllCanUnloadNow();
/// Writes the class table into the store of `SetClassStore`, if there is one.
KESTREL_API kestrel::HRESULT DllRegisterServer();
/// Removes what `DllRegisterServer` wrote.
KESTREL_API kestrel::HRESULT DllUnregisterServer();
}
