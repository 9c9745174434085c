// Red eyes: every kind of reflection found in synthetic faces, repairs worked out by hand, an area filled by another
// rule, the log lines, and texts and clicks that mean no good.
#include "kestrel/filters/neighbourhood/RedEyeFilter.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <random>

#include "kestrel/diagnostics/LogSink.h"
#include "tests/support/Eyes.h"
#include "tests/support/Line.h"

namespace kestrel {
namespace {
using test::Apply;
using test::Eye;
using test::Face;
using test::Line;
using test::Picture;
using test::Pixel;
using test::RadiiFrom;
using test::Reflection;

constexpr const char* kProgId = "TMFilter.RedEye.1";

/// Keeps the log's lines while it lives.
class LogLines {
public:
    LogLines() {
        lines.clear();
        SetLogSink([](int, const char*, int, const std::string& text) { lines.push_back(text); });
    }
    ~LogLines() { SetLogSink(nullptr); }

    /// The lines of the last run that begin with a text.
    static std::vector<std::string> Beginning(const std::string& start) {
        std::vector<std::string> found;
        for (const std::string& line : lines)
            if (line.rfind(start, 0) == 0) found.push_back(line);
        return found;
    }

    static inline std::vector<std::string> lines;
};

/// The text of one click on the middle of a pixel.
std::string Click(const Picture& picture, double x, double y, int e = 0, int f = 0) {
    return fmt::format("N=1, X1={:.6f}, Y1={:.6f}, E1={}, F1={}", (x + 0.5) / picture.Width(),
                       (y + 0.5) / picture.Height(), e, f);
}

Picture Repaired(const Picture& picture, double x, double y, int e = 0, int f = 0) {
    return Apply(kProgId, Click(picture, x, y, e, f).c_str(), picture);
}

bool IsGrey(Pixel p) { return p.blue == p.green && p.green == p.red; }

// Faces

TEST(RedEyeFilter, EveryReflectionIsFoundAndRepaired) {
    const struct {
        Reflection reflection;
        const char* name;
    } kinds[] = {{Reflection::Red, "RED"},
                 {Reflection::Green, "GREEN"},
                 {Reflection::Blue, "BLUE"},
                 {Reflection::Cat, "CAT"},
                 {Reflection::White, "WHITE"}};
    for (const auto& kind : kinds)
        for (const double pupil : {3.0, 8.0})
            for (const bool glasses : {false, true}) {
                const Eye eye{80.5, 60.5, pupil, kind.reflection, glasses};
                const Picture face = Face(160, 120, {eye});
                const LogLines log;
                const Picture out = Repaired(face, 80, 60);
                const std::string what = fmt::format("{} pupil {} glasses {}", kind.name, pupil, glasses);
                ASSERT_EQ(log.Beginning(fmt::format("Clickpoint #1 is {} ", kind.name)).size(), 1u) << what;
                int core = 0;
                int repaired = 0;
                for (int y = 0; y < 120; ++y)
                    for (int x = 0; x < 160; ++x) {
                        const double r = RadiiFrom(eye, x, y);
                        const double glint = std::hypot(x + 0.5 - eye.x - 0.4 * pupil, y + 0.5 - eye.y - 0.4 * pupil);
                        const Pixel before = face.At(x, y);
                        const Pixel after = out.At(x, y);
                        if (r * pupil < pupil - 1.5 && glint > 0.25 * pupil + 1.5) {
                            ++core;
                            const int sum = after.red + after.green + after.blue;
                            if (IsGrey(after) && sum < before.red + before.green + before.blue) ++repaired;
                        }
                        // The iris is dark and of no colour of the pupil: beyond a seam of two pixels nothing changes.
                        if (r * pupil > pupil + 3) {
                            ASSERT_EQ(after, before) << what << " at " << x << ", " << y;
                        }
                    }
                EXPECT_EQ(repaired, core) << what;
                EXPECT_GT(core, 0);
            }
}

TEST(RedEyeFilter, AFaceWithBothEyes) {
    const Eye left{70, 60, 6};
    const Eye right{150, 62, 5, Reflection::Red, true};
    const Picture face = Face(220, 120, {left, right});
    const Picture out = Apply(kProgId, "N=2,X1=0.3182,Y1=0.5,X2=0.6818,Y2=0.5167,E2=50", face);
    const auto redness = [](const Picture& picture, const Eye& eye) {
        int most = 0;
        for (int y = 0; y < picture.Height(); ++y)
            for (int x = 0; x < picture.Width(); ++x) {
                const Pixel p = picture.At(x, y);
                if (RadiiFrom(eye, x, y) < 1.4) most = std::max(most, p.red - (p.green + p.blue) / 2);
            }
        return most;
    };
    for (const Eye& eye : {left, right}) {
        EXPECT_GT(redness(face, eye), 150);
        EXPECT_LT(redness(out, eye), 40);
    }
    EXPECT_EQ(out.At(69, 59).mask, 0);
    EXPECT_GT(out.At(69, 59).red, out.At(149, 61).red) << "the second is darkened more";
}

TEST(RedEyeFilter, ClicksOnSkinAndOnGreyDoLittle) {
    const Picture grey(60, 60, Pixel{90, 90, 90, 3});  // red "is the largest", but nothing stands out
    EXPECT_EQ(Repaired(grey, 30, 30).At(2, 2), grey.At(2, 2));
    const Picture random = Picture::Random(150, 150, 4);
    const Picture out = Repaired(random, 75, 75);
    for (int y = 0; y < 150; ++y)
        for (int x = 0; x < 150; ++x) {
            ASSERT_EQ(out.At(x, y).mask, random.At(x, y).mask);
            if (std::abs(x - 75) > 40 || std::abs(y - 75) > 40) {
                ASSERT_EQ(out.At(x, y), random.At(x, y));
            }
        }
}

// By hand

/// The 3 x 3 pixels around the middle of a 9 x 9 picture against rows from the lowest up; the rest is the ground.
void ExpectMiddle(const Picture& out, Pixel ground, const std::vector<std::vector<Pixel>>& want) {
    for (int y = 0; y < 9; ++y)
        for (int x = 0; x < 9; ++x) {
            const bool middle = x >= 3 && x <= 5 && y >= 3 && y <= 5;
            EXPECT_EQ(out.At(x, y),
                      middle ? want[static_cast<std::size_t>(y - 3)][static_cast<std::size_t>(x - 3)] : ground)
                << x << ", " << y;
        }
}

TEST(RedEyeFilter, ASinglePixelIsReplacedAndDressed) {
    const LogLines log;
    const Pixel dark{0, 0, 0, 5};
    Picture white(9, 9, dark);
    white.Set(4, 4, {250, 250, 250, 5});
    const Pixel w{235, 235, 235, 5};  // 250 - (1.5 - 1) * 30; widened, not softened
    ExpectMiddle(Repaired(white, 4, 4), dark, {{w, w, w}, {w, w, w}, {w, w, w}});

    Picture cat(9, 9, dark);
    cat.Set(4, 4, {200, 255, 100, 5});
    const Pixel k{97, 97, 97, 5};  // (185 / 255) ^ 3 * 255; widened and softened once or twice
    const Pixel side{48, 48, 48, 5};
    const Pixel corner{24, 24, 24, 5};
    ExpectMiddle(Repaired(cat, 4, 4), dark, {{corner, side, corner}, {side, k, side}, {corner, side, corner}});

    const Pixel reddish{10, 10, 12, 5};
    Picture red(9, 9, reddish);
    red.Set(4, 4, {20, 20, 220, 5});
    const Pixel r{49, 49, 49, 5};  // (86 / 255) ^ 1.5 * 255; spread over reddish neighbours and softened
    const Pixel redSide{29, 29, 30, 5};
    const Pixel redCorner{19, 19, 21, 5};
    LogLines::lines.clear();
    ExpectMiddle(Repaired(red, 4, 4), reddish,
                 {{redCorner, redSide, redCorner}, {redSide, r, redSide}, {redCorner, redSide, redCorner}});
    const std::vector<std::string> lines{
        "----------------------------------------------------------------------------\n",
        "Clickpoint #1 is RED  ( rgb = 220 /  20 /  20 )\n",
        "++Clickpoint #1: 1 Pixel replaced, Outline=8, dK = 0.57, m_iRedMin=42 \n"};
    EXPECT_EQ(LogLines::lines, lines);

    const Pixel grey{50, 50, 50, 5};  // no red beside the pixel: only softened, first and last mix twice each way
    Picture lone(9, 9, grey);
    lone.Set(4, 4, {20, 20, 220, 5});
    Picture want = lone;
    want.Set(4, 4, {49, 49, 49, 5});
    EXPECT_EQ(Repaired(lone, 4, 4).Difference(want), "");  // 49 and 50 make 49
}

TEST(RedEyeFilter, TheDarkeningSetsTheGamma) {
    const auto grey = [](int e, Pixel pixel) {
        Picture picture(9, 9, Pixel{10, 10, 12, 0});
        picture.Set(4, 4, pixel);
        return int{Repaired(picture, 4, 4, e).At(4, 4).red};
    };
    const Pixel red{150, 200, 250, 0};  // of an average of 200
    EXPECT_EQ(grey(-50, red), 200);     // gamma 1
    EXPECT_EQ(grey(0, red), 177);       // 1.5
    EXPECT_EQ(grey(50, red), 22);       // 10
    const Pixel white{250, 250, 250, 0};
    EXPECT_EQ(grey(-50, white), 250);
    EXPECT_EQ(grey(10, white), 184);  // 250 - 2.2 * 30
    EXPECT_EQ(grey(50, white), 0);    // 270 below
}

// Areas

/// Marks what a click reaches: pixels of the window that pass, joined by their sides, from the click and from the pixel
/// above it.
std::vector<std::vector<bool>> Reached(const Picture& picture, int px, int py, int range,
                                       const std::function<bool(Pixel)>& passes) {
    std::vector<std::vector<bool>> reached(static_cast<std::size_t>(picture.Height()),
                                           std::vector<bool>(static_cast<std::size_t>(picture.Width())));
    std::vector<std::pair<int, int>> open{{px, py}, {px, py + 1}};
    while (!open.empty()) {
        const auto [x, y] = open.back();
        open.pop_back();
        const bool inside = x >= std::max(0, px - range) && x <= std::min(picture.Width() - 1, px + range) &&
                            y >= std::max(0, py - range) && y <= std::min(picture.Height() - 1, py + range);
        if (!inside) continue;
        auto mark = reached[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)];
        if (mark || !passes(picture.At(x, y))) continue;
        mark = true;
        for (const auto& [nx, ny] : {std::pair{x - 1, y}, {x + 1, y}, {x, y - 1}, {x, y + 1}})
            open.emplace_back(nx, ny);
    }
    return reached;
}

TEST(RedEyeFilter, WhatIsReplacedIsWhatTheClickReaches) {
    const LogLines log;
    int compared = 0;
    for (unsigned seed = 1; seed <= 150; ++seed) {
        std::mt19937 random(seed);
        const int width = 1 + static_cast<int>(random() % 130);
        const int height = 1 + static_cast<int>(random() % 130);
        const unsigned share = 25 + static_cast<unsigned>(random() % 60);  // percent of red pixels
        const bool red = seed % 2;
        const Picture picture(width, height, [&](int, int) {
            const auto high = static_cast<std::uint8_t>(120 + random() % 136);
            const auto low = static_cast<std::uint8_t>(random() % 60);
            if (random() % 100 >= share) return Pixel{low, low, low, 0};
            return red ? Pixel{low, low, high, 0} : Pixel{low, 140, high > 190 ? std::uint8_t{139} : low, 0};
        });
        const int px = static_cast<int>(random()) & 0x7fff;
        const int x = px % width;
        const int y = px / 7 % height;
        LogLines::lines.clear();
        Repaired(picture, x, y);
        const auto last = LogLines::Beginning("++Clickpoint");
        if (last.empty()) continue;  // not red enough
        int replaced = 0, outline = 0, redMin = 0;
        double roundness = 0;
        ASSERT_EQ(std::sscanf(last[0].c_str(), "++Clickpoint #1: %d Pixel replaced, Outline=%d, dK = %lf, m_iRedMin=%d",
                              &replaced, &outline, &roundness, &redMin),
                  4);
        const bool green = !LogLines::Beginning("Clickpoint #1 is GREEN").empty();
        int range = green ? 10 : 40;
        for (const auto& line : LogLines::Beginning("New unclipped Search Range"))
            range = std::stoi(line.substr(std::strlen("New unclipped Search Range = ")));
        int want = 0;
        for (const auto& row : Reached(picture, x, y, range, [&](Pixel p) {
                 return (green ? p.green - (p.red + p.blue) / 2 : p.red - (p.green + p.blue) / 2) >= redMin;
             }))
            want += static_cast<int>(std::count(row.begin(), row.end(), true));
        ASSERT_EQ(replaced, want) << "seed " << seed << " " << last[0];
        ++compared;
    }
    EXPECT_GT(compared, 50);
}

TEST(RedEyeFilter, TheSearchGrowsToItsLargestWindowAndNoFarther) {
    const LogLines log;
    const Picture green(300, 300, Pixel{0, 150, 0, 0});
    const Picture out = Repaired(green, 150, 150);
    std::vector<int> ranges;
    for (const auto& line : LogLines::Beginning("New unclipped Search Range = ")) {
        EXPECT_NE(line.find("(previously TOUCHING_BORDER, dRoundness = "), std::string::npos) << line;
        ranges.push_back(std::stoi(line.substr(std::strlen("New unclipped Search Range = "))));
    }
    EXPECT_EQ(ranges, (std::vector<int>{15, 22, 33, 49, 73, 109}));
    EXPECT_EQ(LogLines::lines.size(), 10u);  // rule, click, six ranges, the end of the search, result
    EXPECT_EQ(LogLines::lines[8], "***** MAX SEARCHRANGE REACHED *****m_iRedMin=55\n");
    EXPECT_TRUE(IsGrey(out.At(150, 41)));
    EXPECT_TRUE(IsGrey(out.At(41, 259)));
    EXPECT_EQ(out.At(150, 40), green.At(0, 0));
    EXPECT_EQ(out.At(260, 150), green.At(0, 0));
}

TEST(RedEyeFilter, WindowsFollowTheRenderScale) {
    const Picture green(100, 100, Pixel{0, 150, 0, 0});
    const auto repairedColumns = [&](double scale) {
        Line line(green);
        line.Add(kProgId, Click(green, 50, 50).c_str());
        Ref<IFilterGeometry>::Query(&line.Filter(0))->SetRenderScale(scale);
        const Picture out = line.Render();
        int columns = 0;
        for (int x = 0; x < 100; ++x) columns += IsGrey(out.At(x, 50)) ? 1 : 0;
        return columns;
    };
    EXPECT_EQ(repairedColumns(0.25), 56);  // 50 - 109 * 0.25 is 22 and a bit, 50 + 109 * 0.25 is 77 and a bit
    EXPECT_EQ(repairedColumns(1.0), 100);
    EXPECT_EQ(repairedColumns(1e-9), 2);
    EXPECT_EQ(repairedColumns(1e6), 100);
    EXPECT_LE(repairedColumns(1e300), 1);
}

// Texts and clicks that mean no good

TEST(RedEyeFilter, NothingToDo) {
    const Picture picture = Picture::Random(30, 20, 9);
    for (const char* text : {"N=0", "", "N=-1", "X1=0.5,Y1=0.5", "N=-2147483648,X1=0.5", "N=x"})
        EXPECT_EQ(Apply(kProgId, text, picture).Difference(picture), "") << text;
    // A click on the far edge lands behind the last column or row.
    for (const char* text : {"N=1,X1=1.0,Y1=0.5", "N=1,X1=0.2,Y1=1", "N=1,X1=7,Y1=7"}) {
        const LogLines log;
        EXPECT_EQ(Apply(kProgId, text, picture).Difference(picture), "") << text;
        EXPECT_EQ(log.Beginning("Clickpoint #1 is NOT_DEFINED  ( rgb =   0 /   0 /   0 )\n").size(), 1u);
    }
}

TEST(RedEyeFilter, TextsAreBroughtIntoRange) {
    const struct {
        const char* text;
        const char* pending;
    } cases[] = {
        {"N=1", "N=1, X1=0.5000, Y1=0.5000, E1=0, F1=0"},
        {"N=1,F1=-51,E1=51,Y1=-3,X1=1.5", "N=1, X1=1.0000, Y1=0.0000, E1=50, F1=-50"},
        {"N=1,X1=nan,Y1=-inf,E1=2147483648,F1=2147483647", "N=1, X1=0.5000, Y1=0.0000, E1=-50, F1=50"},
        {"N=1,X1=inf,Y1=oops,E1=,F1=1", "N=1, X1=1.0000, Y1=0.5000, E1=0, F1=1"},
        {"N=1,X11=0.9,X1=0,Y1=0.12345", "N=1, X1=0.0000, Y1=0.1235, E1=0, F1=0"},
        {"N=2, X1=0.25, Y1=0.75, E1=1, F1=2, X2=0.1, Y2=0.2, E2=-3, F2=-4",
         "N=2, X1=0.2500, Y1=0.7500, E1=1, F1=2, X2=0.1000, Y2=0.2000, E2=-3, F2=-4"},
    };
    for (const auto& c : cases) {
        Line line(Picture(1, 1));
        line.Add(kProgId, c.text);
        EXPECT_EQ(line.PendingText(0), c.pending) << c.text;
        EXPECT_EQ(line.ActiveText(0), "N=-1");
        line.Update();
        EXPECT_EQ(line.ActiveText(0), c.pending);
        line.SetText(0, line.PendingText(0).c_str());
        EXPECT_EQ(line.PendingText(0), c.pending);
        line.SetText(0, "N=1000");
        EXPECT_EQ(line.PendingText(0).rfind("N=128, X1=0.5000", 0), 0u);
        EXPECT_NE(line.PendingText(0).find("F128=0"), std::string::npos);
        line.SetText(0, "");
        EXPECT_EQ(line.PendingText(0), "N=0");
    }
}

TEST(RedEyeFilter, ManyClicksOnSmallPictures) {
    for (const auto& [width, height] : {std::pair{1, 1}, {1, 7}, {7, 1}, {2, 2}, {3, 40}, {90, 70}})
        for (unsigned seed = 1; seed <= 6; ++seed) {
            std::mt19937 random(seed);
            std::string text = "N=128";
            for (int i = 1; i <= 128; ++i) {
                const auto part = [&] { return static_cast<double>(random() % 1001) / 1000; };
                text += fmt::format(",X{0}={1},Y{0}={2},E{0}={3},F{0}={4}", i, part(), part(),
                                    static_cast<int>(random() % 101) - 50, static_cast<int>(random() % 101) - 50);
            }
            const Picture picture = Picture::Random(width, height, seed);
            Line line(picture);
            line.Add(kProgId, text.c_str());
            const Picture whole = line.Render();
            EXPECT_EQ(line.Render(width / 2, height / 2, 5, 5)
                          .Cut(0, 0, 1, 1)
                          .Difference(whole.Cut(width / 2, height / 2, 1, 1)),
                      "");
            EXPECT_EQ(line.source->requests, 1);
            for (int y = 0; y < height; ++y)
                for (int x = 0; x < width; ++x) ASSERT_EQ(whole.At(x, y).mask, picture.At(x, y).mask);
        }
}

TEST(RedEyeFilter, ClicksWorkOnWhatTheFormerOnesLeft) {
    const Picture face = Face(120, 90, {{60.5, 45.5, 6}});
    const LogLines log;
    const Picture once = Repaired(face, 60, 45);
    LogLines::lines.clear();
    Apply(kProgId, "N=2,X1=0.5042,Y1=0.5056,X2=0.5042,Y2=0.5056", face);
    const auto second = LogLines::Beginning("Clickpoint #2 is RED");
    const int grey = once.At(60, 45).red;
    ASSERT_EQ(second.size(), 1u);
    EXPECT_EQ(second[0], fmt::format("Clickpoint #2 is RED  ( rgb = {0:3} / {0:3} / {0:3} )\n", grey));
}

}  // namespace
}  // namespace kestrel
