// What holds for every filter of the class table, whatever it does.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>
#include <vector>

#include "kestrel/parameters/ParameterTable.h"
#include "kestrel/server/ClassTable.h"
#include "tests/support/Line.h"
#include "tests/support/Reference.h"
#include "tools/TellingSettings.h"

namespace kestrel {
namespace {
using test::Evaluate;
using test::Line;
using test::Picture;
using test::Pixel;
using test::Step;

/// The same numbers on every machine, as `unsigned`.
class Random {
public:
    explicit Random(unsigned seed) : engine_(seed) {}
    unsigned operator()() { return static_cast<unsigned>(engine_()); }

private:
    std::mt19937 engine_;
};
int Below(Random& random, int bound) { return static_cast<int>(random() % static_cast<unsigned>(bound)); }

/// A text that a dialog could have sent: every key with a value of its range.
std::string TextInRange(const ClassRow& row, Random& random) {
    std::string text;
    for (const KeyInfo& key : row.parameters().keys) {
        if (key.role != Role::Setting || key.kind == Kind::Text || !key.ranged) continue;
        const int span = static_cast<int>(std::min(key.maximum - key.minimum, 1000.0));
        const double value = key.minimum + Below(random, span + 1);
        text += (text.empty() ? "" : ",") + key.key + "=" + std::to_string(static_cast<std::int64_t>(value));
    }
    return text;
}

/// A text that no dialog sends: known keys with wild numbers, cut, doubled, mixed with any bytes.
std::string HostileText(const ClassRow& row, Random& random) {
    const auto keys = row.parameters().keys;
    constexpr const char* numbers[] = {
        "2147483647", "-2147483648", "99999999999999999999", "0", "-1", "256", "1e308", "nan", "inf", "0.0000001"};
    std::string text;
    for (int pieces = Below(random, 12); pieces > 0; --pieces) {
        if (!keys.empty() && random() % 4) text += keys[random() % keys.size()].key;
        text += "=,:| -"[random() % 6];
        switch (random() % 3) {
            case 0:
                text += numbers[random() % std::size(numbers)];
                break;
            case 1:
                text += std::to_string(Below(random, 2001) - 1000);
                break;
            default:
                text += static_cast<char>(1 + random() % 255);
        }
        text += random() % 2 ? "," : "";
    }
    return text;
}

struct Setting {
    const ClassRow* row;
    Step step;
};

/// For every filter the fresh, the default and the telling values, and some of its range.
std::vector<Setting> Settings(unsigned seed) {
    Random random(seed);
    std::vector<Setting> settings;
    for (const ClassRow& row : ClassTable()) {
        if (!row.IsFilter()) continue;
        const char* const progId = row.description->progId;
        settings.push_back({&row, {progId, ""}});
        settings.push_back({&row, {progId, row.parameters().defaultText}});
        if (const TellingSetting* telling = FindTellingSetting(progId))
            settings.push_back({&row, {progId, std::string(telling->text)}});
        for (int i = 0; i < 4; ++i) settings.push_back({&row, {progId, TextInRange(row, random)}});
    }
    return settings;
}

/// Sizes that picture code gets wrong, and one where a filter has room to show itself.
constexpr std::pair<int, int> kSizes[] = {{1, 1}, {1, 7}, {2, 1}, {3, 3}, {17, 2}, {31, 23}};

std::string Told(const Step& step, int width, int height) {
    return step.progId + " \"" + step.text + "\" over " + std::to_string(width) + " x " + std::to_string(height);
}

// Windows

TEST(Catalogue, AWindowIsTheCutOfTheWholePicture) {
    Random random(3);
    for (const Setting& setting : Settings(5)) {
        if (DependsOnWindow(setting.step)) continue;
        for (const auto& [width, height] : kSizes) {
            SCOPED_TRACE(Told(setting.step, width, height));
            const Picture picture = Picture::Random(width, height, random());
            const auto whole = Evaluate({setting.step}, picture);
            if (!whole) continue;
            Line line(picture);
            line.Add(setting.step.progId.c_str(), setting.step.text.c_str());
            const FilterGeometry size = line.Geometry();
            ASSERT_EQ(size.Width, whole->Width());
            ASSERT_EQ(size.Height, whole->Height());
            for (int i = 0; i < 6; ++i) {
                const int x = Below(random, size.Width), y = Below(random, size.Height);
                const int w = 1 + Below(random, size.Width - x), h = 1 + Below(random, size.Height - y);
                const Picture part = line.Render(x, y, w, h, Pixel{0, 0, 0, 255});
                ASSERT_EQ(part.Difference(whole->Cut(x, y, w, h)), "")
                    << "window at " << x << ", " << y << " of " << w << " x " << h;
            }
        }
    }
}

TEST(Catalogue, NothingIsWrittenOutsideTheWindow) {
    Random random(4);
    const Pixel untouched{91, 92, 93, 94};
    for (const Setting& setting : Settings(6)) {
        SCOPED_TRACE(Told(setting.step, 9, 8));
        const Picture picture = Picture::Random(9, 8, random());
        if (!Evaluate({setting.step}, picture)) continue;
        Line line(picture);
        line.Add(setting.step.progId.c_str(), setting.step.text.c_str());
        line.Update();
        const FilterGeometry size = line.Geometry();
        const int w = 1 + Below(random, std::min(size.Width, 9)), h = 1 + Below(random, std::min(size.Height, 9));
        Picture into(20, 20, untouched);
        ASSERT_EQ(line.Request(into, 5, 6, 0, 0, w, h), S_OK);
        ASSERT_TRUE(into.GuardsIntact());
        for (int y = 0; y < 20; ++y)
            for (int x = 0; x < 20; ++x) {
                const bool inside = x >= 5 && x < 5 + w && y >= 6 && y < 6 + h;
                ASSERT_TRUE(inside || into.At(x, y) == untouched) << x << ", " << y << " for " << w << " x " << h;
            }
    }
}

// Lines

TEST(Catalogue, LinesGiveTheBytesOfTheSlowEngine) {
    Random random(7);
    const auto settings = Settings(8);
    for (int round = 0; round < 150; ++round) {
        const auto& [width, height] = kSizes[random() % std::size(kSizes)];
        std::vector<Step> chain;
        std::string told;
        bool windows = true;
        for (int links = 1 + Below(random, 4); links > 0; --links) {
            chain.push_back(settings[random() % settings.size()].step);
            told += Told(chain.back(), width, height) + "\n";
            windows = windows && !DependsOnWindow(chain.back());
        }
        SCOPED_TRACE(told);
        const Picture picture = Picture::Random(width, height, random());
        auto whole = Evaluate(chain, picture);
        if (!whole) continue;
        Line line(picture);
        for (const Step& step : chain) line.Add(step.progId.c_str(), step.text.c_str());
        line.Geometry();
        ASSERT_EQ(line.Render(Pixel{0, 0, 0, 255}).Difference(*whole), "");

        // The same line again after an abort, a change of parameters and back, and in windows of any order.
        line.Abort(true);
        Picture into(whole->Width(), whole->Height(), Pixel{0, 0, 0, 255});
        line.Request(into, 0, 0, 0, 0, whole->Width(), whole->Height());
        line.Abort(false);
        const std::size_t changed = random() % chain.size();
        line.SetText(changed, settings[random() % settings.size()].step.text.c_str());
        line.Update();
        line.SetText(changed, line.PendingText(changed).c_str());
        chain[changed].text = line.PendingText(changed);
        whole = Evaluate(chain, picture);
        line.Geometry();
        for (int i = 0; i < 4 && windows && whole; ++i) {
            const int x = Below(random, whole->Width()), y = Below(random, whole->Height());
            const int w = 1 + Below(random, whole->Width() - x), h = 1 + Below(random, whole->Height() - y);
            ASSERT_EQ(line.Render(x, y, w, h, Pixel{0, 0, 0, 255}).Difference(whole->Cut(x, y, w, h)), "") << i;
        }
    }
}

TEST(Catalogue, AFailureUpstreamEndsTheRequestAndIsMadeGood) {
    Random random(20);
    for (const Setting& setting : Settings(21)) {
        SCOPED_TRACE(Told(setting.step, 12, 9));
        const Picture first = Picture::Random(12, 9, random()), second = Picture::Random(12, 9, random());
        const auto whole = Evaluate({setting.step}, second);
        if (!whole) continue;
        const auto request = [&](Line& line) {
            Picture into(whole->Width(), whole->Height(), Pixel{0, 0, 0, 255});
            return line.Request(into, 0, 0, 0, 0, whole->Width(), whole->Height());
        };
        for (int failing = 1, requests = 1; failing <= requests; ++failing) {
            Line line(first);
            line.Add(setting.step.progId.c_str(), setting.step.text.c_str());
            line.Render();  // a cache of the picture before
            line.source->SetPicture(second);
            line.source->requests = 0;
            line.source->failing = failing;
            line.Update();
            const HRESULT result = request(line);
            requests = std::max(requests, line.source->requests);
            if (line.source->requests < failing) continue;  // nothing of the picture is asked for
            EXPECT_NE(result, S_OK) << "request " << failing << " failed";
            EXPECT_TRUE(line.Update()) << "the failed request looks done";
            EXPECT_EQ(line.Render(Pixel{0, 0, 0, 255}).Difference(*whole), "");
        }
    }
}

TEST(Catalogue, AFailureInACleanStateIsNewsForTheConsumer) {
    for (const Setting& setting : Settings(22)) {
        SCOPED_TRACE(Told(setting.step, 9, 8));
        if (!Evaluate({setting.step}, Picture(9, 8))) continue;
        Line line(Picture(9, 8));
        line.Add(setting.step.progId.c_str(), setting.step.text.c_str());
        const Picture whole = line.Render();
        line.Update();
        line.source->failing = line.source->requests + 1;
        Picture into(whole.Width(), whole.Height());
        if (line.Request(into, 0, 0, 0, 0, whole.Width(), whole.Height()) == S_OK) continue;  // served by a cache
        EXPECT_TRUE(line.Update());
    }
}

TEST(Catalogue, AnAbortedRequestIsRepeatedInFull) {
    Random random(9);
    for (const Setting& setting : Settings(10)) {
        SCOPED_TRACE(Told(setting.step, 12, 9));
        const Picture picture = Picture::Random(12, 9, random());
        const auto whole = Evaluate({setting.step}, picture);
        if (!whole) continue;
        Line line(picture);
        line.Add(setting.step.progId.c_str(), setting.step.text.c_str());
        line.Update();
        line.source->afterRequest = [&] { line.Abort(true); };  // in the middle: the pixels are there, the work is not
        Picture into(whole->Width(), whole->Height(), Pixel{0, 0, 0, 255});
        const HRESULT aborted = line.Request(into, 0, 0, 0, 0, whole->Width(), whole->Height());
        if (line.source->requests == 0) continue;  // nothing of the picture is left to ask for
        EXPECT_NE(aborted, S_OK);
        line.source->afterRequest = nullptr;
        line.Abort(false);
        EXPECT_TRUE(line.Update()) << "the aborted request looks done";
        EXPECT_EQ(line.Render(Pixel{0, 0, 0, 255}).Difference(*whole), "");
    }
}

// In place

/// Rows of a picture that is its own source: a row that is its own destination is left alone, as a host's source does.
class InPlaceSource final : public IFilterPixels {
public:
    explicit InPlaceSource(Picture& picture) : picture_(picture) {}
    HRESULT QueryInterface(const GUID& iid, void** object) override {
        *object = iid == IFilterPixels::kIid ? this : nullptr;
        return *object ? S_OK : E_NOINTERFACE;
    }
    std::uint32_t AddRef() override { return 1; }
    std::uint32_t Release() override { return 1; }
    HRESULT TransformArea(int dstX, int dstY, int srcX, int srcY, int width, int height, std::uint8_t* const* rows,
                          std::uint8_t* const* maskRows) override {
        ++requests;
        asItStands = dstX == 0 && dstY == 0 && srcX == 0 && srcY == 0 && width == picture_.Width() &&
                     height == picture_.Height() && rows == picture_.Rows() && maskRows == picture_.MaskRows();
        return S_OK;
    }
    HRESULT SetAbort(bool) override { return S_OK; }
    HRESULT Update(bool* changed, int*, bool) override {
        *changed = true;
        if (!downstream) return S_OK;
        downstream->SetSize(picture_.Width(), picture_.Height());
        downstream->SetFullSize(picture_.Width(), picture_.Height());
        return S_OK;
    }
    HRESULT GetGeometry(int*, int*, int*, int*, int*, int*) override { return S_OK; }
    HRESULT ConnectDownstream(IUnknown* next) override {
        downstream = Ref<IFilterGeometry>::Query(next);
        return S_OK;
    }
    HRESULT TransformColor(unsigned char*) override { return S_OK; }
    HRESULT SendEvent(void*) override { return S_OK; }

