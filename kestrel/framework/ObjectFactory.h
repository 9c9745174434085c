#pragma once
#include "kestrel/foundation/Export.h"
#include "kestrel/foundation/Guid.h"
#include "kestrel/foundation/Result.h"

namespace kestrel {

/// How the framework and the filters reach classes that they do not know: the class table registers itself here
/// before `main` begins. From any thread.
class KESTREL_API ObjectFactory {
public:
    /// The ProgID of a class, a static text; null when there is no such class.
    virtual const char* ProgIdOf(const GUID& clsid) const = 0;
    /// Makes an object of the class with this ProgID and asks it for an interface; null and a failure otherwise.
    virtual HRESULT Create(const char* progId, const GUID& iid, void** object) const = 0;

    static void Set(const ObjectFactory* factory);
    static const ObjectFactory& Get();

protected:
    ~ObjectFactory() = default;
};

}  // namespace kestrel
