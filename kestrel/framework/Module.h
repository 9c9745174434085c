#pragma once
#include "kestrel/foundation/Export.h"

namespace kestrel {

/// Counts what keeps the library loaded: live objects and locks.
class KESTREL_API Module {
public:
    static void Lock();
    static void Unlock();
    /// Live objects and locks together.
    static long Count();
};

/// Base of every counted object of the library: it counts in the module from creation to its end.
class ModuleObject {
public:
    ModuleObject() { Module::Lock(); }
    ModuleObject(const ModuleObject&) = delete;
    ModuleObject& operator=(const ModuleObject&) = delete;

protected:
    ~ModuleObject() { Module::Unlock(); }
};

}  // namespace kestrel
