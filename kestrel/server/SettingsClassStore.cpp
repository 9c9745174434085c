#include "kestrel/server/SettingsClassStore.h"

#include <fmt/format.h>

namespace kestrel {
namespace {

std::string CategoryKey(const GUID& category) { return "Component Categories\\" + ToString(category); }
std::string MemberKey(const GUID& clsid, const GUID& category) {
    return "CLSID\\" + ToString(clsid) + "\\Implemented Categories\\" + ToString(category);
}

}  // namespace

void SettingsClassStore::SetDefault(const std::string& key, const std::string& value) {
    texts_.push_back({key, "", value});
}

void SettingsClassStore::DeleteKeyAndAllSubkeys(const std::string& key) { removed_.push_back(key); }

void SettingsClassStore::RegisterCategory(const GUID& category, std::uint32_t locale, const std::string& description) {
    texts_.push_back({CategoryKey(category), fmt::format("{:x}", locale), description});
}

void SettingsClassStore::UnregisterCategory(const GUID& category) { removed_.push_back(CategoryKey(category)); }

void SettingsClassStore::RegisterClassImplCategory(const GUID& clsid, const GUID& category) {
    texts_.push_back({MemberKey(clsid, category), "", ""});
}

void SettingsClassStore::UnregisterClassImplCategory(const GUID& clsid, const GUID& category) {
    removed_.push_back(MemberKey(clsid, category));
}

Status SettingsClassStore::Keep() {
    Status removed = removed_.empty() ? kSuccess : RegistryDelete(HKEY_CLASSES_ROOT, removed_);
    if (removed == kKeyMissing) removed = kSuccess;  // there was nothing to remove
    const Status written = texts_.empty() ? kSuccess : RegistryWrite(HKEY_CLASSES_ROOT, texts_);
    removed_.clear();
    texts_.clear();
    return removed != kSuccess ? removed : written;
}

}  // namespace kestrel
