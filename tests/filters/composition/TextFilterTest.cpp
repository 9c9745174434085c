#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "kestrel/framework/HostServices.h"
#include "kestrel/framework/TextRenderRequest.h"
#include "kestrel/parameters/TextEscapes.h"
#include "tests/support/Line.h"

namespace kestrel {
namespace {
using test::Apply;
using test::Bounds;
using test::Changed;
using test::Line;
using test::Picture;
using test::Pixel;

constexpr const char* kText = "TMFilter.Text.1";

/// A host that answers with a bitmap of its own; it serves the process while it lives.
class FakeHost final : public IHostServices {
public:
    FakeHost() { SetHostServices(this); }
    ~FakeHost() { SetHostServices(nullptr); }

    HRESULT QueryInterface(const GUID&, void** object) override {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    std::uint32_t AddRef() override { return ++references; }
    std::uint32_t Release() override { return --references; }

    bool Offers(const char* dispatcher) override {
        asked.push_back(dispatcher);
        return offered == dispatcher;
    }
    HRESULT Dispatch(const char* dispatcher, std::int32_t code, void* record) override {
        if (std::strcmp(dispatcher, "TextFilterDispatcher") != 0) return E_NOTIMPL;
        if (code == 58676 && !defaultText.empty()) {
            auto& request = *static_cast<DefaultTextRequest*>(record);
            std::strncpy(request.buffer, defaultText.c_str(), static_cast<std::size_t>(request.size));
            return S_OK;
        }
        if (code != 58672) return E_NOTIMPL;
        ++rendered;
        auto& request = *static_cast<TextRenderRequest*>(record);
        last = request;
        font = *request.font;
        text = request.text;
        request.hotSpotX = hotSpotX;
        request.hotSpotY = hotSpotY;
        request.image = image.get();
        request.mask = mask.get();
        released_ = &released;
        request.release = [](TextRenderRequest*) { ++*released_; };
        if (answer) answer(request);
        return result;
    }
    char* TranslateText(const char* words) override {
        translated.push_back(words);
        return expansion.empty() ? nullptr : strdup(expansion.c_str());
    }

    /// Answers a bitmap of one colour and mask.
    void Show(int width, int height, Pixel pixel) {
        image.reset(DibCreate(24, width, height));
        mask.reset(DibCreate(8, width, height));
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x) {
                std::uint8_t* p = DibRow(image.get(), y) + 3 * x;
                p[0] = pixel.blue;
                p[1] = pixel.green;
                p[2] = pixel.red;
                DibRow(mask.get(), y)[x] = pixel.mask;
            }
    }

