// Renderings in bands of rows, against the same line over the whole picture.
#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <set>
#include <stdexcept>

#include "kestrel/framework/Description.h"
#include "kestrel/host/Rendering.h"
#include "kestrel/server/ClassTable.h"
#include "tests/support/Reference.h"
#include "tools/TellingSettings.h"

namespace kestrel {
namespace {
using test::Pixel;
using test::Step;
using Shown = test::Picture;

std::string TextOf(const std::vector<Step>& chain) {
    std::string text;
    for (const Step& step : chain) text += step.progId + "\t" + step.text + "\n";
    return text;
}

struct How {
    int threads = 1;
    int bandRows = 0;
    RowSpan rows{};   ///< of the output; none: all of them
    bool fed = true;  ///< the picture's rows come in; otherwise it is set
};

Picture PictureOf(const Shown& shown, bool withMask) {
    Picture picture = MakePicture(shown.Width(), shown.Height());
    for (int y = 0; y < shown.Height(); ++y) {
        std::copy_n(shown.Row(y), shown.Width() * 3, DibRow(picture.image.get(), y));
        std::copy_n(shown.MaskRow(y), shown.Width(), DibRow(picture.mask.get(), y));
    }
    if (!withMask) picture.mask.reset();
    return picture;
}

/// The rows of the output that were asked for; no value when the line does not serve rows.
std::optional<Shown> InBands(const std::vector<Step>& chain, const Shown& shown, bool withMask, How run) {
    Rendering rendering;
    EXPECT_FALSE(rendering.SetChainText(TextOf(chain)));
    EXPECT_EQ(rendering.SetThreads(run.threads), S_OK);
    EXPECT_EQ(run.fed ? rendering.SetPictureSize(shown.Width(), shown.Height(), withMask)
                      : rendering.SetPicture(PictureOf(shown, withMask)),
              S_OK);
    if (!rendering.ServesRows()) return std::nullopt;
    int width = 0, height = 0;
    rendering.GetOutputSize(&width, &height);
    if (run.rows.count == 0) run.rows = {0, height};
    Shown made(width, run.rows.count);
    int next = shown.Height(), put = run.rows.count;
    const auto feed = [&](std::uint8_t* pixels, std::uint8_t* mask) {
        std::copy_n(shown.Row(--next), shown.Width() * 3, pixels);
        EXPECT_EQ(mask != nullptr, withMask);
        if (mask) std::copy_n(shown.MaskRow(next), shown.Width(), mask);
    };
    const auto take = [&](const std::uint8_t* pixels, const std::uint8_t* mask) {
        std::copy_n(pixels, width * 3, made.Rows()[--put]);
        std::copy_n(mask, width, made.MaskRows()[put]);
        return true;
    };
    EXPECT_EQ(rendering.RenderRows(run.rows, feed, take, run.bandRows), S_OK);
    EXPECT_EQ(next, run.fed ? 0 : shown.Height()) << "every row is read, also those that no band needs";
    EXPECT_EQ(put, 0);
    return made;
}

/// The same line over the whole picture at once; its mask is all 0 where the rows came without one.
Shown Whole(const std::vector<Step>& chain, const Shown& shown) {
    Rendering rendering;
    EXPECT_FALSE(rendering.SetChainText(TextOf(chain)));
    EXPECT_EQ(rendering.SetPicture(PictureOf(shown, true)), S_OK);
    Picture result;
    EXPECT_EQ(rendering.Render(result), S_OK);
    return Shown(result.Width(), result.Height(), [&](int x, int y) {
        const std::uint8_t* const p = DibRow(result.image.get(), y) + x * 3;
        return Pixel{p[0], p[1], p[2], DibRow(result.mask.get(), y)[x]};
    });
}

void ExpectTheWhole(const std::vector<Step>& chain, const Shown& shown, bool withMask, How run) {
    SCOPED_TRACE(TextOf(chain) + std::to_string(shown.Width()) + " x " + std::to_string(shown.Height()) +
                 ", bands of " + std::to_string(run.bandRows) + ", threads " + std::to_string(run.threads) +
                 (run.fed ? "" : ", set"));
    const auto made = InBands(chain, shown, withMask, run);
    ASSERT_TRUE(made);
    const Shown whole = Whole(chain, shown);
    const RowSpan rows = run.rows.count == 0 ? RowSpan{0, whole.Height()} : run.rows;
    EXPECT_EQ(made->Difference(whole.Cut(0, rows.first, whole.Width(), rows.count)), "");
}

Step Percent(int x, int y) {
    return {"TMFilter.Scale100.1", "KeepProportions=0,AllowEnlarge=1,HorizontalProz=" + std::to_string(x) +
                                       ",VerticalProz=" + std::to_string(y)};
}
Step Box(int width, int height) {
    return {"TMFilter.Scale.1", "KeepProportions=0,AllowEnlarge=1,MaximumHorizontalSize=" + std::to_string(width) +
                                    ",MaximumVerticalSize=" + std::to_string(height)};
}

/// All that serve rows, of rows or of the whole picture; scales more than once: what they do depends on both axes.
std::vector<Step> RowFilters() {
    std::vector<Step> filters{Percent(45, 230), Percent(97, 12), Percent(3, 5), Box(11, 9), Box(90, 70)};
    for (const char* const angle :
         {"Angle=7", "Angle=319.5", "Angle=0.01", "Angle=90", "Angle=130", "Angle=3,MirrorOn=1"})
        filters.push_back({"TMFilter.Rotate.1", angle});
    for (const ClassRow& row : ClassTable())
        if (row.IsFilter() && !row.description->measuresRequest)
            filters.push_back(
                {row.description->progId, std::string(FindTellingSetting(row.description->progId)->text)});
    return filters;
}

TEST(RenderRows, EveryFilterAnswersForItsReach) {
    std::set<std::string> whole;
    for (const ClassRow& row : ClassTable()) {
        if (!row.IsFilter()) continue;
        const Description& about = *row.description;
        SCOPED_TRACE(about.progId);
        EXPECT_TRUE(!about.inPlace || about.reach == (about.measuresRequest ? kWholePicture : 0));
        const Step step{about.progId, std::string(FindTellingSetting(about.progId)->text)};
        if (about.reach == kWholePicture) whole.insert(about.progId);
        const auto made = InBands({step}, Shown::Random(9, 9, 1, false), false, {});
        ASSERT_EQ(made.has_value(), !about.measuresRequest);
        int hidden = 0;
        for (int y = 0; made && y < made->Height(); ++y)
            for (int x = 0; x < made->Width(); ++x) hidden |= made->At(x, y).mask;
        EXPECT_TRUE(about.reach == kWholePicture || about.hides == (hidden != 0));
        Rendering rendering;
        ASSERT_FALSE(rendering.SetChainText(TextOf({{"TMFilter.Blur.1", "Blurness=050"}, step})));
        ASSERT_EQ(rendering.SetPictureSize(9, 9, false), S_OK);
        EXPECT_EQ(rendering.NeedsWholePicture(), about.reach == kWholePicture ? about.progId : "");
    }
    EXPECT_TRUE(whole.contains("TMFilter.Histo.1") && whole.contains("TMFilter.Rauchglas.1"));
    EXPECT_GT(RowFilters().size(), 32u);
}

TEST(RenderRows, GiveTheBytesOfTheWholeForEveryFilter) {
    unsigned seed = 1;
    for (const Step& step : RowFilters())
        for (const auto& [width, height] : {std::pair{1, 1}, {2, 3}, {13, 1}, {7, 23}, {40, 37}})
            for (const int bandRows : {1, 3, 16}) {
                const bool withMask = ++seed % 3 != 0;
                ExpectTheWhole({step}, Shown::Random(width, height, seed, withMask), withMask,
                               {static_cast<int>(seed % 4) + 1, bandRows, {}, seed % 5 != 0});
            }
}

TEST(RenderRows, GiveTheBytesOfTheWholeForChains) {
    const std::vector<Step> filters = RowFilters();
    std::mt19937 random(5);
    const auto below = [&random](unsigned bound) { return static_cast<int>(random() % bound); };
    for (int round = 0; round < 200; ++round) {
        std::vector<Step> chain;
        for (int n = below(7); n > 0; --n)
            chain.push_back(filters[static_cast<std::size_t>(below(static_cast<unsigned>(filters.size())))]);
        const bool withMask = round % 2 != 0;
        const Shown shown = Shown::Random(3 + below(30), 20 + below(60), static_cast<unsigned>(round), withMask);
        How run{1 + below(5), below(3) == 0 ? 0 : 1 + below(40)};
        if (below(3) == 0) {
            const int height = Whole(chain, shown).Height();
            run.rows.first = below(static_cast<unsigned>(height));
            run.rows.count = 1 + below(static_cast<unsigned>(height - run.rows.first));
        }
        run.fed = below(3) != 0;
        ExpectTheWhole(chain, shown, withMask, run);
    }
}

TEST(RenderRows, ReduceWhereNothingCanBeHidden) {
    const Step soft{"TMFilter.SoftFrame.1", "FrameWidth=10"}, sepia{"TMFilter.Sepia.1", "Sepia=060"};
    const std::string percent = "TMFilter.Scale100.1", box = "TMFilter.Scale.1";
    struct Case {
        std::vector<Step> chain;
        bool withMask;
        std::string needsWhole;
    };
    for (const Case& c :
         {Case{{sepia, Percent(50, 50)}, false, ""}, Case{{sepia, Percent(50, 50)}, true, percent},
          Case{{soft, Percent(50, 50)}, false, percent}, Case{{Percent(50, 50), soft}, false, ""},
          Case{{Percent(50, 50), Box(2, 2), Percent(200, 200)}, false, ""}, Case{{soft, Percent(200, 50)}, true, ""},
          Case{{Box(2, 2), Percent(300, 300), Box(4, 4)}, false, box},  // two columns are not enlarged
          Case{{Box(20, 16)}, true, ""}, Case{{Percent(0, 50)}, false, percent},
          Case{{Percent(2000000000, 2000000000)}, false, percent}}) {  // beyond memory
        Rendering rendering;
        ASSERT_FALSE(rendering.SetChainText(TextOf(c.chain)));
        ASSERT_EQ(rendering.SetPictureSize(20, 16, c.withMask), S_OK);
        EXPECT_EQ(rendering.NeedsWholePicture(), c.needsWhole) << TextOf(c.chain) << c.withMask;
    }
}

TEST(RenderRows, KeepNoMoreRowsThanTheBandsAtWorkNeed) {
    for (const auto& [chain, rows] :
         {std::pair{"TMFilter.Sharpen.1\tSharpness=080\n", 4 * 10}, {"TMFilter.Rotate.1\tAngle=5\n", 4 * 10 + 340}}) {
        Rendering rendering;
        ASSERT_FALSE(rendering.SetChainText(chain));
        constexpr int kHeight = 4000;
        ASSERT_EQ(rendering.SetPictureSize(50, kHeight, false), S_OK);
        int read = 0, written = 0, ahead = 0;
        const auto feed = [&](std::uint8_t* pixels, std::uint8_t*) {
            std::fill_n(pixels, 150, std::uint8_t{1});
            ahead = std::max(ahead, ++read - written);
        };
        const auto take = [&](const std::uint8_t*, const std::uint8_t*) { return ++written > 0; };
        int width = 0, height = 0;
        rendering.GetOutputSize(&width, &height);
        ASSERT_EQ(rendering.RenderRows({0, height}, feed, take, 10), S_OK);
        EXPECT_LE(ahead, rows) << chain;
    }
}

TEST(RenderRows, MemoryIsEstimatedFromAllLinks) {
    Rendering rendering;
    const auto whole = [&](const std::string& text) {
        EXPECT_FALSE(rendering.SetChainText(text));
        EXPECT_EQ(rendering.SetPictureSize(1000, 500, false), S_OK);
        return rendering.MemoryOfWhole() / 2'000'000;  // in pictures
    };
    EXPECT_EQ(whole("TMFilter.Sepia.1\tSepia=060\n"), 2u);
    EXPECT_EQ(whole("TMFilter.Sharpen.1\tSharpness=060\nTMFilter.Sepia.1\tSepia=060\n"), 4u);
    // The input, the output, what the filter keeps, and its input while it works.
    EXPECT_EQ(whole("TMFilter.Scale100.1\tKeepProportions=1,AllowEnlarge=1,HorizontalProz=300,VerticalProz=300\n"),
              20u);
    ASSERT_FALSE(rendering.SetChainText("TMFilter.Histo.1\tIntensity=050\n"));
    EXPECT_EQ(rendering.MemoryOfRows(), 0u) << "it measures the request";
    ASSERT_FALSE(rendering.SetChainText("TMFilter.AdoptColor.1\tIntensity=050\n"));
    EXPECT_EQ(rendering.MemoryOfRows(), rendering.MemoryOfWhole() - 2'000'000);

    ASSERT_FALSE(rendering.SetChainText("TMFilter.Sepia.1\tSepia=060\nTMFilter.Sharpen.1\tSharpness=060\n"));
    ASSERT_EQ(rendering.SetThreads(2), S_OK);
    ASSERT_EQ(rendering.SetPictureSize(20000, 20000, false), S_OK);
    EXPECT_GT(rendering.MemoryOfRows(), 10'000'000u);
    EXPECT_LT(rendering.MemoryOfRows(), 100'000'000u);
    const auto inMegabytes = [&](const std::vector<Step>& chain) {
        EXPECT_FALSE(rendering.SetChainText(TextOf(chain)));
        return rendering.MemoryOfRows() / 1'000'000;
    };
    // Bands of 24 rows are made of 280 rows of 80,000 bytes, 40 of them shared: three of them come in, and each of two
    // threads holds those of one.
    EXPECT_NEAR(static_cast<double>(inMegabytes({Percent(10, 10)})), 80e-3 * (3 * 240 + 40 + 2 * 280), 5);
    EXPECT_GT(inMegabytes({Percent(400, 400), Percent(25, 25)}), 4 * inMegabytes({Percent(50, 50)}));
}

TEST(RenderRows, EndWithTheFirstFailure) {
    for (const auto& [threads, chain] :
         {std::pair{1, "TMFilter.Sharpen.1\tSharpness=080\nTMFilter.Sepia.1\tSepia=050\n"},
          {3, "TMFilter.Sharpen.1\tSharpness=080\nTMFilter.Sepia.1\tSepia=050\n"},
          {1, "TMFilter.AdoptColor.1\tIntensity=050\n"},
          {3, "TMFilter.AdoptColor.1\tIntensity=050\n"}}) {
        Rendering rendering;
        ASSERT_FALSE(rendering.SetChainText(chain));
        ASSERT_EQ(rendering.SetThreads(threads), S_OK);
        ASSERT_EQ(rendering.SetPictureSize(20, 300, false), S_OK);
        std::atomic<int> rows{0};
        const auto feed = [](std::uint8_t* pixels, std::uint8_t*) { std::fill_n(pixels, 60, std::uint8_t{1}); };
        const auto take = [&rows](const std::uint8_t*, const std::uint8_t*) { return ++rows < 100; };
        EXPECT_EQ(rendering.RenderRows({0, 300}, feed, take, 4), E_FAIL);
        EXPECT_EQ(rows, 100);

        rows = -300;
        const auto broken = [left = 150, feed](std::uint8_t* pixels, std::uint8_t* mask) mutable {
            if (--left == 0) throw std::runtime_error("the file is gone");
            feed(pixels, mask);
        };
        EXPECT_THROW((void)rendering.RenderRows({0, 300}, broken, take, 4), std::runtime_error);

        const auto stop = [&](const std::uint8_t*, const std::uint8_t*) {
            rendering.SetAbort(true);
            return true;
        };
        EXPECT_EQ(rendering.RenderRows({0, 300}, feed, stop, 4), S_FALSE);
        EXPECT_EQ(rendering.RenderRows({0, 300}, feed, stop, 4), S_FALSE);
        rendering.SetAbort(false);
        rows = -300;
        EXPECT_EQ(rendering.RenderRows({0, 300}, feed, take, 4), S_OK);
        for (const RowSpan outside : {RowSpan{-1, 2}, {0, 0}, {299, 2}, {0, 301}})
            EXPECT_EQ(rendering.RenderRows(outside, feed, take), E_INVALIDARG);
        ASSERT_FALSE(rendering.SetChainText("TMFilter.Histo.1\tIntensity=050\n"));
        EXPECT_EQ(rendering.RenderRows({0, 300}, feed, take), E_INVALIDARG);
    }
}

}  // namespace
}  // namespace kestrel
