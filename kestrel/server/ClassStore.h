#pragma once
#include <cstdint>
#include <string>

#include "kestrel/foundation/Export.h"
#include "kestrel/foundation/Guid.h"
#include "kestrel/foundation/Result.h"

namespace kestrel {

/// Filters belong to this category; the chain and the creator do not.
inline constexpr GUID kFilterCategory = MakeGuid("{7092B861-705D-4E79-BF7E-27DA5DE83708}");

/// Where classes are registered: a tree of keys with a default value each, and the categories. Keys are paths below the
/// root of classes, their parts separated by a backslash. A step that fails does not stop the next one.
class ClassStore {
public:
    /// Creates the key when it is missing.
    virtual void SetDefault(const std::string& key, const std::string& value) = 0;
    virtual void DeleteKeyAndAllSubkeys(const std::string& key) = 0;
    virtual void RegisterCategory(const GUID& category, std::uint32_t locale, const std::string& description) = 0;
    virtual void UnregisterCategory(const GUID& category) = 0;
    virtual void RegisterClassImplCategory(const GUID& clsid, const GUID& category) = 0;
    virtual void UnregisterClassImplCategory(const GUID& clsid, const GUID& category) = 0;

protected:
    ~ClassStore() = default;
};

/// Replaces the settings' class root, which `DllRegisterServer` and `DllUnregisterServer`
/// work on, by another store; it is not owned. Null restores the settings. Nothing in the library needs a registered
/// class.
KESTREL_API void SetClassStore(ClassStore* store);

/// Writes or removes the keys of every class of the table, in its order. `E_FAIL` when the settings could not be
/// written.
[[nodiscard]] HRESULT RegisterClasses();
[[nodiscard]] HRESULT UnregisterClasses();

}  // namespace kestrel