    int requests = 0;
    bool asItStands = false;
    Ref<IFilterGeometry> downstream;

private:
    Picture& picture_;
};

TEST(Catalogue, FiltersThatSaySoWorkInTheSourcesOwnRows) {
    Random random(12);
    int found = 0;
    for (const Setting& setting : Settings(13)) {
        if (!setting.row->description->inPlace) continue;
        ++found;
        for (const auto& [width, height] : kSizes) {
            SCOPED_TRACE(Told(setting.step, width, height));
            Picture picture = Picture::Random(width, height, random());
            const Picture whole = Evaluate({setting.step}, picture).value();
            InPlaceSource source(picture);
            Ref<IFilterObject> filter;
            ASSERT_EQ(setting.row->create(IFilterObject::kIid, filter.Out()), S_OK);
            Ref<IFilterParameters>::Query(filter.get())->SetParameterText(setting.step.text.c_str(), 1);
            filter->SetUpstream(&source);
            const auto pixels = Ref<IFilterPixels>::Query(filter.get());
            bool changed = false;
            int version = -1;
            pixels->Update(&changed, &version, true);
            ASSERT_EQ(pixels->TransformArea(0, 0, 0, 0, width, height, picture.Rows(), picture.MaskRows()), S_OK);
            EXPECT_EQ(source.requests, 1);
            EXPECT_TRUE(source.asItStands);
            EXPECT_EQ(picture.Difference(whole), "");
            filter->SetUpstream(nullptr);
            source.downstream = nullptr;
        }
    }
    EXPECT_GE(found, 11 * 6);
}

// Texts

TEST(Catalogue, WrittenTextsReadBackAsTheyAre) {
    Random random(14);
    for (const Setting& setting : Settings(15)) {
        SCOPED_TRACE(setting.step.progId + " " + setting.step.text);
        const Picture picture(3, 3);
        Line line(picture), again(picture);
        line.Add(setting.step.progId.c_str(), setting.step.text.c_str());
        const std::string text = line.PendingText(0);
        EXPECT_EQ(text.find_first_of("\t\n"), text.npos);
        again.Add(setting.step.progId.c_str(), text.c_str());
        EXPECT_EQ(again.PendingText(0), text);
        again.Update();
        line.Update();
        EXPECT_EQ(again.ActiveText(0), line.ActiveText(0));
    }
}

TEST(Catalogue, AFreshFilterCountsAsChangedOnce) {
    for (const ClassRow& row : ClassTable()) {
        if (!row.IsFilter()) continue;
        Line line(Picture(4, 4));
        line.Add(row.description->progId);
        EXPECT_TRUE(line.Update()) << row.description->progId;
        Picture into(64, 64);
        const FilterGeometry size = line.sink->geometry;
        line.Request(into, 0, 0, 0, 0, std::min(size.Width, 64), std::min(size.Height, 64));
        EXPECT_FALSE(line.Update()) << row.description->progId;
    }
}

TEST(Catalogue, WritersNeverRunPastTheirBuffer) {
    for (const Setting& setting : Settings(16)) {
        SCOPED_TRACE(setting.step.progId);
        Line line(Picture(2, 2));
        line.Add(setting.step.progId.c_str(), setting.step.text.c_str());
        line.Update();
        const auto text = Ref<IFilterParameters>::Query(&line.Filter(0));
        const std::string whole = line.PendingText(0);
        const int least = setting.row->parameters().minimumBuffer;
        for (const int size :
             {-1, 0, 1, least - 1, least, static_cast<int>(whole.size()), static_cast<int>(whole.size()) + 1}) {
            std::string buffer(whole.size() + static_cast<std::size_t>(std::max(least, 0)) + 8, '#');
            const HRESULT result = text->GetParameterTextForSave(buffer.data(), size);
            const std::size_t written = buffer.find('\0');
            if (written == buffer.npos) {
                EXPECT_EQ(buffer.find_first_not_of('#'), buffer.npos) << size;
                EXPECT_TRUE(size < least || result == E_FAIL) << size;
            } else {
                EXPECT_EQ(result, S_OK);
                EXPECT_EQ(buffer.substr(0, written), whole);
                EXPECT_LT(written, static_cast<std::size_t>(size));
                EXPECT_EQ(buffer.find_first_not_of('#', written + 1), buffer.npos) << size;
            }
        }
    }
}

TEST(Catalogue, HostileTextsBreakNothing) {
    Random random(17);
    for (const ClassRow& row : ClassTable()) {
        if (!row.IsFilter()) continue;
        for (int i = 0; i < 40; ++i) {
            const std::string text = HostileText(row, random);
            const auto& [width, height] = kSizes[random() % std::size(kSizes)];
            SCOPED_TRACE(std::string(row.description->progId) + " " + testing::PrintToString(text));
            Line line(Picture::Random(width, height, random()));
            line.Add(row.description->progId, text.c_str());
            line.Update();
            const FilterGeometry size = line.Geometry();
            line.Color({1, 2, 3, 4});
            line.PendingText(0);
            line.ActiveText(0);
            if (std::int64_t{size.Width} * size.Height > 1 << 20 || size.Width < 0 || size.Height < 0) continue;
            Picture into(size.Width, size.Height);
            line.Request(into, 0, 0, 0, 0, size.Width, size.Height);  // the result may be a failure
            EXPECT_TRUE(into.GuardsIntact());
        }
    }
}

TEST(Catalogue, LongTextsAreRead) {
    for (const ClassRow& row : ClassTable()) {
        if (!row.IsFilter()) continue;
        const std::string standard = row.parameters().defaultText;
        Line plain(Picture(2, 2)), padded(Picture(2, 2));
        plain.Add(row.description->progId, standard.c_str());
        padded.Add(row.description->progId, (standard + ",," + std::string(1 << 20, '\xE4')).c_str());
        if (std::string_view(row.description->progId) == "TMFilter.Text.1")
            continue;  // its last key takes all the rest
        EXPECT_EQ(padded.PendingText(0), plain.PendingText(0)) << row.description->progId;
    }
}

// Colours

TEST(Catalogue, AColourIsWhatThePixelsAre) {
    Random random(18);
    int found = 0;
    for (const Setting& setting : Settings(19)) {
        if (!setting.row->description->inPlace || DependsOnWindow(setting.step)) continue;
        std::vector<std::array<Pixel, 3>> colours;  // as given, as told, as rendered
        for (int i = 0; i < 20; ++i) {
            const Pixel pixel = Picture::Random(1, 1, random()).At(0, 0);
            Line line(Picture(1, 1, pixel));
            line.Add(setting.step.progId.c_str(), setting.step.text.c_str());
            const Pixel rendered = line.Render().At(0, 0);
            colours.push_back({pixel, line.Color(pixel), rendered});
        }
        // Some filters have nothing to say of a single colour; one that has says what the pixels get.
        if (std::all_of(colours.begin(), colours.end(), [](auto& colour) { return colour[0] == colour[1]; })) continue;
        ++found;
        for (const auto& colour : colours)
            EXPECT_EQ(colour[1], colour[2]) << Told(setting.step, 1, 1) << " " << colour[0];
    }
    EXPECT_GE(found, 30);
}

}  // namespace
}  // namespace kestrel
