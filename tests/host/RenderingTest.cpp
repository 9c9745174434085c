#include "kestrel/host/Rendering.h"

#include <gtest/gtest.h>

#include <thread>

#include "kestrel/framework/IFilterObject.h"
#include "kestrel/host/BandWork.h"
#include "kestrel/host/Catalogue.h"
#include "kestrel/server/ClassTable.h"
#include "tests/support/Line.h"
#include "tests/support/Probe.h"
#include "tests/support/Reference.h"
#include "tools/TellingSettings.h"

namespace kestrel {
namespace {
using test::Pixel;
using test::Step;
using Shown = test::Picture;

Picture ToPicture(const Shown& shown, bool withMask = true) {
    Picture picture{DibPtr(DibCreate(24, shown.Width(), shown.Height())), nullptr};
    if (withMask) picture.mask.reset(DibCreate(8, shown.Width(), shown.Height()));
    for (int y = 0; y < shown.Height(); ++y) {
        std::copy_n(shown.Row(y), shown.Width() * 3, DibRow(picture.image.get(), y));
        if (withMask) std::copy_n(shown.MaskRow(y), shown.Width(), DibRow(picture.mask.get(), y));
    }
    return picture;
}

Shown FromPicture(const Picture& picture) {
    return Shown(picture.Width(), picture.Height(), [&](int x, int y) {
        const std::uint8_t* p = DibRow(picture.image.get(), y) + x * 3;
        return Pixel{p[0], p[1], p[2], DibRow(picture.mask.get(), y)[x]};
    });
}

std::string TextOf(const std::vector<Step>& chain) {
    std::string text;
    for (const Step& step : chain) text += step.progId + "\t" + step.text + "\n";
    return text;
}

// Source

TEST(PictureSource, ServesWhatLiesInside) {
    const Shown picture = Shown::Random(5, 4, 3);
    const Picture own = ToPicture(picture);
    const Ref<PictureSource> source(new PictureSource);
    source->SetPicture(own.image.get(), own.mask.get());
    const Pixel untouched{1, 2, 3, 4};
    for (const auto& [srcX, srcY, width, height] : {std::array{0, 0, 5, 4},
                                                    {2, 1, 2, 2},
                                                    {-2, -1, 4, 4},
                                                    {3, 2, 9, 9},
                                                    {-1, -1, 9, 9},
                                                    {5, 0, 3, 3},
                                                    {0, 4, 3, 3},
                                                    {-9, -9, 4, 4},
                                                    {2147483647, 0, 9, 9},
                                                    {-2147483647, 0, 9, 9},
                                                    {0, -2147483647 - 1, 9, 9}}) {
        Shown into(12, 12, untouched);
        EXPECT_EQ(source->TransformArea(1, 2, srcX, srcY, width, height, into.Rows(), into.MaskRows()), S_OK);
        const Shown expected(12, 12, [&, sx = srcX, sy = srcY, w = width, h = height](int x, int y) {
            const std::int64_t px = std::int64_t{sx} + x - 1, py = std::int64_t{sy} + y - 2;
            const bool asked = x >= 1 && x < 1 + w && y >= 2 && y < 2 + h;
            const bool inside = px >= 0 && px < 5 && py >= 0 && py < 4;
            return asked && inside ? picture.At(static_cast<int>(px), static_cast<int>(py)) : untouched;
        });
        EXPECT_EQ(into.Difference(expected), "") << srcX << " " << srcY;
        EXPECT_TRUE(into.GuardsIntact());
        const bool inside = srcX >= 0 && srcX + std::int64_t{width} <= 5 && srcY >= 0 && srcY < 4;
        const LentRow lent = source->Lend(srcX, srcY, width);
        EXPECT_EQ(lent.pixels, inside ? DibRow(own.image.get(), srcY) + 3 * srcX : nullptr);
        EXPECT_EQ(lent.mask, inside ? DibRow(own.mask.get(), srcY) + srcX : nullptr);
    }
}

TEST(PictureSource, FillsAMissingMaskAndStopsWhenAborted) {
    const Picture own = ToPicture(Shown(3, 2, Pixel{9, 8, 7, 6}), false);
    const Ref<PictureSource> source(new PictureSource);
    source->SetPicture(own.image.get(), nullptr);
    Shown into(3, 2, Pixel{1, 1, 1, 1});
    EXPECT_EQ(source->TransformArea(0, 0, 0, 0, 3, 2, into.Rows(), into.MaskRows()), S_OK);
    EXPECT_EQ(into.Difference(Shown(3, 2, Pixel{9, 8, 7, 0})), "");
    source->SetAbort(true);
    EXPECT_NE(source->TransformArea(0, 0, 0, 0, 3, 2, into.Rows(), into.MaskRows()), S_OK);
    EXPECT_EQ(source->Lend(0, 0, 3).pixels, nullptr);
    source->SetAbort(false);
    EXPECT_EQ(source->TransformArea(0, 0, 0, 0, 3, 2, into.Rows(), into.MaskRows()), S_OK);
    source->SetPicture(nullptr, nullptr);
    EXPECT_EQ(source->TransformArea(0, 0, 0, 0, 3, 2, into.Rows(), into.MaskRows()), S_OK);
}

TEST(PictureSource, TellsEachConsumerOfEachPictureOnce) {
    const Picture own = ToPicture(Shown(3, 2));
    const Ref<PictureSource> source(new PictureSource);
    source->SetPicture(own.image.get(), nullptr);
    int first = -1, second = -1;
    const auto changed = [&](int& version) {
        bool flag = false;
        source->Update(&flag, &version, true);
        return flag;
    };
    EXPECT_TRUE(changed(first));
    EXPECT_FALSE(changed(first));
    EXPECT_TRUE(changed(second));
    source->SetPicture(own.image.get(), nullptr);
    EXPECT_TRUE(changed(first));
    EXPECT_TRUE(changed(second));
    EXPECT_FALSE(changed(second));
    int ofAnotherSource = 99;
    EXPECT_TRUE(changed(ofAnotherSource));
}

// Rendering

struct RenderingTest : testing::Test {
    ~RenderingTest() override { EXPECT_EQ(Module::Count(), objectsBefore); }
    const long objectsBefore = Module::Count();
};

TEST_F(RenderingTest, GivesTheBytesOfTheSlowEngine) {
    const std::vector<std::vector<Step>> chains = {
        {},
        {{"TMFilter.Invert.1", "Inversity=100"}},
        {{"TMFilter.Sepia.1", "Sepia=060"},
         {"TMFilter.Transparency.1", "Transparency=040"},
         {"TMFilter.RGBColor.1", "R=20,G=-30,B=40"}},
        {{"TMFilter.Invert.1", "Inversity=070"},
         {"TMFilter.Blur.1", "Blurness=070,Version=2"},
         {"TMFilter.Invert.1", "Inversity=030"}},
        {{"TMFilter.AdoptColor.1", "ColorRed=060,ColorGreen=110,ColorBlue=190,Intensity=080"},
         {"TMFilter.Sepia.1", "Sepia=060"}},
    };
    for (const auto& chain : chains)
        for (const bool withMask : {true, false})
            for (const bool release : {true, false}) {
                SCOPED_TRACE(TextOf(chain));
                const Shown shown = Shown::Random(13, 7, 5, withMask);
                Rendering rendering;
                ASSERT_FALSE(rendering.SetChainText(TextOf(chain)));
                ASSERT_EQ(rendering.SetPicture(ToPicture(shown, withMask)), S_OK);
                Picture result;
                ASSERT_EQ(release ? rendering.RenderAndRelease(result) : rendering.Render(result), S_OK);
                EXPECT_EQ(FromPicture(result).Difference(*test::Evaluate(chain, shown)), "");
                EXPECT_EQ(rendering.ChainText(true), rendering.ChainText(false));
                if (release) continue;
                ASSERT_EQ(rendering.Render(result), S_OK);  // the picture is still there
                EXPECT_EQ(FromPicture(result).Difference(*test::Evaluate(chain, shown)), "");
            }
}

TEST_F(RenderingTest, WorksInThePicturesOwnRowsOnlyWhereEveryFilterDoes) {
    const struct {
        const char* text;
        bool inPlace;
    } cases[] = {
        {"", true},
        {"TMFilter.Sepia.1\tSepia=060\nTMFilter.Invert.1\tInversity=100\n", true},
        {"TMFilter.Sepia.1\tSepia=060\nTMFilter.Blur.1\tBlurness=050\n", false},
        {"TMFilter.AdoptColor.1\t\n", false},
    };
    for (const auto& row : cases) {
        Rendering rendering;
        ASSERT_FALSE(rendering.SetChainText(row.text));
        Picture picture = ToPicture(Shown::Random(6, 5, 1));
        const Dib* const image = picture.image.get();
        const Dib* const mask = picture.mask.get();
        ASSERT_EQ(rendering.SetPicture(std::move(picture)), S_OK);
        Picture result;
        ASSERT_EQ(rendering.RenderAndRelease(result), S_OK);
        EXPECT_EQ(result.image.get() == image, row.inPlace) << row.text;
        EXPECT_EQ(result.mask.get() == mask, row.inPlace) << row.text;
        EXPECT_EQ(rendering.Render(result), E_INVALIDARG);  // the picture is given up
    }
}

TEST_F(RenderingTest, TextsMakeOneFilterALine) {
    const std::string twice = "TMFilter.Sepia.1\tSepia=080\nTMFilter.Sepia.1\tSepia=020\nTMFilter.Sepia.1\tSepia=080\n";
    Rendering rendering;
    ASSERT_FALSE(rendering.SetChainText(twice));
    EXPECT_EQ(rendering.FilterCount(), 3);
    EXPECT_EQ(rendering.ChainText(false), twice);

    // The filters that stay keep their objects.
    Ref<IFilterObject> before[3], after;
    for (int i = 0; i < 3; ++i) rendering.Chain().GetFilter(i, IFilterObject::kIid, before[i].Out());
    const std::string longer = "TMFilter.Invert.1\tInversity=001\n" + twice;
    ASSERT_FALSE(rendering.SetChainText(longer));
    EXPECT_EQ(rendering.ChainText(false), longer);
    for (int i = 0; i < 3; ++i) {
        rendering.Chain().GetFilter(i + 1, IFilterObject::kIid, after.Out());
        EXPECT_EQ(after, before[i]);
    }
    ASSERT_FALSE(rendering.SetChainText(""));
    EXPECT_EQ(rendering.FilterCount(), 0);
    EXPECT_EQ(rendering.ChainText(false), "");
}

TEST_F(RenderingTest, AddsByCostAndRefusesUnknownNames) {
    Rendering rendering;
    EXPECT_EQ(rendering.AddFilter("TMFilter.Sepia.1", "Sepia=010"), S_OK);
    EXPECT_EQ(rendering.AddFilter("TMFilter.Invert.1", nullptr), S_OK);
    EXPECT_EQ(rendering.AddFilter("TMFilter.Sepia.1", ""), S_OK);
    EXPECT_EQ(rendering.AddFilter("TMFilter.Sepia", nullptr), E_FAIL);
    EXPECT_EQ(rendering.AddFilter("TMFilter.Chain.1", nullptr), E_FAIL);
    EXPECT_EQ(rendering.ChainText(false),
              "TMFilter.Sepia.1\tSepia=010\nTMFilter.Invert.1\tInversity=000\nTMFilter.Sepia.1\tSepia=000\n");
}

TEST_F(RenderingTest, NamesTheFirstLineThatCannotBeUsed) {
    const std::string good = "TMFilter.Invert.1\tInversity=050\n";
    std::string many;
    for (int i = 0; i <= Rendering::kMaximumFilters; ++i) many += good;
    const struct {
        std::string text;
        int line;
        const char* says;
    } cases[] = {
        {"TMFilter.None.1\t\n", 1, "there is no filter \"TMFilter.None.1\""},
        {good + "TMFilter.Invert\tInversity=050\n" + good, 2, "there is no filter \"TMFilter.Invert\""},
        {good + "TMFilter.Chain.1\t\n", 2, "no filter"},
        {good + "TMFilter.Zero.1\t\n", 2, "no filter"},
        {good + good + "TMFilter.Invert.1 Inversity=050\n", 3, "no TAB"},
        {good + "\n" + good, 2, "no TAB"},
        {good + "TMFilter.Invert.1\tInversity=0", 2, "line feed"},
        {"TMFilter.Invert.1", 1, "no TAB"},
        {"TMFilter.Invert.1\ta\tb\n", 1, "more than one TAB"},
        {good + std::string("TMFilter.Invert.1\tInv\0ersity=1\n", 32), 2, "zero byte"},
        {many, Rendering::kMaximumFilters + 1, "at most 1000"},
        {std::string(1 << 20, 'x'), 1, "\"xxx"},
        {std::string("\x01\xFF\x80\t\n"), 1, "no filter"},
    };
    Rendering rendering;
    ASSERT_FALSE(rendering.SetChainText(good));
    for (const auto& row : cases) {
        const auto fault = rendering.SetChainText(row.text);
        ASSERT_TRUE(fault) << row.says;
        EXPECT_EQ(fault->line, row.line) << row.says;
        EXPECT_NE(fault->reason.find(row.says), std::string::npos) << fault->reason;
        EXPECT_LT(fault->reason.size(), 200u);
        EXPECT_EQ(rendering.ChainText(false), good);  // nothing changed
    }
    ASSERT_FALSE(rendering.SetChainText(std::string_view(many).substr(good.size())));
    EXPECT_EQ(rendering.AddFilter("TMFilter.Invert.1", nullptr), E_FAIL);
    EXPECT_EQ(rendering.FilterCount(), Rendering::kMaximumFilters);
}

TEST_F(RenderingTest, RefusesPicturesItCannotServe) {
    Rendering rendering;
    Picture result;
    EXPECT_EQ(rendering.Render(result), E_INVALIDARG);
    EXPECT_EQ(rendering.RenderAndRelease(result), E_INVALIDARG);
    EXPECT_EQ(rendering.SetPicture({}), E_INVALIDARG);
    EXPECT_EQ(rendering.SetPicture({DibPtr(DibCreate(8, 2, 2)), nullptr}), E_INVALIDARG);
    EXPECT_EQ(rendering.SetPicture({DibPtr(DibCreate(24, 2, 2)), DibPtr(DibCreate(24, 2, 2))}), E_INVALIDARG);
    EXPECT_EQ(rendering.SetPicture({DibPtr(DibCreate(24, 2, 2)), DibPtr(DibCreate(8, 2, 3))}), E_INVALIDARG);
    ASSERT_EQ(rendering.SetPicture({DibPtr(DibCreate(24, 0, 0)), nullptr}), S_OK);
    EXPECT_EQ(rendering.Render(result), E_INVALIDARG);
}

TEST_F(RenderingTest, AbortStopsRequestsUntilItIsTakenBack) {
    const Shown shown = Shown::Random(4, 4, 9);
    Rendering rendering;
    ASSERT_FALSE(rendering.SetChainText("TMFilter.Invert.1\tInversity=100\n"));
    ASSERT_EQ(rendering.SetPicture(ToPicture(shown)), S_OK);
    Picture result;
    std::thread([&] { rendering.SetAbort(true); }).join();
    EXPECT_EQ(rendering.Render(result), S_FALSE);
    EXPECT_FALSE(result.image);
    std::uint8_t pixel[4] = {1, 2, 3, 4};
    EXPECT_EQ(rendering.TransformColor(pixel), S_FALSE);
    rendering.SetAbort(false);
    EXPECT_EQ(rendering.Render(result), S_OK);
    EXPECT_EQ(FromPicture(result).At(0, 0).red, 255 - shown.At(0, 0).red);
}

TEST_F(RenderingTest, QuestionsAndItsOwnTextLeaveTheCachesAlone) {
    Rendering rendering;
    const char* const chain = "TMFilter.Blur.1\tBlurness=050\nTMFilter.Scale100.1\tHorizontalProz=50\n";
    ASSERT_FALSE(rendering.SetChainText(chain));
    ASSERT_EQ(rendering.SetPicture(MakePicture(9, 8)), S_OK);
    Picture result;
    ASSERT_EQ(rendering.Render(result), S_OK);
    Ref<IFilterPixels> last;
    ASSERT_EQ(rendering.Chain().GetFilter(-1, IFilterPixels::kIid, last.Out()), S_OK);
    int version = -1;
    const auto isNew = [&] {
        bool changed = false;
        last->Update(&changed, &version, true);
        return changed;
    };
    isNew();
    EXPECT_EQ(rendering.LinkGeometries().at(1).geometry.Width, 9);
    EXPECT_EQ(rendering.LinkGeometries().at(2).geometry.Width, 5);
    EXPECT_FALSE(isNew());
    EXPECT_EQ(rendering.LargestPixelCount(), 72);
    EXPECT_FALSE(isNew());
    EXPECT_FALSE(rendering.SetChainText(rendering.ChainText(false)));
    EXPECT_FALSE(rendering.SetChainText(chain));  // the same values, written in another way
    EXPECT_FALSE(isNew());
    EXPECT_EQ(rendering.SetRenderScale(1.0), S_OK);
    EXPECT_FALSE(isNew());
    EXPECT_EQ(rendering.SetRenderScale(0.0), E_INVALIDARG);
    EXPECT_FALSE(isNew());
}

TEST_F(RenderingTest, RenderScaleReachesEveryFilter) {
    Rendering rendering;
    const Ref<test::Probe> first(new test::Probe("A")), second(new test::Probe("B"));
    rendering.Chain().AddFilter(static_cast<IFilterObject*>(first.get()));
    rendering.Chain().AddFilter(static_cast<IFilterObject*>(second.get()));
    EXPECT_EQ(rendering.SetRenderScale(0.25), S_OK);
    int width = 0, height = 0;
    rendering.GetOutputSize(&width, &height);
    EXPECT_EQ(first->RenderScale(), 0.25);
    EXPECT_EQ(second->RenderScale(), 0.25);
}

TEST_F(RenderingTest, ANewViewSizeMakesANewPicture) {
    Rendering rendering;
    ASSERT_FALSE(rendering.SetChainText("TMFilter.Scale.1\tMaximumHorizontalSize=20,MaximumVerticalSize=25\n"));
    ASSERT_EQ(rendering.SetPicture(MakePicture(4, 5)), S_OK);
    Picture result;
    for (const auto& [view, width] : {std::pair{4, 4}, {40, 20}, {4, 4}}) {  // a preview grows as its original would
        rendering.SetViewSize(view, view / 4 * 5);
        ASSERT_EQ(rendering.Render(result), S_OK);
        EXPECT_EQ(result.Width(), width);
    }
}

TEST_F(RenderingTest, ANewRenderScaleMakesANewPicture) {
    const auto made = [](std::initializer_list<double> scales) {
        Rendering rendering;
        EXPECT_FALSE(rendering.SetChainText("TMFilter.Blur.1\tBlurness=100,Version=2\n"));
        Picture picture = MakePicture(6, 1);
        picture.mask = nullptr;
        for (int i = 0; i < 18; ++i) DibRow(picture.image.get(), 0)[i] = static_cast<std::uint8_t>(i * 91);
        EXPECT_EQ(rendering.SetPicture(std::move(picture)), S_OK);
        Picture result;
        for (const double scale : scales) {
            EXPECT_EQ(rendering.SetRenderScale(scale), S_OK);
            EXPECT_EQ(rendering.Render(result), S_OK);
        }
        const std::uint8_t* row = DibRow(result.image.get(), 0);
        return std::vector<std::uint8_t>(row, row + 18);
    };
    EXPECT_EQ(made({1.0, 0.25}), made({0.25}));
    EXPECT_NE(made({1.0}), made({0.25}));
}

TEST_F(RenderingTest, GivesAColourAsTheLineShowsIt) {
    Rendering rendering;
    ASSERT_FALSE(rendering.SetChainText("TMFilter.Invert.1\tInversity=100\n"));
    std::uint8_t pixel[4] = {1, 2, 3, 4};
    ASSERT_EQ(rendering.TransformColor(pixel), S_OK);
    EXPECT_EQ(pixel[0], 254);
    EXPECT_EQ(pixel[2], 252);
    EXPECT_EQ(pixel[3], 4);
}

// Catalogue

TEST(Catalogue, KnowsAFilterByItsThreeNames) {
    for (const ClassRow* row : ListFilters()) {
        const std::string progId = row->description->progId;
        EXPECT_EQ(FindFilter(progId), row);
        EXPECT_EQ(FindFilter(progId.substr(9)), row);
        EXPECT_EQ(FindFilter(WordOf(*row->description)), row);
    }
    for (const char* name : {"", "sepia", "TMFilter.Sepia", "Sepia.2", "Chain", "Creator", "TMFilter.Chain.1", "Zero"})
        EXPECT_EQ(FindFilter(name), nullptr) << name;
}

TEST(Catalogue, SuggestsTheNearestName) {
    EXPECT_EQ(SuggestFilter("sepia"), "Sepia");
    EXPECT_EQ(SuggestFilter("Sepai"), "Sepia");
    EXPECT_EQ(SuggestFilter("invertmask"), "InvertMask");
    EXPECT_EQ(SuggestFilter("Quetzalcoatl"), "");
    EXPECT_EQ(SuggestFilter(std::string(100000, 'x')), "");
}

// Text

TEST(Rendering, DrawsTextUntilAHostTakesTheRendererAway) {
    const Shown white(200, 60, Pixel{255, 255, 255, 0});
    Rendering rendering;
    ASSERT_FALSE(rendering.SetChainText("TMFilter.Text.1\tpos=6, offset=5, fsz=30, fcol=0, shd=0, txt=H\xfc\n"));
    const auto show = [&] {
        EXPECT_EQ(rendering.SetPicture(ToPicture(white)), S_OK);
        Picture result;
        EXPECT_EQ(rendering.Render(result), S_OK);
        return FromPicture(result);
    };
    const Shown drawn = show();
    int left = 200, black = 0;
    for (int y = 0; y < 60; ++y)
        for (int x = 0; x < 200; ++x) {
            if (drawn.At(x, y).blue < 255) left = std::min(left, x);
            black += drawn.At(x, y) == Pixel{0, 0, 0, 0};
        }
    EXPECT_NEAR(left, 5, 4);  // the letter has a bearing of its own
    EXPECT_GT(black, 50);
    rendering.SetServices(nullptr);
    EXPECT_EQ(show().Difference(white), "");
}

/// Knows one descriptor.
class Descriptors final : public ModuleObject, public Counted<IHostServices> {
public:
    bool Offers(const char* dispatcher) override { return std::string_view(dispatcher) == "TextFilterDispatcher"; }
    HRESULT Dispatch(const char*, std::int32_t, void*) override { return E_NOTIMPL; }
    char* TranslateText(const char* text) override {
        return std::string_view(text) == "%%COPYRIGHT%%" ? strdup("2026 Ann") : nullptr;
    }

private:
    ~Descriptors() = default;
};

TEST(Rendering, ExpandsDescriptorsForAHostThatWasThereBeforeTheChain) {
    Rendering rendering;
    const Ref<IHostServices> services(new Descriptors);
    rendering.SetServices(services.get());
    ASSERT_FALSE(rendering.SetChainText("TMFilter.Text.1\ttxt=%%COPYRIGHT%%\n"));
    ASSERT_EQ(rendering.AddFilter("TMFilter.Text.1", "txt=%%COPYRIGHT%%"), S_OK);
    EXPECT_EQ(rendering.SetPicture(ToPicture(Shown(4, 4, Pixel{}))), S_OK);
    Picture result;
    EXPECT_EQ(rendering.Render(result), S_OK);
    const std::string chain = rendering.ChainText(true);
    EXPECT_EQ(chain.find("%%"), std::string::npos) << chain;
    EXPECT_NE(chain.find("txt=2026 Ann"), chain.rfind("txt=2026 Ann")) << chain;
}

/// Every filter that works row by row, one after the other.
std::vector<Step> RowByRow() {
    std::vector<Step> chain;
    for (const ClassRow& row : ClassTable()) {
        const Description& about = *row.description;
        if (!row.IsFilter() || !about.inPlace || about.measuresRequest) continue;
        chain.push_back({about.progId, std::string(FindTellingSetting(about.progId)->text)});
    }
    return chain;
}

TEST_F(RenderingTest, BandsAndThreadsChangeNoByte) {
    constexpr int kWidth = 66000;  // a band is one row
    constexpr int kRows = 9;
    const std::vector<Step> rowByRow = RowByRow();
    EXPECT_GE(rowByRow.size(), 15u);
    const std::vector<std::vector<Step>> chains = {
        rowByRow,
        {{"TMFilter.Crop.1", "LeftMargin=0,RightMargin=1,BottomMargin=0.3,TopMargin=0.9"},
         {"TMFilter.Sepia.1", "Sepia=060"},
         {"TMFilter.Blur.1", "Blurness=070,Version=2"},
         {"TMFilter.Invert.1", "Inversity=070"},
         {"TMFilter.AdoptColor.1", "ColorRed=060,ColorGreen=110,ColorBlue=190,Intensity=080"}},
        {{"TMFilter.Histo.1", "Intensity=090"}, {"TMFilter.Sepia.1", "Sepia=060"}},
        {{"TMFilter.Sepia.1", "Sepia=060"}, {"TMFilter.WhiteBlackGrey.1", "Mode=2,RedG=90,GreenG=128,BlueG=150"}},
    };
    const Shown shown = Shown::Random(kWidth, kRows, 8);
    for (const auto& chain : chains) {
        const Shown want = *test::Evaluate(chain, shown);
        for (const int threads : {1, 3})
            for (const bool release : {true, false}) {
                SCOPED_TRACE(TextOf(chain));
                Rendering rendering;
                ASSERT_EQ(rendering.SetThreads(threads), S_OK);
                ASSERT_FALSE(rendering.SetChainText(TextOf(chain)));
                ASSERT_EQ(rendering.SetPicture(ToPicture(shown)), S_OK);
                Picture result;
                ASSERT_EQ(release ? rendering.RenderAndRelease(result) : rendering.Render(result), S_OK);
                EXPECT_EQ(FromPicture(result).Difference(want), "") << threads << " threads";
            }
    }
    EXPECT_EQ(Rendering().SetThreads(0), E_INVALIDARG);
}

TEST(BandWork, ThreadsShareTheRowsAndAFailureEndsThemAll) {
    std::vector<std::atomic<int>> made(1001);
    BandWork whole(1001, 4);
    EXPECT_EQ(whole.Count(), 251);
    {
        const auto take = [&] {
            whole.Take([&](int first, int rows) {
                for (int row = first; row < first + rows; ++row) ++made[static_cast<std::size_t>(row)];
                return S_OK;
            });
        };
        const std::jthread first(take), second(take);
        take();
    }
    EXPECT_EQ(whole.Result(), S_OK);
    for (const auto& times : made) ASSERT_EQ(times, 1);

    BandWork failing(100, 4);
    int calls = 0;
    const auto make = [&](int first, int) {
        ++calls;
        return first < 8 ? S_OK : E_OUTOFMEMORY;
    };
    failing.Take(make);
    failing.Take(make);  // another thread comes too late
    EXPECT_EQ(calls, 3);
    EXPECT_EQ(failing.Result(), E_OUTOFMEMORY);
}

TEST(Rendering, TwoThreadsRenderWithoutDisturbingEachOther) {
    const Shown picture = Shown::Random(60, 40, 3);
    const auto render = [&] {
        Rendering rendering;
        (void)rendering.SetChainText(
            "TMFilter.Crop.1\tLeftMargin=0.1,RightMargin=0.1,TopMargin=0,BottomMargin=0\n"
            "TMFilter.Scale.1\tScale=050\nTMFilter.Rotate.1\tAngle=7\nTMFilter.Sharpen.1\tSharpen=050\n"
            "TMFilter.Gamma.1\tRed=010,Green=020\nTMFilter.Sepia.1\tSepia=050\nTMFilter.Shadow.1\t\n");
        Picture result;
        for (int round = 0; round < 3; ++round) {
            (void)rendering.SetPicture(ToPicture(picture));
            if (rendering.Render(result) != S_OK) return Shown(0, 0, Pixel{});
        }
        return FromPicture(result);
    };
    const Shown want = render();
    ASSERT_GT(want.Width(), 0);
    Shown got[2] = {want, want};
    {
        std::jthread first([&] { got[0] = render(); });
        std::jthread second([&] { got[1] = render(); });
    }
    for (const Shown& one : got) EXPECT_EQ(one.Difference(want), "");
}

}  // namespace
}  // namespace kestrel
