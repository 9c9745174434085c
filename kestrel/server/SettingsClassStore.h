#pragma once
#include <string>
#include <vector>

#include "kestrel/server/ClassStore.h"
#include "kestrel/settings/RegistryKeys.h"

namespace kestrel {

/// Registers classes in the class root of the settings: for all users where the caller may write there, otherwise for
/// the current one. What is asked for is done by `Keep`, in two steps that each happen whole or not at all: one process
/// reading meanwhile never sees half a class.
class SettingsClassStore final : public ClassStore {
public:
    void SetDefault(const std::string& key, const std::string& value) override;
    void DeleteKeyAndAllSubkeys(const std::string& key) override;
    void RegisterCategory(const GUID& category, std::uint32_t locale, const std::string& description) override;
    void UnregisterCategory(const GUID& category) override;
    void RegisterClassImplCategory(const GUID& clsid, const GUID& category) override;
    void UnregisterClassImplCategory(const GUID& clsid, const GUID& category) override;

    /// Removes, then writes; a failing step does not stop the next one. The first failure is returned.
    Status Keep();

private:
    std::vector<RegistryText> texts_;
    std::vector<std::string> removed_;
};

}  // namespace kestrel
