#include "kestrel/server/EntryPoints.h"

#include <gtest/gtest.h>

#include <map>
#include <set>

#include "kestrel/foundation/Ref.h"
#include "kestrel/framework/IFilterObject.h"
#include "kestrel/framework/IPdibFilterChain.h"
#include "kestrel/framework/IPdibFilterCreator.h"
#include "kestrel/server/ClassStore.h"
#include "kestrel/server/ClassTable.h"
#include "kestrel/server/IClassFactory.h"
#include "kestrel/settings/RegistryKeys.h"
#include "tests/support/PrivateFolders.h"

namespace kestrel {
namespace {

TEST(ClassTable, KeepsItsOrder) {
    constexpr const char* order[] = {"Sepia",         "BrightnessContrast",
                                     "HSB",           "Sharpen",
                                     "ColorTuning",   "Transparency",
                                     "RGBColor",      "Blur",
                                     "Staub",         "Emboss",
                                     "FindEdges",     "Rotate",
                                     "Scale",         "Scale100",
                                     "Crop",          "RotCrop",
                                     "PrintPad",      "PrintCrop",
                                     "PrintScale",    "Shadow",
                                     "Offset",        "BlackWhiteness",
                                     "SoftFrame",     "Invert",
                                     "AdoptColor",    "Tonwert",
                                     "Passpartout",   "Rauchglas",
                                     "Exposure2",     "Exposure",
                                     "Gamma",         "Optimize",
                                     "Histo",         "ImgBg",
                                     "DuoColor",      "InvertMask",
                                     "RedEye",        "Text",
                                     "RgbMixer",      "Chain",
                                     "Creator",       "GradCurves",
                                     "WhiteBlackGrey"};
    std::size_t at = 0;
    for (const ClassRow& row : ClassTable()) {
        const std::string progId = row.description->progId;
        while (at < std::size(order) && progId != std::string("TMFilter.") + order[at] + ".1") ++at;
        ASSERT_LT(at, std::size(order)) << progId << " is unknown or stands in the wrong place";
        ++at;
    }
}

TEST(ClassTable, NamesIdentifiersAndDescriptionsAreWhole) {
    std::set<std::string> names;
    std::set<GUID> identifiers;
    for (const ClassRow& row : ClassTable()) {
        const Description& about = *row.description;
        SCOPED_TRACE(about.progId);
        EXPECT_TRUE(names.insert(about.progId).second);
        EXPECT_TRUE(identifiers.insert(about.clsid).second);
        EXPECT_NE(about.clsid, GUID{});
        EXPECT_STRNE(about.name, "");
        EXPECT_STRNE(about.summary, "");
        EXPECT_EQ(FindClass(about.clsid), &row);
        EXPECT_EQ(FindClass(std::string_view(about.progId)), &row);
    }
}

TEST(EntryPoints, GiveTheFactoryOfEachClass) {
    for (const ClassRow& row : ClassTable()) {
        SCOPED_TRACE(row.description->progId);
        EXPECT_EQ(DllCanUnloadNow(), S_OK);
        Ref<IClassFactory> factory, again;
        ASSERT_EQ(DllGetClassObject(row.description->clsid, IClassFactory::kIid, factory.Out()), S_OK);
        ASSERT_EQ(DllGetClassObject(row.description->clsid, IClassFactory::kIid, again.Out()), S_OK);
        EXPECT_EQ(factory, again);
        Ref<IUnknown> object;
        const GUID& own = row.IsFilter() ? IFilterObject::kIid
                          : row.description->progId[9] == 'C' && row.description->progId[10] == 'h'
                              ? IPdibFilterChain::kIid
                              : IPdibFilterCreator::kIid;
        EXPECT_EQ(factory->CreateInstance(nullptr, own, object.Out()), S_OK);
        EXPECT_TRUE(object);
        EXPECT_EQ(factory->CreateInstance(factory.get(), own, object.Out()), CLASS_E_NOAGGREGATION);
        EXPECT_FALSE(object);
        EXPECT_EQ(factory->CreateInstance(nullptr, IClassFactory::kIid, object.Out()), E_NOINTERFACE);
        EXPECT_EQ(DllCanUnloadNow(), S_FALSE);
    }
    EXPECT_EQ(DllCanUnloadNow(), S_OK);
}

TEST(EntryPoints, LocksKeepTheLibraryLoaded) {
    {
        Ref<IClassFactory> factory;
        DllGetClassObject(ClassTable()[0].description->clsid, IClassFactory::kIid, factory.Out());
        factory->LockServer(true);
    }
    EXPECT_EQ(DllCanUnloadNow(), S_FALSE);
    {
        Ref<IClassFactory> factory;
        DllGetClassObject(ClassTable()[0].description->clsid, IClassFactory::kIid, factory.Out());
        factory->LockServer(false);
    }
    EXPECT_EQ(DllCanUnloadNow(), S_OK);
}

TEST(EntryPoints, RefuseOtherClassesAndInterfaces) {
    void* object = &object;
    EXPECT_EQ(DllGetClassObject(IFilterObject::kIid, IClassFactory::kIid, &object), CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_EQ(object, nullptr);
    object = &object;
    EXPECT_EQ(DllGetClassObject(ClassTable()[0].description->clsid, IFilterObject::kIid, &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
}

/// A registry in memory.
struct Store final : ClassStore {
    void SetDefault(const std::string& key, const std::string& value) override { keys[key] = value; }
    void DeleteKeyAndAllSubkeys(const std::string& key) override {
        std::erase_if(keys, [&](const auto& entry) {
            return entry.first == key || entry.first.compare(0, key.size() + 1, key + "\\") == 0;
        });
    }
    void RegisterCategory(const GUID& category, std::uint32_t locale, const std::string& text) override {
        categories[category] = std::to_string(locale) + " " + text;
    }
    void UnregisterCategory(const GUID& category) override { categories.erase(category); }
    void RegisterClassImplCategory(const GUID& clsid, const GUID& category) override {
        members.emplace(category, clsid);
    }
    void UnregisterClassImplCategory(const GUID& clsid, const GUID& category) override {
        members.erase({category, clsid});
    }
    std::map<std::string, std::string> keys;
    std::map<GUID, std::string> categories;
    std::set<std::pair<GUID, GUID>> members;
};

TEST(EntryPoints, RegisterEveryClassAndRemoveItAgain) {
    Store store;
    SetClassStore(&store);
    EXPECT_EQ(DllRegisterServer(), S_OK);
    EXPECT_EQ(store.keys.size(), ClassTable().size() * 9);
    EXPECT_EQ(store.members.size(), ClassTable().size() - 2);
    const std::string invert = "{3A03D679-9270-4DB5-8602-6245481A9FC4}";
    const std::string filter = "Q&V Lumen Works - Tarvenmoor Picture Filter";
    const std::map<std::string, std::string> expected{
        {"CLSID\\" + invert, filter},
        {"CLSID\\" + invert + "\\ProgID", "TMFilter.Invert.1"},
        {"CLSID\\" + invert + "\\VersionIndependentProgID", "TMFilter.Invert"},
        {"TMFilter.Invert.1", filter},
        {"TMFilter.Invert.1\\CLSID", invert},
        {"TMFilter.Invert", filter},
        {"TMFilter.Invert\\CLSID", invert},
        {"TMFilter.Invert\\CurVer", "TMFilter.Invert.1"},
        {"TMFilter.Chain", "TMFilter - Filterchain"},
        {"TMFilter.Chain.1\\CLSID", "{4D5338CA-7AE5-473C-8923-ABA0010F2C98}"},
        {"TMFilter.Creator.1", "TMFilter - Filtercreator"},
    };
    for (const auto& [key, value] : expected) EXPECT_EQ(store.keys[key], value) << key;
    EXPECT_NE(store.keys["CLSID\\" + invert + "\\InProcServer32"], "");
    const GUID category = MakeGuid("{7092B861-705D-4E79-BF7E-27DA5DE83708}");
    EXPECT_EQ(store.categories[category], "0 Q&V Lumen Works - Filter");
    EXPECT_TRUE(store.members.contains({category, MakeGuid("{3A03D679-9270-4DB5-8602-6245481A9FC4}")}));
    EXPECT_FALSE(store.members.contains({category, MakeGuid("{4D5338CA-7AE5-473C-8923-ABA0010F2C98}")}));

    EXPECT_EQ(DllUnregisterServer(), S_OK);
    EXPECT_TRUE(store.keys.empty());
    EXPECT_TRUE(store.categories.empty());
    EXPECT_TRUE(store.members.empty());
    SetClassStore(nullptr);
}

TEST(EntryPoints, ClassesAreFoundInTheSettings) {
    const test::PrivateFolders folders;
    const auto read = [](const std::string& key, const char* name = "") {
        QvString text;
        const Status status = RegistryRead(HKEY_CLASSES_ROOT, key.c_str(), name, text);
        return status == kSuccess ? std::string(text) : "status " + std::to_string(status);
    };
    const std::string invert = "{3A03D679-9270-4DB5-8602-6245481A9FC4}";
    const std::string category = "{7092B861-705D-4E79-BF7E-27DA5DE83708}";
    EXPECT_EQ(DllRegisterServer(), S_OK);
    for (const ClassRow& row : ClassTable())
        EXPECT_EQ(read(row.description->progId + std::string("\\CLSID")), ToString(row.description->clsid));
    EXPECT_EQ(read("clsid\\" + invert + "\\versionindependentprogid"), "TMFilter.Invert");
    EXPECT_EQ(read("Component Categories\\" + category, "0"), "Q&V Lumen Works - Filter");
    EXPECT_EQ(read("CLSID\\" + invert + "\\Implemented Categories\\" + category), "");
    EXPECT_EQ(DllRegisterServer(), S_OK);
    EXPECT_EQ(DllUnregisterServer(), S_OK);
    RegistryContents rest;
    EXPECT_EQ(RegistryList(HKEY_CLASSES_ROOT, "", rest), kSuccess);
    EXPECT_EQ(rest.subkeys, (std::vector<std::string>{"CLSID", "Component Categories"}));
    EXPECT_EQ(RegistryList(HKEY_CLASSES_ROOT, "CLSID", rest), kSuccess);
    EXPECT_TRUE(rest.subkeys.empty());

    for (const char* variable : {"KESTREL_CONFIG_DIR", "KESTREL_SYSTEM_DIR"}) setenv(variable, "/proc/nowhere", 1);
    EXPECT_EQ(DllRegisterServer(), E_FAIL) << "what could not be kept is told";
    EXPECT_EQ(DllUnregisterServer(), S_OK) << "nothing was there to remove";
}

}  // namespace
}  // namespace kestrel
