#include "kestrel/framework/PdibFilter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>

#include "kestrel/framework/FilterInfo.h"
#include "kestrel/framework/ZeroFilter.h"
#include "tests/support/Line.h"
#include "tests/support/Probe.h"

namespace kestrel {
namespace {
using test::Line;
using test::Picture;
using test::Pixel;
using test::Probe;

/// A line of probes between a source and a sink.
struct Probes {
    explicit Probes(int count) : line(Picture::Random(6, 5, 1)) {
        for (int i = 0; i < count; ++i) {
            probes.emplace_back(new Probe("Probe"));
            line.Add(static_cast<IFilterObject*>(probes.back().get()));
        }
    }
    Probe& operator[](std::size_t i) { return *probes[i]; }
    Probe& Last() { return *probes.back(); }
    /// Asks as a consumer that holds `version`.
    bool Changed(int& version, bool track = true) {
        bool changed = false;
        Last().Update(&changed, &version, track);
        return changed;
    }
    HRESULT Request() {
        Picture into(6, 5);
        return line.Request(into, 0, 0, 0, 0, 6, 5);
    }
    Line line;
    std::vector<Ref<Probe>> probes;
};

// Versions

TEST(PdibFilter, EachConsumerIsToldOfAChangeOnce) {
    Probes probes(2);
    int first = -1, second = -1;
    EXPECT_TRUE(probes.Changed(first));
    probes.Request();
    EXPECT_FALSE(probes.Changed(first));
    EXPECT_TRUE(probes.Changed(second));
    EXPECT_FALSE(probes.Changed(second));

    probes[0].pending = "new";  // far from the consumer
    EXPECT_TRUE(probes.Changed(first));
    probes.Request();
    EXPECT_TRUE(probes.Changed(second));
    EXPECT_FALSE(probes.Changed(first));
    EXPECT_FALSE(probes.Changed(second));
}

TEST(PdibFilter, AChangeIsCountedOnceForTwoConsumers) {
    Probes probes(1);
    int first = -1, second = -1;
    probes.Changed(first);
    probes.Changed(second);
    probes.Request();
    probes.Last().pending = "new";
    EXPECT_TRUE(probes.Changed(first));
    EXPECT_TRUE(probes.Changed(second));  // no pixels were made in between, and this one was behind
    EXPECT_EQ(first, second);
    probes.Request();
    EXPECT_FALSE(probes.Changed(first));
    EXPECT_FALSE(probes.Changed(second));
}

TEST(PdibFilter, ALinkCallOnACleanFilterIsNews) {
    Probes probes(1);
    Probe& probe = probes.Last();
    const struct {
        const char* name;
        std::function<void()> call;
        bool dirty, upstreamDirty;
    } calls[] = {
        {"ConnectUpstream", [&] { probe.ConnectUpstream(probes.line.source.get()); }, false, true},
        {"ConnectDownstream", [&] { probe.ConnectDownstream(probes.line.sink.get()); }, false, true},
        {"SetUpstream", [&] { probe.SetUpstream(probes.line.source.get()); }, true, false},
        {"SetDownstream", [&] { probe.SetDownstream(probes.line.sink.get()); }, true, false},
    };
    for (const auto& call : calls) {
        int version = -1;
        probes.Changed(version);
        ASSERT_EQ(probes.Request(), S_OK);
        call.call();
        EXPECT_EQ(probe.Dirty(), call.dirty) << call.name;
        EXPECT_EQ(probe.UpstreamDirty(), call.upstreamDirty) << call.name;
        EXPECT_TRUE(probes.Changed(version)) << call.name;
    }
}

TEST(PdibFilter, ACommitPushesTheViewSize) {
    Probes probes(2);
    probes[0].SetDownstream(nullptr);
    probes[0].SetViewSize(320, 200);
    EXPECT_EQ(probes[1].PendingGeometry().ViewWidth, -1);
    probes[0].SetDownstream(static_cast<IFilterObject*>(&probes[1]));
    int version = -1;
    probes.Changed(version);
    EXPECT_EQ(probes[1].PendingGeometry().ViewWidth, 320);
    EXPECT_EQ(probes.line.sink->geometry.ViewHeight, 200);
}

TEST(PdibFilter, AnUpdateWithoutNewsChangesNeitherFlagNorVersion) {
    Probes probes(1);
    int version = -1;
    probes.Changed(version);
    probes.Request();
    const int before = version;
    for (const bool start : {false, true}) {
        bool changed = start;
        probes.Last().Update(&changed, &version, true);
        EXPECT_EQ(changed, start);
    }
    EXPECT_EQ(version, before);
    EXPECT_EQ(probes.Last().Version(), before);
}

TEST(PdibFilter, AConsumerThatHasSeenNothingIsToldEveryTime) {
    Probes probes(1);
    int version = -1;
    probes.Changed(version);
    probes.Request();
    int fresh = -1;
    EXPECT_TRUE(probes.Changed(fresh));
    EXPECT_EQ(fresh, probes.Last().Version());
}

TEST(PdibFilter, OneConsumersUnfinishedChangeIsCountedAtEachUpdate) {
    Probes probes(1);
    int version = -1;
    probes.Changed(version);  // no pixels were made: the flags stay
    const int before = version;
    EXPECT_TRUE(probes.Changed(version));
    EXPECT_EQ(version, before + 1);
}

TEST(PdibFilter, WithoutTrackingUpstreamAlwaysReportsAChange) {
    Probes probes(2);
    int version = -1;
    probes.Changed(version);
    probes.Request();
    EXPECT_FALSE(probes.Last().UpstreamDirty());
    EXPECT_TRUE(probes.Changed(version, false));
    EXPECT_TRUE(probes.Last().UpstreamDirty());
}

// Geometry and changes

TEST(PdibFilter, GeometryWaitsForTheUpdateAndIsCommittedOnce) {
    Probes probes(1);
    Probe& probe = probes.Last();
    int version = -1;
    probes.Changed(version);
    probes.Request();
    probe.commits = 0;
    probe.SetSize(70, 50);
    probe.SetFullSize(90, 60);
    probe.SetOffset(-3, 4);
    EXPECT_EQ(probe.Accepted().Width, 6);
    EXPECT_EQ(probe.PendingGeometry().OffsetX, -3);
    EXPECT_EQ(probe.commits, 0);

    const Ref<Probe> alone(new Probe("alone"));  // without an upstream nobody takes the sizes back
    alone->SetSize(70, 50);
    alone->SetFullSize(90, 60);
    alone->SetOffset(-3, 4);
    int width = 0, height = 0, x = 0, y = 0, fullWidth = 0, fullHeight = 0;
    alone->GetGeometry(&width, &height, &x, &y, &fullWidth, &fullHeight);
    EXPECT_EQ((std::array{width, height, x, y, fullWidth, fullHeight}), (std::array{70, 50, -3, 4, 90, 60}));
    EXPECT_EQ(alone->commits, 1);
    alone->GetGeometry(&width, &height, &x, &y, &fullWidth, &fullHeight);
    EXPECT_EQ(alone->commits, 1);
}

TEST(PdibFilter, UpdateCarriesGeometryDownTheLine) {
    Probes probes(3);
    probes.line.source->geometry = {11, 12, 13, 14, 15, 16, -1, -1};
    int version = -1;
    EXPECT_TRUE(probes.Changed(version));
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_EQ(probes[i].Accepted(), (FilterGeometry{11, 12, 13, 14, 15, 16, -1, -1}));
    EXPECT_EQ(probes.line.sink->geometry, (FilterGeometry{11, 12, 13, 14, 15, 16, -1, -1}));
}

TEST(PdibFilter, ViewSizeRenderScaleAndAnchorTravelDownstream) {
    Probes probes(2);
    probes[0].SetViewSize(320, 200);
    probes[0].SetRenderScale(0.5);
    EXPECT_EQ(probes[1].PendingGeometry().ViewWidth, 320);
    EXPECT_EQ(probes[1].RenderScale(), 0.5);
    EXPECT_EQ(probes.line.sink->geometry.ViewHeight, 200);
    EXPECT_EQ(probes.line.sink->renderScale, 0.5);
    for (const double wrong : {0.0, -0.5, std::nan(""), HUGE_VAL, -HUGE_VAL})
        for (const char* progId : {"TMFilter.Invert.1", "TMFilter.Scale.1", "TMFilter.PrintScale.1"}) {
            Line line(Picture(2, 2));
            line.Add(progId);
            const auto head = Ref<IFilterGeometry>::Query(&line.Filter(0));
            EXPECT_EQ(head->SetRenderScale(wrong), E_INVALIDARG) << wrong << progId;
            EXPECT_EQ(line.sink->renderScale, 1.0);
        }
    probes[0].BeginChange();
    probes[0].EndChange();
    EXPECT_EQ(probes.line.sink->begins, 1);
    EXPECT_EQ(probes.line.sink->ends, 1);
    int x = 5, y = 6;
    const Ref<Probe> alone(new Probe("alone"));
    EXPECT_EQ(alone->GetAnchor(&x, &y), S_OK);
    EXPECT_EQ(x, 5);
    EXPECT_EQ(y, 6);
}

TEST(PdibFilter, RequiredSizeIsTheSinksOrNone) {
    Probes probes(2);
    const auto required = [&](IFilterGeometry& link) {
        int width = 7, height = 7;
        link.GetRequiredSize(&width, &height, 1.5);
        return std::pair(width, height);
    };
    EXPECT_EQ(required(probes[0]), std::pair(-1, -1));
    probes.line.sink->wantedWidth = 640;
    EXPECT_EQ(required(probes[0]), std::pair(-1, -1));
    probes.line.sink->wantedHeight = 480;
    EXPECT_EQ(required(probes[0]), std::pair(640, 480));
    EXPECT_EQ(probes.line.sink->aspect, 1.5);
    probes.line.sink->wantedWidth = 0;
    EXPECT_EQ(required(probes[0]), std::pair(-1, -1));
    EXPECT_EQ(required(*Ref<Probe>(new Probe("alone"))), std::pair(-1, -1));
}

// Links

TEST(PdibFilter, OneCallSetsBothEndsOfALink) {
    const Ref<Probe> up(new Probe("up")), down(new Probe("down"));
    const auto isLinked = [&] {
        Ref<IFilterGeometry> next;
        Ref<IFilterPixels> previous;
        up->QueryDownstream(IFilterGeometry::kIid, next.Out());
        down->QueryUpstream(IFilterPixels::kIid, previous.Out());
        return next.get() == down.get() && previous.get() == up.get();
    };
    up->SetDownstream(static_cast<IFilterObject*>(down.get()));
    EXPECT_TRUE(isLinked());
    EXPECT_TRUE(up->Dirty());
    EXPECT_TRUE(down->UpstreamDirty());
    EXPECT_FALSE(down->Dirty());
    up->SetDownstream(nullptr);
    Ref<IFilterPixels> previous;
    EXPECT_EQ(down->QueryUpstream(IFilterPixels::kIid, previous.Out()), S_OK);  // the far end was told nothing
    down->SetUpstream(nullptr);
    EXPECT_EQ(down->QueryUpstream(IFilterPixels::kIid, previous.Out()), E_NOINTERFACE);
    EXPECT_FALSE(previous);
    down->SetUpstream(static_cast<IFilterObject*>(up.get()));
    EXPECT_TRUE(isLinked());
    down->SetUpstream(nullptr);
    up->SetDownstream(nullptr);
}

TEST(PdibFilter, AnEndWithoutTheInterfaceIsNoLink) {
    const Ref<Probe> probe(new Probe("P"));
    const Ref<test::Source> source(new test::Source(Picture(1, 1)));
    probe->SetDownstream(source.get());  // a source takes no geometry
    void* next = &next;
    EXPECT_EQ(probe->QueryDownstream(IUnknown::kIid, &next), E_NOINTERFACE);
    EXPECT_EQ(next, nullptr);
}

// Requests

TEST(PdibFilter, AbortStopsRequestsAndLeavesTheFlags) {
    Line line(Picture::Random(5, 4, 2));
    line.Add("TMFilter.Invert.1", "Inversity=100").Add("TMFilter.Sepia.1", "Sepia=050");
    const Picture whole = line.Render();
    line.SetText(0, "Inversity=50");
    EXPECT_TRUE(line.Update());
    line.Abort(true);
    EXPECT_TRUE(line.source->Aborted());
    Picture into(5, 4);
    EXPECT_NE(line.Request(into, 0, 0, 0, 0, 5, 4), S_OK);
    line.Abort(false);
    EXPECT_FALSE(line.source->Aborted());
    EXPECT_TRUE(line.Update());  // the change was not consumed by the aborted request
    EXPECT_EQ(line.Request(into, 0, 0, 0, 0, 5, 4), S_OK);
    EXPECT_FALSE(line.Update());
    EXPECT_NE(into.Difference(whole), "");
}

TEST(PdibFilter, APassThroughKeepsItsFlagsWhenUpstreamFails) {
    Probes probes(1);
    int version = -1;
    probes.Changed(version);
    probes.line.source->result = E_FAIL;
    EXPECT_EQ(probes.Request(), E_FAIL);
    EXPECT_TRUE(probes.Last().Dirty());
    EXPECT_TRUE(probes.Last().UpstreamDirty());
    probes.line.source->result = S_OK;
    EXPECT_EQ(probes.Request(), S_OK);
    EXPECT_FALSE(probes.Last().Dirty());
    EXPECT_FALSE(probes.Last().UpstreamDirty());
    probes.line.source->result = E_FAIL;
    EXPECT_EQ(probes.Request(), E_FAIL);  // of a clean filter
    EXPECT_TRUE(probes.Last().Dirty());
    EXPECT_TRUE(probes.Last().UpstreamDirty());
}

TEST(PdibFilter, RequestsWithoutUpstreamAreNotDone) {
    const Ref<Probe> probe(new Probe("alone"));
    Picture into(2, 2, Pixel{1, 2, 3, 4});
    probe->SetDownstream(nullptr);
    EXPECT_TRUE(probe->Dirty());
    EXPECT_NE(probe->TransformArea(0, 0, 0, 0, 2, 2, into.Rows(), into.MaskRows()), S_OK);
    EXPECT_FALSE(probe->Dirty());
    EXPECT_EQ(into.Difference(Picture(2, 2, Pixel{1, 2, 3, 4})), "");
    unsigned char pixel[4] = {1, 2, 3, 4};
    EXPECT_EQ(probe->TransformColor(pixel), S_OK);
    EXPECT_EQ(pixel[2], 3);
    EXPECT_EQ(probe->SendEvent(nullptr), S_OK);
}

// Texts

TEST(PdibFilter, ProgIdNeedsRoomForItsEnd) {
    const Ref<Probe> probe(new Probe("Name"));
    for (const auto& [size, expected] :
         {std::pair{0, "####"}, {-1, "####"}, {1, ""}, {4, ""}, {5, "Name"}, {99, "Name"}}) {
        char buffer[100] = "####";
        EXPECT_EQ(probe->GetProgID(buffer, size), S_OK);
        EXPECT_STREQ(buffer, expected) << size;
    }
}

TEST(PdibFilter, ExtraParametersAreKeptForTheHost) {
    const Ref<Probe> probe(new Probe("P"));
    char buffer[8] = "kept";
    EXPECT_EQ(probe->GetExtraParameter("key", buffer, 8), E_FAIL);
    EXPECT_EQ(probe->SetExtraParameter("key", "12345"), S_OK);
    EXPECT_EQ(probe->GetExtraParameter("key", buffer, 0), E_FAIL);
    EXPECT_EQ(probe->GetExtraParameter("key", buffer, 5), E_FAIL);
    EXPECT_STREQ(buffer, "kept");
    EXPECT_EQ(probe->GetExtraParameter("key", buffer, 6), S_OK);
    EXPECT_STREQ(buffer, "12345");
    probe->SetExtraParameter("key", "");
    EXPECT_EQ(probe->GetExtraParameter("key", buffer, 1), S_OK);
    EXPECT_STREQ(buffer, "");
}

TEST(ZeroFilter, PassesEverythingAndHasNoFace) {
    const Picture picture = Picture::Random(4, 3, 8);
    Line line(picture);
    const Ref<CZeroFilter> zero(new CZeroFilter);
    line.Add(static_cast<IFilterObject*>(zero.get()));
    EXPECT_EQ(line.Render().Difference(picture), "");
    int id = 0;
    zero->GetFilterId(&id);
    EXPECT_EQ(id, 45);
    EXPECT_FALSE(zero->HasChanged());
    void* object = &object;
    EXPECT_EQ(zero->CreateDialog(IUnknown::kIid, &object), E_NOINTERFACE);
    EXPECT_EQ(zero->CreateFilterInfo(IUnknown::kIid, &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
    char text[64] = "####";
    EXPECT_EQ(zero->GetParameterTextForSave(text, 30), S_OK);
    EXPECT_STREQ(text, "####");
    EXPECT_EQ(zero->GetParameterTextForSave(text, 31), S_OK);
    EXPECT_STREQ(text, "Generic Filter Parameter");
    EXPECT_EQ(zero->GetParameterText(text, 64), E_NOTIMPL);
}

TEST(FilterInfo, TellsNameStateAndBitmaps) {
    Line line(Picture(1, 1));
    line.Add("TMFilter.Invert.1");
    Ref<IFilterInfo> info;
    ASSERT_EQ(line.Filter(0).CreateFilterInfo(IFilterInfo::kIid, info.Out()), S_OK);
    char text[64];
    const auto get = [&](auto&& call) {
        std::strcpy(text, "####");
        call();
        return std::string(text);
    };
    EXPECT_EQ(get([&] { info->GetNameKey(text, 64); }), "IDS_INVERT_NAME");
    EXPECT_EQ(get([&] { info->GetIconBase(text, 64); }), "icons_invert");
    EXPECT_EQ(get([&] { info->GetProperty("IsActive", text, 2); }), "1");
    EXPECT_EQ(get([&] { info->GetProperty("IsActive", text, 1); }), "####");
    EXPECT_EQ(get([&] { info->GetProperty("Other", text, 64); }), "####");
    EXPECT_EQ(get([&] { info->GetProperty("Name", text, 64); }), "Invert Image");
    EXPECT_EQ(get([&] { info->GetInfoName(text, 12); }), "####");
    EXPECT_EQ(get([&] { info->GetInfoName(text, 13); }), "Invert Image");
    const auto entry = Ref<IFilterEntry>::Query(info.get());
    EXPECT_EQ(get([&] { entry->GetBitmapName(EntryState::PressedFocused, text, 64); }), "icons_invert_prs_foc");
    const Ref<CFilterInfo> none(new CFilterInfo(nullptr));
    EXPECT_EQ(get([&] { none->GetIconBase(text, 64); }), "NullName");
    EXPECT_EQ(get([&] { none->GetNameKey(text, 64); }), "NullFilterName");
}

}  // namespace
}  // namespace kestrel
