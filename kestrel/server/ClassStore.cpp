#include "kestrel/server/ClassStore.h"

#include <dlfcn.h>

#include <atomic>

#include "kestrel/framework/PdibFilterChain.h"
#include "kestrel/server/ClassTable.h"
#include "kestrel/server/SettingsClassStore.h"

namespace kestrel {
namespace {

std::atomic<ClassStore*> currentStore{nullptr};

const char* StoredDescription(const ClassRow& row) {
    if (row.IsFilter()) return "Q&V Lumen Works - Tarvenmoor Picture Filter";
    return row.description == &kChain ? "TMFilter - Filterchain" : "TMFilter - Filtercreator";
}

/// "TMFilter.Invert" of "TMFilter.Invert.1".
std::string VersionIndependent(const std::string& progId) { return progId.substr(0, progId.rfind('.')); }

/// The file that this library was loaded from.
std::string ModulePath() {
    Dl_info info{};
    return dladdr(&currentStore, &info) && info.dli_fname ? info.dli_fname : "";
}

void Register(ClassStore& store, const ClassRow& row, const std::string& module) {
    const std::string description = StoredDescription(row);
    const std::string progId = row.description->progId;
    const std::string independent = VersionIndependent(progId);
    const std::string clsid = ToString(row.description->clsid);

    store.SetDefault("CLSID\\" + clsid, description);
    store.SetDefault("CLSID\\" + clsid + "\\InProcServer32", module);
    store.SetDefault("CLSID\\" + clsid + "\\ProgID", progId);
    store.SetDefault("CLSID\\" + clsid + "\\VersionIndependentProgID", independent);
    store.SetDefault(progId, description);
    store.SetDefault(progId + "\\CLSID", clsid);
    store.SetDefault(independent, description);
    store.SetDefault(independent + "\\CLSID", clsid);
    store.SetDefault(independent + "\\CurVer", progId);
    if (!row.IsFilter()) return;
    store.RegisterCategory(kFilterCategory, 0, "Q&V Lumen Works - Filter");
    store.RegisterClassImplCategory(row.description->clsid, kFilterCategory);
}

void Unregister(ClassStore& store, const ClassRow& row) {
    const std::string progId = row.description->progId;
    store.DeleteKeyAndAllSubkeys("CLSID\\" + ToString(row.description->clsid));
    store.DeleteKeyAndAllSubkeys(progId);
    store.DeleteKeyAndAllSubkeys(VersionIndependent(progId));
    if (row.IsFilter()) store.UnregisterClassImplCategory(row.description->clsid, kFilterCategory);
}

}  // namespace

void SetClassStore(ClassStore* store) { currentStore.store(store); }

HRESULT RegisterClasses() {
    SettingsClassStore settings;
    ClassStore* const other = currentStore.load();
    ClassStore& store = other ? *other : settings;
    const std::string module = ModulePath();
    for (const ClassRow& row : ClassTable()) Register(store, row, module);
    return settings.Keep() == kSuccess ? S_OK : E_FAIL;
}

HRESULT UnregisterClasses() {
    SettingsClassStore settings;
    ClassStore* const other = currentStore.load();
    ClassStore& store = other ? *other : settings;
    for (const ClassRow& row : ClassTable()) Unregister(store, row);
    store.UnregisterCategory(kFilterCategory);
    return settings.Keep() == kSuccess ? S_OK : E_FAIL;
}

}  // namespace kestrel
