#include "kestrel/host/TextRenderer.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace kestrel {
namespace {

/// A request with its font, released at the end.
struct Drawn {
    FontProperty font;
    std::string text;
    TextRenderRequest request{};

    explicit Drawn(std::string words) : text(std::move(words)) {
        font.SetFontName("DejaVu Sans");
        font.SetFontSize(24);
        font.SetFontColor(0x0000ff);
        request.pos = 6;
        request.offset = 10;
        request.width = 600;
        request.height = 400;
    }
    Drawn(const Drawn&) = delete;
    Drawn& operator=(const Drawn&) = delete;
    ~Drawn() {
        if (request.release) request.release(&request);
    }

    Drawn& Draw() {
        request.font = &font;
        request.text = text.c_str();
        EXPECT_EQ(TextRenderer::RenderText(request), S_OK);
        return *this;
    }
    int Width() const { return request.image ? request.image->biWidth : 0; }
    int Height() const { return request.image ? request.image->biHeight : 0; }
    int Opacity(int x, int y) const { return 255 - DibRow(request.mask, y)[x]; }
    const std::uint8_t* Colour(int x, int y) const { return DibRow(request.image, y) + 3 * x; }
    /// Sum of all opacities, in whole pixels.
    double Ink() const {
        std::int64_t sum = 0;
        for (int y = 0; y < Height(); ++y)
            for (int x = 0; x < Width(); ++x) sum += Opacity(x, y);
        return static_cast<double>(sum) / 255;
    }
    std::vector<int> Masks() const {
        std::vector<int> masks;
        for (int y = 0; y < Height(); ++y)
            for (int x = 0; x < Width(); ++x) masks.push_back(Opacity(x, y));
        return masks;
    }
};

TEST(TextRenderer, AnswersItsNameAndCodeOnly) {
    const Ref<TextRenderer> renderer(new TextRenderer);
    EXPECT_TRUE(renderer->Offers("TextFilterDispatcher"));
    EXPECT_FALSE(renderer->Offers("FarbwahlAufrufer"));
    Drawn drawn("A");
    drawn.request.font = &drawn.font;
    drawn.request.text = "A";
    EXPECT_LT(renderer->Dispatch("FarbwahlAufrufer", 58672, &drawn.request), 0);
    EXPECT_LT(renderer->Dispatch("TextFilterDispatcher", 58676, &drawn.request), 0);
    EXPECT_EQ(renderer->TranslateText("%%FILM%%"), nullptr);
    EXPECT_EQ(renderer->Dispatch("TextFilterDispatcher", 58672, &drawn.request), S_OK);
    ASSERT_NE(drawn.request.image, nullptr);
    EXPECT_EQ(drawn.request.image->biBitCount, 24);
    EXPECT_EQ(DibBitsPerPixel(drawn.request.mask), 8);
    EXPECT_EQ(drawn.request.mask->biWidth, drawn.request.image->biWidth);
    EXPECT_EQ(drawn.request.mask->biHeight, drawn.request.image->biHeight);
}

TEST(TextRenderer, NothingToDrawIsNoBitmap) {
    for (const char* text : {"", " ", "\n\n", "\x01\x02\x1b\x7f"}) EXPECT_EQ(Drawn(text).Draw().request.image, nullptr);
    Drawn sizeless("A");
    sizeless.font.SetFontSize(0);
    EXPECT_EQ(sizeless.Draw().request.image, nullptr);
    Drawn beside("A");
    beside.request.offset = 100000;
    EXPECT_EQ(beside.Draw().request.image, nullptr);
}

TEST(TextRenderer, TheHotSpotBelongsToTheAnchor) {
    for (const int dir : {0, 90, 270})
        for (const int shd : {0, 100})
            for (int pos = 1; pos <= 9; ++pos) {
                Drawn drawn("Ag\nWide line");
                drawn.request.pos = pos;
                drawn.request.dir = dir;
                drawn.request.shd = shd;
                drawn.request.offset = 20;
                drawn.Draw();
                const int column = pos == 9 ? 1 : pos == 4 ? 0 : pos == 5 ? 2 : (pos - (pos > 5 ? 6 : 1)) % 3;
                const int row = pos <= 3 ? 2 : pos <= 5 || pos == 9 ? 1 : 0;
                const int x[] = {0, drawn.Width() / 2, drawn.Width() - 1};
                const int y[] = {0, drawn.Height() / 2, drawn.Height() - 1};
                EXPECT_EQ(drawn.request.hotSpotX, x[column]) << pos;
                EXPECT_EQ(drawn.request.hotSpotY, y[row]) << pos;
            }
}

TEST(TextRenderer, ColourIsThatOfTheFont) {
    Drawn drawn("|");
    drawn.font.SetFontColor(0x102030);  // blue 10, green 20, red 30
    drawn.font.SetFontSize(120);
    drawn.Draw();
    int solid = 0;
    for (int y = 0; y < drawn.Height(); ++y)
        for (int x = 0; x < drawn.Width(); ++x) {
            if (drawn.Opacity(x, y) == 0) continue;
            EXPECT_EQ(drawn.Colour(x, y)[0], 0x10);
            EXPECT_EQ(drawn.Colour(x, y)[1], 0x20);
            EXPECT_EQ(drawn.Colour(x, y)[2], 0x30);
            solid += drawn.Opacity(x, y) == 255;
        }
    EXPECT_GT(solid, 200);
}

TEST(TextRenderer, SizeWeightAndLinesShow) {
    const auto ink = [](const char* text, int size, bool bold = false, bool underline = false) {
        Drawn drawn(text);
        drawn.font.SetFontSize(size);
        drawn.font.SetBold(bold);
        drawn.font.SetUnderline(underline);
        return drawn.Draw().Ink();
    };
    const double plain = ink("Hamburg", 20);
    EXPECT_NEAR(ink("Hamburg", 40) / plain, 4.0, 0.4);
    EXPECT_NEAR(ink("Hamburg", -20) / plain, 1.0, 0.001);
    EXPECT_GT(ink("Hamburg", 20, true), 1.1 * plain);
    EXPECT_GT(ink("Hamburg", 20, false, true), 1.05 * plain);
    EXPECT_NEAR(ink("Hamburg\nHamburg", 20) / plain, 2.0, 0.05);
    Drawn one("Hamburg");
    Drawn two("Hamburg\r\nHamburg");
    EXPECT_NEAR(two.Draw().Height() / static_cast<double>(one.Draw().Height()), 2.0, 0.2);
    EXPECT_EQ(two.Width(), one.Width());
}

TEST(TextRenderer, QuarterTurnsTurnTheCoverage) {
    Drawn level("Lf");
    level.font.SetFontSize(60);
    level.Draw();
    for (const int dir : {90, 270}) {
        Drawn turned("Lf");
        turned.font.SetFontSize(60);
        turned.request.dir = dir;
        turned.Draw();
        ASSERT_EQ(turned.Width(), level.Height());
        ASSERT_EQ(turned.Height(), level.Width());
        double difference = 0;
        for (int y = 0; y < level.Height(); ++y)
            for (int x = 0; x < level.Width(); ++x) {
                // Upward: what is right in the text is up in the picture, what is up is left.
                const int u = dir == 90 ? level.Height() - 1 - y : y;
                const int v = dir == 90 ? x : level.Width() - 1 - x;
                difference += std::abs(turned.Opacity(u, v) - level.Opacity(x, y));
            }
        EXPECT_LT(difference / 255, 0.1 * level.Ink()) << dir;
    }
}

TEST(TextRenderer, TheShadowLiesToTheLowerRight) {
    const auto draw = [](int density, int transparency) {
        auto drawn = std::make_unique<Drawn>("I");
        drawn->font.SetFontSize(64);
        drawn->request.shd = density;
        drawn->request.tr = transparency;
        drawn->request.shadowGreen = 200;
        drawn->Draw();
        return drawn;
    };
    const auto without = draw(0, 0);
    const auto full = draw(100, 0);
    const auto half = draw(50, 0);
    EXPECT_GT(full->Width(), without->Width());
    EXPECT_GT(full->Ink(), 1.3 * without->Ink());
    EXPECT_GT(full->Ink(), half->Ink());
    EXPECT_GT(half->Ink(), without->Ink());
    // Centres of what is drawn in each colour; rows count from the bottom.
    double inkX = 0, inkY = 0, ink = 0, shadeX = 0, shadeY = 0, shade = 0;
    for (int y = 0; y < full->Height(); ++y)
        for (int x = 0; x < full->Width(); ++x) {
            const bool letter = full->Colour(x, y)[2] > 128;
            const int weight = full->Opacity(x, y);
            (letter ? inkX : shadeX) += weight * x;
            (letter ? inkY : shadeY) += weight * y;
            (letter ? ink : shade) += weight;
        }
    EXPECT_GT(shadeX / shade, inkX / ink + 2);
    EXPECT_LT(shadeY / shade, inkY / ink - 2);
    EXPECT_NEAR(draw(0, 60)->Ink() / without->Ink(), 0.4, 0.02);
    EXPECT_EQ(draw(0, 100)->Ink(), 0);
    EXPECT_EQ(draw(INT_MAX, 0)->Masks(), full->Masks());
    EXPECT_EQ(draw(-5, 0)->Masks(), without->Masks());
}

TEST(TextRenderer, BytesAbove127AreTheRightLetters) {
    const auto masks = [](const char* text, std::uint8_t charSet) {
        Drawn drawn(text);
        drawn.font.SetCharSet(charSet);
        return drawn.Draw().Masks();
    };
    EXPECT_NE(masks("\x80", 0), masks("\x84", 0));  // euro sign, low quotation marks
    EXPECT_NE(masks("\xe4", 0), masks("a", 0));
    // The same letter by the page of its own: Cyrillic A in 1251, Greek capital alpha in 1253, E acute in 1250.
    EXPECT_EQ(masks("\xc0", 204), masks("A", 0));
    EXPECT_EQ(masks("\xc1", 161), masks("A", 0));
    EXPECT_EQ(masks("\xc9", 238), masks("\xc9", 0));
    EXPECT_NE(masks("\xc9", 204), masks("\xc9", 0));
    Drawn("\xff\xfe\x81 \xe0").Draw();
    // A last letter that a mark could follow: Hebrew shin alone, and a Vietnamese E with circumflex.
    EXPECT_NE(masks("\xf9", 177), masks("", 0));
    EXPECT_EQ(masks("\xca", 163), masks("\xca", 0));
    EXPECT_EQ(masks("\xca\xd2", 163).size() > masks("\xca", 163).size(), true) << "with the dot below";
    Drawn unknown("\xca\xff\xca");  // what the page lacks stands between two letters
    unknown.font.SetCharSet(177);
    EXPECT_GT(unknown.Draw().Width(), 0);
}

/// The line's letters along the text: first and last pixel, of the rows (or columns, for a turned text) of one half.
std::pair<int, int> Reach(const Drawn& drawn, bool turned, bool firstHalf) {
    int from = INT_MAX, to = -1;
    for (int y = 0; y < drawn.Height(); ++y)
        for (int x = 0; x < drawn.Width(); ++x) {
            const int across = turned ? x : y;
            const bool low = 2 * across < (turned ? drawn.Width() : drawn.Height());
            if (low != firstHalf || drawn.Opacity(x, y) == 0) continue;
            from = std::min(from, turned ? y : x);
            to = std::max(to, turned ? y : x);
        }
    return {from, to};
}

TEST(TextRenderer, LinesLieFlushOnTheAnchorsSide) {
    // Columns of the anchors, and rows from the bottom; -1 low, 0 middle, 1 high.
    constexpr int kColumn[] = {-1, 0, 1, -1, 1, -1, 0, 1, 0};
    constexpr int kRow[] = {1, 1, 1, 0, 0, -1, -1, -1, 0};
    const char* const hebrew = "\xf9\xec\xe5\xed\n\xf9\xec\xe5\xed \xf2\xe5\xec\xed \xf9\xec\xe5\xed";
    for (const bool rightToLeft : {false, true})
        for (const int dir : {0, 90, 270})
            for (int pos = 1; pos <= 9; ++pos) {
                Drawn drawn(rightToLeft ? hebrew : "II\nIIIIIIIIIIIIII");
                if (rightToLeft) drawn.font.SetCharSet(177);
                drawn.request.pos = pos;
                drawn.request.dir = dir;
                drawn.Draw();
                // Upward, the first line is at the left; downward, at the right; upright, above.
                const auto [from, to] = Reach(drawn, dir != 0, dir == 90);
                const int low = from;
                const int high = (dir == 0 ? drawn.Width() : drawn.Height()) - 1 - to;
                const int side = dir == 0 ? kColumn[pos - 1] : kRow[pos - 1];
                const int lean = low - high;
                EXPECT_TRUE(side == 0 ? std::abs(lean) < 4 : side * lean > 20)
                    << pos << " " << dir << " " << rightToLeft << ": " << lean;
            }
}

TEST(TextRenderer, SpacingFollowsTheSize) {
    const auto width = [](int size) {
        Drawn drawn(std::string(40, 'i'));
        drawn.font.SetFontSize(size);
        drawn.request.width = 4000;
        return drawn.Draw().Width() / static_cast<double>(size);
    };
    const double large = width(64);
    for (const int size : {7, 9, 11, 13, 17, 24}) EXPECT_NEAR(width(size), large, 2.5 / size) << size;
}

TEST(TextRenderer, ATextLargerThanThePictureIsDrawnInPart) {
    Drawn drawn(std::string(199, 'W'));
    drawn.font.SetFontSize(INT_MAX);
    drawn.request.pos = 9;
    drawn.request.dir = 90;
    drawn.request.shd = 100;
    drawn.Draw();
    EXPECT_EQ(drawn.Width(), 600);
    EXPECT_EQ(drawn.Height(), 400);
    for (const int size : {INT_MIN, -1, 1, 4096}) {
        Drawn other("Wg");
        other.font.SetFontSize(size);
        other.request.offset = INT_MIN;
        other.request.pos = 12;
        other.Draw();
        EXPECT_LE(other.Width(), 600);
    }
}

// What is cut off at the edge of the picture does not change what is left, the shadow included.
TEST(TextRenderer, ACutTextIsTheCutOfTheWhole) {
    const auto draw = [](int pos, int offset) {
        auto drawn = std::make_unique<Drawn>("Shadow");
        drawn->font.SetFontSize(48);
        drawn->request.shd = 80;
        drawn->request.pos = pos;
        drawn->request.offset = offset;
        drawn->Draw();
        return drawn;
    };
    const auto whole = draw(6, 20);
    const auto cut = draw(6, -25);
    ASSERT_EQ(cut->Width(), whole->Width() - 25);
    ASSERT_EQ(cut->Height(), whole->Height() - 25);
    EXPECT_EQ(cut->request.hotSpotX, -25);
    for (int y = 0; y < cut->Height(); ++y)
        for (int x = 0; x < cut->Width(); ++x) ASSERT_EQ(cut->Opacity(x, y), whole->Opacity(x + 25, y + 25));
    const auto far = draw(3, -25);
    for (int y = 0; y < far->Height(); ++y)
        for (int x = 0; x < far->Width(); ++x) ASSERT_EQ(far->Opacity(x, y), whole->Opacity(x, y));
}

TEST(TextRenderer, AnUnknownFontFallsBack) {
    Drawn drawn("Hamburg");
    drawn.font.SetFontName("No Such Font, \xe4");
    EXPECT_GT(drawn.Draw().Ink(), 50);
}

TEST(TextRenderer, ThreadsDrawAlike) {
    const std::vector<int> want = Drawn("Threads").Draw().Masks();
    std::vector<std::thread> threads;
    std::vector<std::vector<int>> got(4);
    for (auto& masks : got) threads.emplace_back([&masks] { masks = Drawn("Threads").Draw().Masks(); });
    for (auto& thread : threads) thread.join();
    for (const auto& masks : got) EXPECT_EQ(masks, want);
}

}  // namespace
}  // namespace kestrel
