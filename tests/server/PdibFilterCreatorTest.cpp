#include "kestrel/server/PdibFilterCreator.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "kestrel/framework/DialogFactory.h"
#include "kestrel/framework/IFilterDialog.h"
#include "kestrel/framework/IFilterObject.h"
#include "kestrel/framework/IPdibFilterChain.h"
#include "kestrel/server/ClassTable.h"

namespace kestrel {
namespace {

struct CatalogueTest : testing::Test {
    ~CatalogueTest() override {
        creator = nullptr;
        EXPECT_EQ(Module::Count(), objectsBefore);
    }
    std::vector<std::string> Names() {
        int count = 0;
        creator->GetFilterCount(&count);
        std::vector<std::string> names;
        for (int i = 0; i < count; ++i) {
            char name[200];
            int cost = 0;
            EXPECT_EQ(creator->GetFilterByIndex(i, name, 0, &cost), S_OK);
            names.emplace_back(name);
        }
        return names;
    }
    const long objectsBefore = Module::Count();
    Ref<CPdibFilterCreator> creator{new CPdibFilterCreator};
};

TEST_F(CatalogueTest, MakesFiltersByNameAndByIndex) {
    const auto names = Names();
    for (std::size_t i = 0; i < names.size(); ++i) {
        Ref<IFilterObject> byName, byIndex;
        ASSERT_EQ(creator->CreateFilter(names[i].c_str(), IFilterObject::kIid, byName.Out()), S_OK);
        ASSERT_EQ(creator->CreateFilterByIndex(static_cast<int>(i), IFilterObject::kIid, byIndex.Out()), S_OK);
        EXPECT_NE(byName, byIndex);
        for (const auto& filter : {byName, byIndex}) {
            char progId[200];
            char listed[200];
            int id = -1, cost = -1, listedCost = -1;
            filter->GetProgID(progId, sizeof progId);
            filter->GetFilterId(&id);
            filter->GetCost(&cost);
            creator->GetFilterByIndex(static_cast<int>(i), listed, 0, &listedCost);
            EXPECT_EQ(names[i], progId);
            EXPECT_EQ(names[i], listed);
            EXPECT_EQ(cost, listedCost);
            EXPECT_EQ(id, FindClass(names[i])->description->id);
        }
    }
}

TEST_F(CatalogueTest, RefusesWhatItDoesNotList) {
    int count = 0;
    creator->GetFilterCount(&count);
    for (const char* name : {"TMFilter.Invert", "tmfilter.invert.1", "TMFilter.Zero.1", "TMFilter.Chain.1",
                             "TMFilter.Creator.1", "", static_cast<const char*>(nullptr)}) {
        void* object = this;
        EXPECT_EQ(creator->CreateFilter(name, IFilterObject::kIid, &object), E_FAIL);
        EXPECT_EQ(object, nullptr);
    }
    for (const int index : {-1, count, 1 << 30}) {
        void* object = this;
        char name[200] = "kept";
        int cost = 7;
        EXPECT_EQ(creator->CreateFilterByIndex(index, IFilterObject::kIid, &object), E_FAIL);
        EXPECT_EQ(object, nullptr);
        EXPECT_EQ(creator->GetFilterByIndex(index, name, 0, &cost), E_FAIL);
        EXPECT_STREQ(name, "kept");
        EXPECT_EQ(cost, 7);
    }
}

TEST_F(CatalogueTest, MakesChains) {
    Ref<IPdibFilterChain> chain;
    ASSERT_EQ(creator->CreateChain(IPdibFilterChain::kIid, chain.Out()), S_OK);
    ASSERT_EQ(chain->SetChainText("TMFilter.Invert.1\tInversity=7\n", "\t", "\n", creator.get()), S_OK);
    char text[100];
    ASSERT_EQ(chain->GetChainText(text, sizeof text, "\t", "\n", false), S_OK);
    EXPECT_STREQ(text, "TMFilter.Invert.1\tInversity=007\n");
}

/// A dialog that notes what it was opened over; it may fail.
struct Dialog final : IFilterDialog {
    HRESULT QueryInterface(const GUID& iid, void** object) override {
        *object = iid == IFilterDialog::kIid || iid == IUnknown::kIid ? this : nullptr;
        if (!*object) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    std::uint32_t AddRef() override { return ++references; }
    std::uint32_t Release() override { return --references; }
    HRESULT Open(void* over, int*) override {
        owner = over;
        return opens;
    }
    std::uint32_t references = 0;
    void* owner = nullptr;
    HRESULT opens = S_OK;
} dialog;
std::string dialogOf;

TEST_F(CatalogueTest, MakesAndOpensTheDialogOfAFilter) {
    void* object = this;
    EXPECT_EQ(creator->CreateFilterDialog("TMFilter.Invert.1", this, IFilterDialog::kIid, &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
    SetDialogFactory([](const char* progId, const GUID& iid, void** made) {
        dialogOf = progId;
        return dialog.QueryInterface(iid, made);
    });
    EXPECT_EQ(creator->CreateFilterDialog("TMFilter.None.1", this, IFilterDialog::kIid, &object), E_FAIL);
    EXPECT_EQ(creator->CreateFilterDialog("TMFilter.Invert.1", this, IFilterDialog::kIid, &object), S_OK);
    EXPECT_EQ(object, &dialog);
    EXPECT_EQ(dialog.owner, this);
    EXPECT_EQ(dialogOf, "TMFilter.Invert.1");
    dialog.Release();
    EXPECT_EQ(creator->CreateFilterDialog("TMFilter.Invert.1", this, IFilterObject::kIid, &object), E_NOINTERFACE);
    dialog.opens = E_OUTOFMEMORY;
    EXPECT_EQ(creator->CreateFilterDialog("TMFilter.Invert.1", this, IFilterDialog::kIid, &object), E_OUTOFMEMORY);
    EXPECT_EQ(dialog.references, 0u);
    SetDialogFactory(nullptr);
}

}  // namespace
}  // namespace kestrel
