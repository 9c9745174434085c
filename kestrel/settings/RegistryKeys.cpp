#include "kestrel/settings/RegistryKeys.h"

#include <algorithm>
#include <exception>

#include "kestrel/settings/Branches.h"
#include "kestrel/settings/Store.h"

namespace kestrel {

std::filesystem::path MachineStore() { return SystemFolder() / "settings.db"; }
std::filesystem::path SharedStore() { return SystemFolder() / "shared" / "settings.db"; }
std::filesystem::path UserStore() { return ConfigFolder() / "settings.db"; }

void PrepareSharedStore() {
    const auto folder = SharedStore().parent_path();
    std::error_code ignored;  // who may not make it finds it made by another, or fails at the store
    std::filesystem::create_directories(folder, ignored);
    std::filesystem::permissions(folder, std::filesystem::perms::all, ignored);
}

namespace {

/// A branch within a file.
struct Place {
    std::filesystem::path file;
    std::string prefix;

    std::string Key(std::string_view key) const { return prefix + std::string(key); }
};

/// In the order in which they are read.
std::vector<Place> PlacesOf(HKEY branch) {
    switch (branch) {
        case HKEY_CLASSES_ROOT:
            return {{UserStore(), "Software\\Classes\\"}, {MachineStore(), "Software\\Classes\\"}};
        case HKEY_CURRENT_USER:
            return {{UserStore(), ""}};
        case HKEY_LOCAL_MACHINE:
            return {{MachineStore(), ""}, {SharedStore(), ""}};
    }
    return {};
}

/// In the order in which they are tried for a write.
std::vector<Place> PlacesToWrite(HKEY branch) {
    auto places = PlacesOf(branch);
    if (branch == HKEY_CLASSES_ROOT) std::reverse(places.begin(), places.end());  // all users first
    if (branch == HKEY_LOCAL_MACHINE) places.pop_back();                          // the shared one is not for classes
    return places;
}

}  // namespace

Status RegistryWrite(HKEY branch, const std::vector<RegistryText>& texts) {
    return Guarded([&] {
        Status status = kBadArguments;
        for (const auto& place : PlacesToWrite(branch)) {
            try {
                Store store(place.file, Store::Access::kWrite);
                for (const auto& text : texts) store.Set(place.Key(text.key), text.name, text.text);
                store.Commit();
                if (branch != HKEY_CURRENT_USER) PrepareSharedStore();
                return kSuccess;
            } catch (const StoreError& error) {
                status = error.status;
            }
        }
        return status;
    });
}

Status RegistryRead(HKEY branch, const char* key, const char* name, QvString& text) {
    if (!key || !name) return kBadArguments;
    return Guarded([&] {
        Status status = kKeyMissing;
        for (const auto& place : PlacesOf(branch)) {
            const Store store(place.file, Store::Access::kRead);
            if (const auto found = store.Get(place.Key(key), name)) {
                text = ToText(*found);
                return kSuccess;
            }
            if (store.HasKey(place.Key(key))) status = kKeyUnreadable;
        }
        return status;
    });
}

Status RegistryDelete(HKEY branch, const std::vector<std::string>& keys) {
    const auto isBranch = [](const std::string& key) { return key.find_first_not_of('\\') == std::string::npos; };
    if (std::any_of(keys.begin(), keys.end(), isBranch)) return kBadArguments;
    return Guarded([&] {
        Status status = kKeyMissing;
        for (const auto& place : PlacesOf(branch)) {
            const auto exists = [&](const std::string& key) {
                return Store(place.file, Store::Access::kRead).HasKey(place.Key(key));
            };
            if (std::none_of(keys.begin(), keys.end(), exists)) continue;  // a store is not made for this
            try {
                Store store(place.file, Store::Access::kWrite);
                for (const auto& key : keys) store.DeleteKey(place.Key(key));
                store.Commit();
                if (status == kKeyMissing) status = kSuccess;
            } catch (const StoreError&) {
                status = kKeyNotWritable;
            }
        }
        return status;
    });
}

int DeleteKeyAndAllSubkeys(HKEY branch, const char* key) { return key ? RegistryDelete(branch, {key}) : kBadArguments; }

Status RegistryList(HKEY branch, const char* key, RegistryContents& contents) {
    if (!key) return kBadArguments;
    return Guarded([&] {
        Status status = kKeyMissing;
        contents = {};
        for (const auto& place : PlacesOf(branch)) {
            const Store store(place.file, Store::Access::kRead);
            if (!store.HasKey(place.Key(key))) continue;
            status = kSuccess;
            for (auto& name : store.Subkeys(place.Key(key)))
                if (std::find(contents.subkeys.begin(), contents.subkeys.end(), name) == contents.subkeys.end())
                    contents.subkeys.push_back(std::move(name));
            for (auto& text : store.Texts(place.Key(key))) {
                const auto same = [&](const auto& other) { return other.first == text.first; };
                if (std::none_of(contents.texts.begin(), contents.texts.end(), same))
                    contents.texts.push_back(std::move(text));
            }
        }
        std::sort(contents.subkeys.begin(), contents.subkeys.end());
        std::sort(contents.texts.begin(), contents.texts.end());
        return status;
    });
}

}  // namespace kestrel
