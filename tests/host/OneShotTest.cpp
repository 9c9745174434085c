// Renderings of a picture that is given up: how many pictures the filters hold meanwhile, and that the bytes are those
// of a rendering that can be asked again.
#include <gtest/gtest.h>

#include <algorithm>

#include "kestrel/framework/PdibFilter.h"
#include "kestrel/host/Rendering.h"
#include "kestrel/server/ClassTable.h"
#include "tests/support/Reference.h"
#include "tools/TellingSettings.h"

namespace kestrel {
namespace {
using test::Pixel;
using test::Step;
using Shown = test::Picture;

constexpr Description kKeeper{.progId = "Keeper"};

/// Keeps its input as its output, as filters do that need the whole picture, and counts who else holds one.
class Keeper final : public CPdibFilter {
public:
    Keeper() : CPdibFilter(kKeeper) {}

    static inline std::vector<const Keeper*> all;  ///< of the line that is tested
    static inline int mostHeld = 0;
    static int Held() {
        return static_cast<int>(
            std::ranges::count_if(all, [](const Keeper* keeper) { return keeper->filled_ && keeper->m_Cache; }));
    }
    int made = 0;

protected:
    FilterResult MakePixels(const PixelRequest& request) override {
        return CachedWhole(request, [this] {
            filled_ = false;  // until then the cache is not more than an address
            const FilterResult result = FetchIntoCache();
            filled_ = true;
            mostHeld = std::max(mostHeld, Held());
            ++made;
            return result;
        });
    }

private:
    ~Keeper() = default;

    bool filled_ = false;
};

struct OneShot : testing::Test {
    /// A line of keepers, with a filter that is a line of others in the middle, over a picture.
    OneShot() {
        EXPECT_EQ(rendering.AddFilter("TMFilter.PrintScale.1", ""), S_OK);
        for (int i = 0; i < 4; ++i) {
            keepers.emplace_back(new Keeper);
            Keeper::all.push_back(keepers.back().get());
            rendering.Chain().InsertFilter(i < 2 ? 0 : 9, static_cast<IFilterObject*>(keepers.back().get()));
        }
        SetPicture();
    }
    ~OneShot() override { Keeper::all.clear(); }
    void SetPicture() {
        Keeper::mostHeld = 0;
        EXPECT_EQ(rendering.SetPicture(MakePicture(7, 5)), S_OK);
    }

    Rendering rendering;
    std::vector<Ref<Keeper>> keepers;
    Picture result;
};

TEST_F(OneShot, NoPictureIsKeptThatHasBeenUsed) {
    for (int round = 1; round <= 2; ++round) {
        ASSERT_EQ(rendering.RenderAndRelease(result), S_OK);
        EXPECT_EQ(Keeper::mostHeld, 2);  // a filter's own and the one upstream of it
        EXPECT_EQ(Keeper::Held(), 0);
        for (const auto& keeper : keepers) EXPECT_EQ(keeper->made, round);  // none was made twice
        SetPicture();
    }
}

TEST_F(OneShot, AHostThatAsksAgainFindsAllPictures) {
    ASSERT_EQ(rendering.RenderAndRelease(result), S_OK);
    SetPicture();
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(rendering.Render(result), S_OK);
        EXPECT_EQ(Keeper::Held(), 4);
        for (const auto& keeper : keepers) EXPECT_EQ(keeper->made, 2);
    }
}

TEST_F(OneShot, AnAbortedOneHoldsNothingEither) {
    rendering.SetAbort(true);
    EXPECT_EQ(rendering.RenderAndRelease(result), S_FALSE);
    EXPECT_EQ(Keeper::Held(), 0);
    rendering.SetAbort(false);
    EXPECT_EQ(rendering.RenderAndRelease(result), E_INVALIDARG);  // the picture is given up all the same
    SetPicture();
    EXPECT_EQ(rendering.RenderAndRelease(result), S_OK);
}

// Each filter between two that need the whole picture, alone, and after one that looks at neighbours.
TEST(OneShotBytes, AreThoseOfTheSlowEngineForEveryFilterAndNumberOfThreads) {
    const Step before{"TMFilter.RedEye.1", FindTellingSetting("TMFilter.RedEye.1")->text.data()};
    const Step near{"TMFilter.Blur.1", "Blurness=070,Version=2"};
    const Step after{"TMFilter.Scale100.1", "HorizontalProz=70,VerticalProz=130"};
    const Shown shown = Shown::Random(41, 530, 4);
    for (const ClassRow& row : ClassTable()) {
        if (!row.IsFilter() || std::string_view(row.description->progId) == "TMFilter.Text.1")
            continue;  // no host draws
        const Step own{row.description->progId, std::string(FindTellingSetting(row.description->progId)->text)};
        for (const auto& chain : {std::vector<Step>{own}, {near, own}, {before, own, after}}) {
            const auto want = test::Evaluate(chain, shown);
            if (!want) continue;
            for (const int threads : {1, 3}) {
                Rendering rendering;
                std::string text;
                for (const Step& step : chain) text += step.progId + "\t" + step.text + "\n";
                ASSERT_FALSE(rendering.SetChainText(text)) << text;
                ASSERT_EQ(rendering.SetThreads(threads), S_OK);
                Picture picture = MakePicture(shown.Width(), shown.Height());
                for (int y = 0; y < shown.Height(); ++y) {
                    std::copy_n(shown.Row(y), shown.Width() * 3, DibRow(picture.image.get(), y));
                    std::copy_n(shown.MaskRow(y), shown.Width(), DibRow(picture.mask.get(), y));
                }
                ASSERT_EQ(rendering.SetPicture(std::move(picture)), S_OK);
                Picture result;
                ASSERT_EQ(rendering.RenderAndRelease(result), S_OK) << text;
                const Shown made(result.Width(), result.Height(), [&](int x, int y) {
                    const std::uint8_t* const p = DibRow(result.image.get(), y) + x * 3;
                    return Pixel{p[0], p[1], p[2], DibRow(result.mask.get(), y)[x]};
                });
                ASSERT_EQ(made.Difference(*want), "") << text << threads << " threads";
            }
        }
    }
}

}  // namespace
}  // namespace kestrel
