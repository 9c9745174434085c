#include "kestrel/editing/DataTransfer.h"

#include <gtest/gtest.h>

#include <map>
#include <vector>

#include "kestrel/diagnostics/DebugOutput.h"
#include "kestrel/editing/DataXferObj.h"
#include "kestrel/editing/RowBlend.h"
#include "kestrel/server/PdibFilterCreator.h"

namespace kestrel {
namespace {

using Formats = std::map<std::string, std::string>;

struct MapSource final : DataSource {
    HRESULT CacheData(const char* format, std::string block) override {
        formats[format] = std::move(block);
        return S_OK;
    }
    Formats formats;
};

Formats FormatsOf(IDataObject& data) {
    Formats formats;
    Ref<IEnumFormatEtc> walk;
    EXPECT_EQ(data.EnumFormatEtc(DataDirection::Get, reinterpret_cast<IEnumFormatEtc**>(walk.Out())), S_OK);
    for (FormatEtc format; walk->Next(1, &format, nullptr) == S_OK;) {
        StorageMedium medium;
        EXPECT_EQ(data.GetData(&format, &medium), S_OK);
        formats[format.name] = medium.block;
    }
    return formats;
}

/// What a put operation offers, which has to be the same in both of its forms.
template <class Operation>
Formats Put(const Operation& operation) {
    MapSource source;
    const Ref<CDataXferObj> object(new CDataXferObj);
    EXPECT_EQ(operation(&source), S_OK);
    EXPECT_EQ(operation(object.get()), S_OK);
    EXPECT_EQ(operation(nullptr), S_OK);
    EXPECT_EQ(FormatsOf(*object), source.formats);
    return source.formats;
}

Formats Texts(std::initializer_list<const char*> names, const std::string& text) {
    Formats formats;
    for (const char* name : names) formats[name] = text + '\0';
    return formats;
}

TEST(DataTransfer, PutsEachKindUnderItsNames) {
    const std::string plain = "QVTarvenmoorAnimFilter", trash = plain + "NotForTrash", dialog = plain + "Dialog";
    for (const char* unfit : {"TMFilter.Scale.1", "TMFilter.Scale100.1", "TMFilter.Offset.1", "TMFilter.Shadow.1"}) {
        Formats extra;
        if (unfit == std::string("TMFilter.Scale.1")) extra = Texts({"QVTarvenmoorAnimScaleFilter"}, unfit);
        const auto with = [&](const std::string& name) {
            Formats formats = extra;
            formats[name] = unfit + std::string(1, '\0');
            return formats;
        };
        EXPECT_EQ(Put([&](TransferTarget to) { return PutFilter(to, unfit); }), with(plain));
        EXPECT_EQ(Put([&](TransferTarget to) { return PutFilterNotForTrash(to, unfit); }), with(trash));
        EXPECT_EQ(Put([&](TransferTarget to) { return PutDialog(to, unfit); }), Texts({dialog.c_str()}, unfit));
        const std::string chain = std::string("TMFilter.Sepia.1\tX=") + unfit + "y\n";
        EXPECT_EQ(Put([&](TransferTarget to) { return PutChainText(to, chain.c_str()); }),
                  Texts({"QVTarvenmoorAnimFilterChain"}, chain));
    }
    for (const char* fit : {"TMFilter.Sepia.1", "TMFilter.Scale.10", "TMFilter.Scale", ""}) {
        EXPECT_EQ(Put([&](TransferTarget to) { return PutFilter(to, fit); }),
                  Texts({(plain + "FitForIA").c_str()}, fit));
        EXPECT_EQ(Put([&](TransferTarget to) { return PutFilterNotForTrash(to, fit); }),
                  Texts({(trash + "FitForIA").c_str()}, fit));
        EXPECT_EQ(Put([&](TransferTarget to) { return PutDialog(to, fit); }),
                  Texts({(dialog + "FitForIA").c_str()}, fit));
    }
    EXPECT_EQ(Put([](TransferTarget to) { return PutParameter(to, "Sepia=080"); }),
              Texts({"QVTarvenmoorAnimFilterParameter"}, "Sepia=080"));
    EXPECT_EQ(Put([](TransferTarget to) { return PutChainText(to, "TMFilter.Sepia.1\t\n"); }),
              Texts({"QVTarvenmoorAnimFilterChainFitForIA"}, "TMFilter.Sepia.1\t\n"));
}

TEST(DataTransfer, GetsByTheOrderOfTheNames) {
    using namespace transfer_format;
    const struct {
        std::vector<const char*> names;
        std::string (*get)(IDataObject*);
    } orders[] = {{{kFilterFitForIA, kFilterNotForTrash, kFilterNotForTrashFitForIA, kFilter}, GetFilter},
                  {{kDialogFitForIA, kDialog}, GetDialog},
                  {{kChainFitForIA, kChain}, GetChain},
                  {{kParameter}, GetParameter}};
    for (const auto& order : orders) {
        const Ref<CDataXferObj> data(new CDataXferObj);
        EXPECT_EQ(order.get(data.get()), "");
        EXPECT_EQ(order.get(nullptr), "");
        for (auto name = order.names.rbegin(); name != order.names.rend(); ++name) {
            ASSERT_EQ(TransferTarget(data.get()).Put(*name, *name), S_OK);
            EXPECT_EQ(order.get(data.get()), *name);
        }
        const FormatEtc format{.name = order.names[0]};
        StorageMedium bare{kMediumBlock, "without an end"};
        ASSERT_EQ(data->SetData(&format, &bare, false), S_OK);
        EXPECT_EQ(order.get(data.get()), bare.block);
    }
}

TEST(DataTransfer, AsksForFiltersThatATargetMayTake) {
    using namespace transfer_format;
    // By [onlyFit][noTrashForbidden].
    const struct {
        const char* name;
        bool available[2][2];
    } cases[] = {{kFilter, {{true, true}, {false, false}}},
                 {kFilterFitForIA, {{true, true}, {true, true}}},
                 {kFilterNotForTrash, {{true, false}, {false, false}}},
                 {kFilterNotForTrashFitForIA, {{true, false}, {true, false}}},
                 {kScaleFilter, {{false, false}, {false, false}}},
                 {kDialog, {{false, false}, {false, false}}}};
    for (const auto& c : cases) {
        const Ref<CDataXferObj> data(new CDataXferObj);
        ASSERT_EQ(TransferTarget(data.get()).Put(c.name, "x"), S_OK);
        for (const bool onlyFit : {false, true})
            for (const bool noTrashForbidden : {false, true})
                EXPECT_EQ(IsFilterAvailable(data.get(), onlyFit, noTrashForbidden),
                          c.available[onlyFit][noTrashForbidden])
                    << c.name << onlyFit << noTrashForbidden;
    }
    EXPECT_FALSE(IsFilterAvailable(nullptr, false, false));
}

TEST(DataTransfer, SavesAChainUpToItsLongestText) {
    Ref<IPdibFilterChain> chain;
    const Ref<IPdibFilterCreator> creator(new CPdibFilterCreator);
    ASSERT_EQ(creator->CreateChain(IPdibFilterChain::kIid, chain.Out()), S_OK);
    // One record of "TMFilter.Invert.1", the separator and "Inversity=000" makes 30 bytes and the second separator.
    for (const auto& [separator, length] : {std::pair{63999, 63999}, {64000, 41}, {3999, 3999}, {8000, 8000}}) {
        Ref<IUnknown> filter;
        ASSERT_EQ(creator->CreateFilter("TMFilter.Invert.1", IUnknown::kIid, filter.Out()), S_OK);
        ASSERT_EQ(chain->RemoveAllFilters(), S_OK);
        ASSERT_EQ(chain->AddFilter(filter.get()), S_OK);
        const std::string records(static_cast<std::size_t>(separator - 31), '.');
        const Formats saved =
            Put([&](TransferTarget to) { return SaveChainAsText(to, chain.get(), "\t", records.c_str()); });
        ASSERT_EQ(saved.size(), 1U);
        EXPECT_EQ(saved.begin()->first, "QVTarvenmoorAnimFilterChainFitForIA");
        EXPECT_EQ(saved.begin()->second.size(), static_cast<std::size_t>(length + 1)) << separator;
        EXPECT_EQ(saved.begin()->second.c_str(), length == 41 ? "Error in SaveChainAsText: String too long"
                                                              : "TMFilter.Invert.1\tInversity=000" + records);
    }
    EXPECT_EQ(Put([&](TransferTarget to) { return SaveChainAsText(to, nullptr, "\t", "\n"); }), Formats());
}

TEST(CDataXferObj, KeepsTheUsualContract) {
    const Ref<CDataXferObj> data(new CDataXferObj);
    FormatEtc a{.name = "a"}, part = a, aspect = a, disk = a, unknown{.name = "b"}, nameless;
    part.index = 2;
    aspect.aspect = 4;
    disk.media = 2;
    StorageMedium old{kMediumBlock, "old"}, fresh{kMediumBlock, "fresh"}, out{kMediumBlock, "rest"}, none;
    EXPECT_EQ(data->SetData(&a, &old, false), S_OK);
    EXPECT_EQ(old.block, "old");
    EXPECT_EQ(data->SetData(&a, &fresh, true), S_OK);  // in place of the old
    EXPECT_EQ(fresh.block + std::to_string(fresh.kind), "0");
    EXPECT_EQ(data->SetData(&a, &none, false), DV_E_TYMED);
    EXPECT_EQ(data->SetData(&disk, &old, false), DV_E_TYMED);
    EXPECT_EQ(data->SetData(&nameless, &old, false), DV_E_FORMATETC);
    EXPECT_EQ(data->SetData(nullptr, &old, false), E_INVALIDARG);

    const std::pair<const FormatEtc*, HRESULT> asked[] = {
        {&a, S_OK},          {&part, DV_E_LINDEX},       {&aspect, DV_E_DVASPECT},
        {&disk, DV_E_TYMED}, {&unknown, DV_E_FORMATETC}, {nullptr, E_INVALIDARG}};
    for (const auto& [format, result] : asked) {
        EXPECT_EQ(data->QueryGetData(format), result);
        EXPECT_EQ(data->GetData(format, &out), result);
        EXPECT_EQ(out.block, result == S_OK ? "fresh" : "");
    }
    out = {kMediumBlock, "1234"};
    EXPECT_EQ(data->GetDataHere(&a, &out), STG_E_MEDIUMFULL);
    EXPECT_EQ(out.block, "1234");
    out.block = "123456";
    EXPECT_EQ(data->GetDataHere(&a, &out), S_OK);
    EXPECT_EQ(out.block, "fresh6");
    EXPECT_EQ(data->GetDataHere(&a, &none), DV_E_TYMED);
}

TEST(CDataXferObj, WalksItsFormats) {
    const Ref<CDataXferObj> data(new CDataXferObj);
    for (const char* name : {"a", "b", "c"}) ASSERT_EQ(TransferTarget(data.get()).Put(name, "x"), S_OK);
    Ref<IEnumFormatEtc> walk, copy;
    ASSERT_EQ(data->EnumFormatEtc(DataDirection::Set, reinterpret_cast<IEnumFormatEtc**>(walk.Out())), E_NOTIMPL);
    ASSERT_EQ(data->EnumFormatEtc(DataDirection::Get, reinterpret_cast<IEnumFormatEtc**>(walk.Out())), S_OK);
    ASSERT_EQ(TransferTarget(data.get()).Put("later", "x"), S_OK);
    FormatEtc got[4];
    std::uint32_t fetched = 9;
    EXPECT_EQ(walk->Next(2, got, nullptr), E_INVALIDARG);
    EXPECT_EQ(walk->Next(2, got, &fetched), S_OK);
    EXPECT_EQ(got[1].name + std::to_string(fetched), "b2");
    ASSERT_EQ(walk->Clone(reinterpret_cast<IEnumFormatEtc**>(copy.Out())), S_OK);
    EXPECT_EQ(walk->Next(2, got, &fetched), S_FALSE);
    EXPECT_EQ(got[0].name + std::to_string(fetched), "c1");
    EXPECT_EQ(walk->Next(1, got, nullptr), S_FALSE);
    EXPECT_EQ(copy->Next(1, got, nullptr), S_OK);  // where the first stood
    EXPECT_EQ(got[0].name, "c");
    EXPECT_EQ(walk->Reset(), S_OK);
    EXPECT_EQ(walk->Skip(2), S_OK);
    EXPECT_EQ(walk->Skip(2), S_FALSE);
    EXPECT_EQ(walk->Next(1, got, &fetched), S_FALSE);
    EXPECT_EQ(fetched, 0U);
}

std::string traced;

TEST(CDataXferObj, TracesWhatItDoesNotSupport) {
    traced.clear();
    SetDebugOutput([](const char* text) { traced += text + std::string(";"); });
    const Ref<CDataXferObj> data(new CDataXferObj);
    std::uint32_t connection = 5;
    IUnknown* connections = data.get();
    EXPECT_EQ(data->DAdvise(nullptr, 0, nullptr, &connection), OLE_E_ADVISENOTSUPPORTED);
    EXPECT_EQ(data->EnumDAdvise(&connections), OLE_E_ADVISENOTSUPPORTED);
    EXPECT_EQ(data->GetCanonicalFormatEtc(nullptr, nullptr), E_NOTIMPL);
    SetDebugOutput(nullptr);
    EXPECT_EQ(connection, 0U);
    EXPECT_EQ(connections, nullptr);
    EXPECT_EQ(traced, "In CDataXferObj::DAdvise;In CDataXferObj::EnumDAdvise;In CDataXferObj::GetCanonicalFormatEtc;");
}

TEST(RowBlend, LaysPixelsByTheirMasks) {
    const std::uint8_t src[] = {10, 20, 30, 10, 20, 30, 10, 20, 31, 9, 9, 9}, mask[] = {0, 255, 100, 7};
    std::uint8_t dst[] = {200, 100, 50, 200, 100, 50, 200, 100, 50, 1, 2, 3};
    BlendRow(dst, src, mask, 3);  // the fourth stays
    const std::uint8_t blended[] = {10, 20, 30, 200, 100, 50, 84, 51, 38, 1, 2, 3};
    EXPECT_TRUE(std::equal(dst, dst + 12, blended));

    const std::uint8_t below[] = {200, 100, 50};
    const struct {
        std::uint8_t mask, dstMask, pixel[3], resultMask;
    } cases[] = {{0, 77, {10, 20, 30}, 0},
                 {255, 77, {200, 100, 50}, 77},
                 {100, 0, {84, 51, 37}, 0},
                 {100, 255, {10, 20, 30}, 100},
                 {100, 51, {74, 47, 36}, 20}};  // a = 155 * 255, b = 100 * 204
    for (const auto& c : cases) {
        std::uint8_t pixel[6] = {below[0], below[1], below[2], 5, 6, 7}, own[2] = {c.dstMask, 8};
        BlendRowWithMask(pixel, own, src, &c.mask, 1);
        EXPECT_TRUE(std::equal(pixel, pixel + 3, c.pixel)) << int{c.mask} << " " << int{c.dstMask};
        EXPECT_EQ(own[0], c.resultMask);
        EXPECT_EQ(pixel[3] * 10 + own[1], 58);
        BlendRowWithMask(pixel, own, src, &c.mask, -1);
    }
}

}  // namespace
}  // namespace kestrel