    std::uint32_t references = 0;
    std::string offered = "TextFilterDispatcher";
    std::string expansion;    ///< what descriptors become; empty lets the text stand
    std::string defaultText;  ///< escaped
    std::vector<std::string> asked;
    std::vector<std::string> translated;
    DibPtr image, mask;
    int hotSpotX = 0, hotSpotY = 0;
    HRESULT result = S_OK;
    std::function<void(TextRenderRequest&)> answer;
    TextRenderRequest last{};
    FontProperty font;
    std::string text;
    int rendered = 0;
    int released = 0;

private:
    static inline int* released_ = nullptr;
};

// Placing -------------------------------------------------------------------------------------------------------------

TEST(Text, WithoutAHostThePicturePasses) {
    const Picture picture = Picture::Random(9, 7, 1);
    EXPECT_EQ(Apply(kText, "txt=Hello", picture).Difference(picture), "");
}

TEST(Text, EachAnchorHoldsTheHotSpot) {
    FakeHost host;
    host.Show(3, 2, {1, 2, 3, 0});
    host.hotSpotX = 2;
    host.hotSpotY = 1;
    const Picture picture(41, 30, Pixel{});
    // The hot spot is the upper right of the three by two; the corner lies two columns and a row before it.
    const int corners[][2] = {{2, 24}, {18, 24}, {34, 24}, {2, 14}, {34, 14}, {2, 3}, {18, 3}, {34, 3}, {18, 14}};
    for (int pos = 1; pos <= 9; ++pos) {
        const Picture result = Apply(kText, ("txt=x,offset=4,pos=" + std::to_string(pos)).c_str(), picture);
        EXPECT_EQ(Changed(picture, result), (Bounds{corners[pos - 1][0], corners[pos - 1][1], 3, 2})) << pos;
    }
    for (const char* pos : {"0", "10", "-1"})  // the corner of the picture: one pixel of the bitmap is left
        EXPECT_EQ(Changed(picture, Apply(kText, (std::string("txt=x,pos=") + pos).c_str(), picture)),
                  (Bounds{0, 0, 1, 1}));
}

TEST(Text, ClipsAtEverySide) {
    FakeHost host;
    const Picture picture(10, 8, Pixel{});
    host.Show(30, 20, {1, 2, 3, 0});
    host.hotSpotX = 12;
    host.hotSpotY = 9;
    EXPECT_EQ(Changed(picture, Apply(kText, "txt=x,pos=9", picture)), (Bounds{0, 0, 10, 8}));
    host.Show(4, 3, {1, 2, 3, 0});
    const auto placed = [&](int x, int y) {
        host.hotSpotX = -x;  // pos 0 anchors at the corner
        host.hotSpotY = -y;
        return Changed(picture, Apply(kText, "txt=x,pos=0", picture));
    };
    EXPECT_EQ(placed(-2, 2), (Bounds{0, 2, 2, 3}));
    EXPECT_EQ(placed(8, 2), (Bounds{8, 2, 2, 3}));
    EXPECT_EQ(placed(3, -1), (Bounds{3, 0, 4, 2}));
    EXPECT_EQ(placed(3, 7), (Bounds{3, 7, 4, 1}));
    EXPECT_EQ(placed(-4, 0), Bounds{});
    EXPECT_EQ(placed(0, 8), Bounds{});
    EXPECT_EQ(placed(INT_MAX, INT_MIN + 1), Bounds{});
}

TEST(Text, LaysEachPixelByBothMasks) {
    struct Case {
        Pixel picture;
        std::uint8_t textMask;
        Pixel want;
    };
    const Case cases[] = {
        {{10, 20, 30, 77}, 0, {200, 100, 0, 0}}, {{10, 20, 30, 77}, 255, {10, 20, 30, 77}},
        {{10, 20, 30, 0}, 51, {162, 84, 6, 0}},  {{10, 20, 30, 255}, 51, {200, 100, 0, 51}},
        {{0, 0, 0, 128}, 128, {133, 66, 0, 64}},  // 127*255 against 128*127
    };
    for (const Case& c : cases) {
        FakeHost host;
        host.Show(1, 1, {200, 100, 0, c.textMask});
        EXPECT_EQ(Apply(kText, "txt=x,pos=0", Picture(1, 1, c.picture)).At(0, 0), c.want);
    }
}

TEST(Text, WindowsAreCutsOfOneDrawing) {
    FakeHost host;
    host.Show(17, 9, {200, 100, 0, 60});
    host.hotSpotX = 5;
    const Picture picture = Picture::Random(50, 40, 9);
    Line line(picture);
    line.Add(kText, "txt=x,pos=9");
    const Picture whole = line.Render();
    for (int y = 0; y < 40; y += 11)
        for (int x = 0; x < 50; x += 13) {
            const int width = std::min(13, 50 - x);
            const int height = std::min(11, 40 - y);
            EXPECT_EQ(line.Render(x, y, width, height).Difference(whole.Cut(x, y, width, height)), "");
        }
    EXPECT_EQ(host.rendered, 1);
    EXPECT_EQ(host.released, 1);
}

TEST(Text, IsDrawnOncePerState) {
    FakeHost host;
    host.Show(2, 2, {1, 2, 3, 0});
    Line line(Picture::Random(20, 20, 3));
    line.Add(kText, "txt=x");
    line.Render();
    line.Render();
    EXPECT_EQ(host.rendered, 1);
    line.source->SetPicture(Picture::Random(20, 20, 4));  // new pixels of the same size
    line.Render();
    EXPECT_EQ(host.rendered, 1);
    line.SetText(0, "txt=y");
    line.Render();
    EXPECT_EQ(host.rendered, 2);
    line.source->SetPicture(Picture::Random(21, 20, 4));
    line.Render();
    EXPECT_EQ(host.rendered, 3);
    FilterEvent other{1, nullptr};
    FilterEvent anew{58672, nullptr};
    line.Last().SendEvent(&other);
    line.Last().SendEvent(nullptr);
    line.Render();
    EXPECT_EQ(host.rendered, 3);
    line.Last().SendEvent(&anew);
    EXPECT_TRUE(line.Update());
    line.Render();
    EXPECT_EQ(host.rendered, 4);
    EXPECT_EQ(host.released, 4);
}

// The request ---------------------------------------------------------------------------------------------------------

TEST(Text, TheRequestHoldsTheParameters) {
    FakeHost host;
    Apply(kText,
          "pos=3, dir=90, offset=7, fname=Deja\\2c Vu, fpia=34, fchs=204, fsz=30, fcol=255, fb=0, fi=1, fu=1, shd=40, "
          "shr=1, shg=2, shb=3, tr=25, txt=a\\26b\\nc",
          Picture(33, 22, Pixel{}));
    EXPECT_EQ(host.last.pos, 3);
    EXPECT_EQ(host.last.dir, 90);
    EXPECT_EQ(host.last.offset, 7);
    EXPECT_EQ(host.last.shd, 40);
    EXPECT_EQ(host.last.shadowRed, 1);
    EXPECT_EQ(host.last.shadowGreen, 2);
    EXPECT_EQ(host.last.shadowBlue, 3);
    EXPECT_EQ(host.last.tr, 25);
    EXPECT_EQ(host.last.width, 33);
    EXPECT_EQ(host.last.height, 22);
    EXPECT_EQ(host.text, "a&b\nc");
    EXPECT_STREQ(host.font.GetFontName(), "Deja, Vu");
    EXPECT_EQ(host.font.GetPitchAndFamily(), 34);
    EXPECT_EQ(host.font.GetCharSet(), 204);
    EXPECT_EQ(host.font.GetFontSize(), 30);
    EXPECT_EQ(host.font.GetFontColor(), 255);
    EXPECT_FALSE(host.font.IsBold());
    EXPECT_TRUE(host.font.IsItalic());
    EXPECT_TRUE(host.font.IsUnderline());
}

TEST(Text, LengthsFollowTheRenderScale) {
    FakeHost host;
    Line line(Picture(40, 40, Pixel{}));
    line.Add(kText, "txt=x,fsz=25,offset=9");
    line.Render();
    Ref<IFilterGeometry>::Query(&line.Filter(0))->SetRenderScale(0.5);
    line.Render();
    EXPECT_EQ(host.font.GetFontSize(), 12);
    EXPECT_EQ(host.last.offset, 4);
    EXPECT_NE(line.ActiveText(0).find("offset=9"), std::string::npos);
    line.SetText(0, "fsz=1");
    line.Render();
    EXPECT_EQ(host.font.GetFontSize(), 1);
    EXPECT_EQ(host.rendered, 3);
}

TEST(Text, AnswersThatCannotBeRightChangeNothing) {
    const Picture picture = Picture::Random(12, 9, 5);
    const std::function<void(TextRenderRequest&)> nonsense[] = {
        [](TextRenderRequest& r) { r.image = nullptr; },
        [](TextRenderRequest& r) { r.mask = nullptr; },
        [](TextRenderRequest& r) { r.image->biWidth = 0; },
        [](TextRenderRequest& r) { r.image->biHeight = -3; },
        [](TextRenderRequest& r) { r.mask->biWidth = 5; },
        [](TextRenderRequest& r) { r.image->biBitCount = 8; },
        [](TextRenderRequest& r) { r.image->biBitCount = 32; },
        [](TextRenderRequest& r) { r.mask->biBitCount = 24; },
        [](TextRenderRequest& r) { r.mask->biClrUsed = 0xFFFFFFFF; },
        [](TextRenderRequest& r) { r.image->biSize = 4000000000; },
        [](TextRenderRequest& r) { r.image->biSize = 12; },
        [](TextRenderRequest& r) { r.image->biCompression = 1; },
        [](TextRenderRequest& r) { r.image->biHeight = r.mask->biHeight = 2000000000; },  // more than its image size
        [](TextRenderRequest& r) { r.hotSpotX = INT_MIN; },
        [](TextRenderRequest& r) { r.hotSpotY = INT_MAX; },
    };
    int number = 0;
    for (const auto& answer : nonsense) {
        FakeHost host;
        host.Show(4, 3, {1, 2, 3, 0});
        host.image->biSizeImage = 36;
        host.mask->biSizeImage = 12;
        host.answer = answer;
        EXPECT_EQ(Apply(kText, "txt=x", picture).Difference(picture), "") << number;
        EXPECT_EQ(host.released, 1) << number++;
    }
    FakeHost failing;
    failing.Show(4, 3, {1, 2, 3, 0});
    failing.result = E_FAIL;
    EXPECT_EQ(Apply(kText, "txt=x", picture).Difference(picture), "");
    EXPECT_EQ(failing.released, 1);
}

TEST(Text, RecordsOfEachLayoutAreRead) {
    const Picture picture(8, 8, Pixel{});
    FakeHost host;
    host.Show(5, 3, {1, 2, 3, 0});
    // A plane without a table, and colours behind three bit masks.
    const auto plane = static_cast<std::size_t>(sizeof(Dib) + 3 * 8);
    DibPtr mask(static_cast<Dib*>(std::calloc(1, plane)));
    mask->biSize = sizeof(Dib);
    mask->biWidth = 5;
    mask->biHeight = 3;
    mask->biBitCount = kDibPlaneDepth;
    DibPtr image(static_cast<Dib*>(std::calloc(1, sizeof(Dib) + 12 + 3 * 16)));
    image->biSize = sizeof(Dib);
    image->biWidth = 5;
    image->biHeight = 3;
    image->biBitCount = 24;
    image->biCompression = 3;
    for (int i = 0; i < 3 * 16; ++i)
        reinterpret_cast<std::uint8_t*>(image.get())[sizeof(Dib) + 12 + static_cast<std::size_t>(i)] = 9;
    host.image = std::move(image);
    host.mask = std::move(mask);
    const Picture result = Apply(kText, "txt=x,pos=0", picture);
    EXPECT_EQ(Changed(picture, result), (Bounds{0, 0, 5, 3}));
    EXPECT_EQ(result.At(4, 2), (Pixel{9, 9, 9, 0}));
}

// Texts ---------------------------------------------------------------------------------------------------------------

TEST(TextEscapes, EveryByteSurvives) {
    for (int byte = 1; byte < 256; ++byte) {
        const std::string text = std::string("a") + static_cast<char>(byte) + 'z';
        EXPECT_EQ(UnescapeText(EscapeText(text)), text) << byte;
        Line line(Picture(1, 1, Pixel{}));
        line.Add(kText, ("txt=" + EscapeText(text)).c_str());
        const std::string written = line.PendingText(0);
        EXPECT_EQ(written.substr(written.find("txt=") + 4), EscapeText(text)) << byte;
    }
    EXPECT_EQ(EscapeText("a,b&c=d\\e\x1f \x7f"), "a\\2cb\\26c\\3dd\\5ce\\1f \x7f");
    EXPECT_EQ(UnescapeText("\\2C\\2\\g0\\"), "\\2C\\2\\g0\\");  // upper case and halves stand for themselves
    EXPECT_EQ(UnescapeText("\\5c2c"), "\\2c");
}

TEST(Text, TextsRoundTrip) {
    Line line(Picture(1, 1, Pixel{}));
    line.Add(kText);
    EXPECT_EQ(line.PendingText(0),
              "pos=8, dir=0, offset=10, fname=Arial, fpia=0, fchs=0, fsz=12, fcol=16777215, fb=1, fi=0, fu=0, shd=100, "
              "shr=0, shg=0, shb=0, tr=0, txt=");
    const std::string text =
        "pos=-3, dir=270, offset=-1, fname=A\\3dB, fpia=255, fchs=1, fsz=-9, fcol=-5, fb=0, fi=1, fu=1, shd=7, shr=8, "
        "shg=9, shb=10, tr=11, txt=\\0a\\5c\xe9\\2c";
    line.SetText(0, text.c_str());
    EXPECT_EQ(line.PendingText(0), text);
    line.Update();
    EXPECT_EQ(line.ActiveText(0), text);
    line.SetText(0, "");
    EXPECT_EQ(line.PendingText(0), text);  // a missing key leaves its field
    char small[16] = "untouched";
    EXPECT_EQ(Ref<IFilterParameters>::Query(&line.Filter(0))->GetParameterText(small, sizeof small), E_FAIL);
    EXPECT_STREQ(small, "untouched");
}

TEST(Text, BadTextsAreHeld) {
    Line line(Picture(2, 2, Pixel{}));
    line.Add(kText);
    const auto words = [&](const std::string& text) {
        line.SetText(0, ("txt=" + text).c_str());
        const std::string written = line.PendingText(0);
        return UnescapeText(written.substr(written.find("txt=") + 4));
    };
    EXPECT_EQ(words(std::string(10000, 'x')), std::string(199, 'x'));
    EXPECT_EQ(words(std::string(198, 'x') + "\\2c\\2c"), std::string(198, 'x') + ',');
    EXPECT_EQ(words("one\\ntwo\\\\n"), "one\ntwo\\\n");
    EXPECT_EQ(words("cut\\00here"), "cut");
    EXPECT_EQ(words("ends, here"), "ends");
    EXPECT_EQ(words("\x01\x02\x1b"), "\x01\x02\x1b");
    line.SetText(0, ("fname=" + std::string(64, 'f')).c_str());
    EXPECT_NE(line.PendingText(0).find("fname=Arial,"), std::string::npos);
    line.SetText(0, ("fname=" + std::string(63, 'f') + ",fb=01,fi=x,fu=9").c_str());
    EXPECT_NE(line.PendingText(0).find("fname=" + std::string(63, 'f') + ","), std::string::npos);
    EXPECT_NE(line.PendingText(0).find("fb=0, fi=0, fu=1"), std::string::npos);
}

TEST(Text, DescriptorsAreTheHostsBusiness) {
    FakeHost host;
    host.expansion = "Kodak\\nGold";
    host.offered = "DispInformationFieldPage";
    Line line(Picture(2, 2, Pixel{}));
    line.Add(kText, "txt=%%FILM%%");
    line.Render();
    EXPECT_EQ(host.text, "Kodak\nGold");
    line.SetText(0, "txt=b");
    line.SetText(0, "pos=1");
    EXPECT_EQ(host.translated, (std::vector<std::string>{"%%FILM%%", "b"}));
    EXPECT_EQ(host.asked, (std::vector<std::string>{"TextFilterDispatcher", "DispInformationFieldPage"}));
    host.expansion = std::string(500, 'q');
    line.SetText(0, "txt=c");
    line.Render();
    EXPECT_EQ(host.text, std::string(199, 'q'));
}

TEST(Text, AHostThatComesAfterTheTextExpandsIt) {
    Line line(Picture(2, 2, Pixel{}));
    line.Add(kText, "txt=%%FILM%%\\nGold");
    EXPECT_TRUE(line.PendingText(0).ends_with("txt=%%FILM%%\\0aGold"));
    FakeHost host;
    host.expansion = "Kodak";
    line.Render();
    line.Render();
    EXPECT_EQ(host.text, "Kodak");
    EXPECT_EQ(host.translated, std::vector<std::string>{"%%FILM%%\\nGold"}) << "as it was given, once";
}

TEST(Text, EveryTextAsksOnceWhatTheHostOffers) {
    FakeHost host;
    Line line(Picture(2, 2, Pixel{}));
    line.Add(kText, "pos=1");
    EXPECT_EQ(host.asked, std::vector<std::string>{"TextFilterDispatcher"});
    line.SetText(0, "txt=b");
    EXPECT_EQ(host.asked.size(), 1u);
}

TEST(Text, AHostWithoutDescriptorsIsNotAskedForThem) {
    FakeHost host;
    host.offered = "nothing";
    Line line(Picture(2, 2, Pixel{}));
    line.Add(kText, "txt=%%FILM%%");
    line.SetText(0, "txt=b");
    EXPECT_TRUE(host.translated.empty());
    EXPECT_EQ(host.asked.size(), 2u);
}

TEST(Text, ANewFilterStartsWithTheHostsText) {
    FakeHost host;
    host.defaultText = "\\2c \xa9 me";
    Line line(Picture(2, 2, Pixel{}));
    line.Add(kText);
    line.Render();
    EXPECT_EQ(host.text, ", \xa9 me");
    host.defaultText = std::string(400, 'd');
    line.Add(kText);
    line.Render();
    EXPECT_EQ(host.text, std::string(199, 'd'));
}

}  // namespace
}  // namespace kestrel
