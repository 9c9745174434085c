// What holds for every filter of the class table, whatever it does.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>
#include <vector>

#include "kestrel/framework/LineEnds.h"
#include "kestrel/framework/PdibFilter.h"
#include "kestrel/host/PictureSource.h"
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
        if (DependsOnRequest(setting.step)) continue;
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

TEST(Catalogue, FiltersThatKeepTheirPictureAskForTheWholeInputOnce) {
    for (const char* word :
         {"AdoptColor", "InvertMask", "Tonwert", "Sharpen", "Blur", "FindEdges", "Emboss", "Staub", "RedEye", "Rotate",
          "Scale", "Scale100", "PrintPad", "PrintScale", "Shadow", "Passpartout"}) {
        const std::string progId = "TMFilter." + std::string(word) + ".1";
        SCOPED_TRACE(progId);
        const TellingSetting* const telling = FindTellingSetting(progId);
        ASSERT_TRUE(telling);
        Line line(Picture::Random(30, 20, 1));
        const bool fits = progId == "TMFilter.Scale.1";  // the telling box leaves this picture as it is
        line.Add(progId.c_str(), fits ? "MaximumHorizontalSize=12" : std::string(telling->text).c_str());
        line.Render(1, 1, 3, 2);
        const int requests = line.source->requests;
        EXPECT_GT(requests, 0);
        line.Render(0, 0, 4, 4);
        line.Render(2, 1, 1, 3);
        EXPECT_EQ(line.source->requests, requests);
        line.source->SetPicture(Picture::Random(30, 20, 2));
        line.Render(1, 1, 3, 2);
        EXPECT_EQ(line.source->requests, 2 * requests);
    }
}

TEST(Catalogue, BandsOfRowsLeaveNoTrace) {
    Picture wide = Picture::Random(2000, 80, 3, false);
    for (int y = 30; y < 36; ++y) wide.Set(1010 + y % 3, y, Pixel{9, 9, 9, 255});
    constexpr int kLeft = 1000, kWidth = 40, kReach = 5;
    ASSERT_LT(BandRows(wide.Width()), 35);
    ASSERT_GT(BandRows(kWidth + 2 * kReach), wide.Height());
    for (const char* progId : {"TMFilter.Sharpen.1", "TMFilter.Blur.1", "TMFilter.Emboss.1", "TMFilter.Staub.1"}) {
        const std::string text(FindTellingSetting(progId)->text);
        const Picture part = wide.Cut(kLeft - kReach, 0, kWidth + 2 * kReach, wide.Height());
        const Picture inOneBand = test::Apply(progId, text.c_str(), part);
        Line line(wide);
        line.Add(progId, text.c_str());
        for (const bool servesBands : {false, true})
            for (const auto& [first, count] : {std::pair{0, 80}, {20, 50}, {70, 10}, {34, 1}}) {
                line.source->servesBands = servesBands;
                line.source->SetPicture(wide);
                EXPECT_EQ(
                    line.Render(kLeft, first, kWidth, count).Difference(inOneBand.Cut(kReach, first, kWidth, count)),
                    "")
                    << progId << " from row " << first << (servesBands ? ", fetched in bands" : "");
            }
    }
}

TEST(Catalogue, AKeptPictureIsAtMostFourTimesTooLarge) {
    struct Access : CPdibFilter {
        static const CWorkImage& Cache(IFilterObject& filter) {
            return *(static_cast<CPdibFilter&>(filter).*&Access::m_Cache);
        }
    };
    Line line(Picture(40, 40));
    line.Add("TMFilter.Blur.1", "Blurness=50");
    for (const auto& [size, kept] : {std::pair{40, 40}, {20, 40}, {19, 19}, {21, 21}, {12, 21}, {10, 10}}) {
        line.source->SetPicture(Picture(size, size));
        line.Render();
        EXPECT_EQ(Access::Cache(line.Filter(0)).Width(), kept) << "for " << size;
    }
}

// Lines

/// A line of up to four filters, and the same steps for the slow engine.
struct RandomLine {
    RandomLine(const std::vector<Setting>& settings, Random& random, const Picture& picture) : line(picture) {
        for (int links = 1 + Below(random, 4); links > 0; --links) Append(settings[random() % settings.size()].step);
    }
    void Append(const Step& step) {
        steps.push_back(step);
        line.Add(step.progId.c_str(), step.text.c_str());
    }
    std::string Told(int width, int height) const {
        std::string told;
        for (const Step& step : steps) told += kestrel::Told(step, width, height) + "\n";
        return told;
    }
    /// Do the bytes depend on nothing but picture and texts? A filter that measures its window sees another one when
    /// the filters after it ask for more than the window, and a window of a line is then no cut of its whole.
    bool IsPlain() const { return std::none_of(steps.begin(), steps.end(), test::DependsOnRequest); }

    Line line;
    std::vector<Step> steps;
};

TEST(Catalogue, LinesGiveTheBytesOfTheSlowEngine) {
    const auto settings = Settings(8);
    for (unsigned seed = 1; seed <= 6; ++seed) {
        Random random(seed);
        for (int round = 0; round < 50; ++round) {
            const auto& [width, height] = kSizes[random() % std::size(kSizes)];
            const Picture picture = Picture::Random(width, height, random());
            RandomLine made(settings, random, picture);
            SCOPED_TRACE(testing::Message() << "seed " << seed << "\n" << made.Told(width, height));
            if (!made.IsPlain()) continue;
            const auto whole = Evaluate(made.steps, picture);
            if (!whole) continue;
            ASSERT_EQ(made.line.Render(Pixel{0, 0, 0, 255}).Difference(*whole), "");
            made.line.Abort(true);
            Picture into(whole->Width(), whole->Height(), Pixel{0, 0, 0, 255});
            made.line.Request(into, 0, 0, 0, 0, whole->Width(), whole->Height());
            made.line.Abort(false);

            // Other parameters for one filter, then windows of any order.
            const std::size_t changed = random() % made.steps.size();
            const std::string progId = made.steps[changed].progId;
            std::vector<std::string> texts;
            for (const Setting& other : settings)
                if (other.step.progId == progId) texts.push_back(other.step.text);
            made.line.SetText(changed, texts[random() % texts.size()].c_str());
            for (std::size_t i = 0; i < made.steps.size(); ++i) made.steps[i].text = made.line.PendingText(i);
            SCOPED_TRACE("then\n" + made.Told(width, height));
            const auto next = Evaluate(made.steps, picture);
            const FilterGeometry size = made.line.Geometry();
            if (!next || size.Width < 1 || size.Height < 1) continue;
            for (int i = 0; i < 4; ++i) {
                const int x = Below(random, next->Width()), y = Below(random, next->Height());
                const int w = 1 + Below(random, next->Width() - x), h = 1 + Below(random, next->Height() - y);
                ASSERT_EQ(made.line.Render(x, y, w, h, Pixel{0, 0, 0, 255}).Difference(next->Cut(x, y, w, h)), "") << i;
            }
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

TEST(Catalogue, AnAbortStopsCopiesFromACacheToo) {
    int found = 0;
    for (const Setting& setting : Settings(23)) {
        SCOPED_TRACE(Told(setting.step, 9, 8));
        if (!Evaluate({setting.step}, Picture(9, 8))) continue;
        Line line(Picture(9, 8));
        line.Add(setting.step.progId.c_str(), setting.step.text.c_str());
        const Picture whole = line.Render();
        const int requests = line.source->requests;
        line.Abort(true);
        Picture into(whole.Width(), whole.Height());
        const HRESULT result = line.Request(into, 0, 0, 0, 0, whole.Width(), whole.Height());
        if (line.source->requests > requests) continue;
        ++found;
        EXPECT_EQ(result, S_FALSE);
    }
    EXPECT_GT(found, 20);
}

/// The flag that a filter's passes ask.
struct FilterAccess : CPdibFilter {
    static AbortFlag& Abort(IFilterObject& filter) { return static_cast<CPdibFilter&>(filter).*&FilterAccess::m_Abort; }
};

TEST(Catalogue, AnAbortAtAnyRowIsRepeatedInFull) {
    Random random(9);
    for (const Setting& setting : Settings(10)) {
        SCOPED_TRACE(Told(setting.step, 6, 5));
        const Picture picture = Picture::Random(6, 5, random());
        const auto whole = Evaluate({setting.step}, picture);
        if (!whole || whole->Width() > 200 || whole->Height() > 200) continue;
        Line line(Picture::Random(6, 5, random()));
        line.Add(setting.step.progId.c_str(), setting.step.text.c_str());
        for (const bool clean : {false, true}) {
            line.Render();
            for (int rows = 0;; rows += 1 + rows / 50) {
                if (!clean) line.source->SetPicture(picture);
                line.Update();
                FilterAccess::Abort(line.Filter(0)).SetAfter(rows);
                Picture into(whole->Width(), whole->Height(), Pixel{0, 0, 0, 255});
                const HRESULT result = line.Request(into, 0, 0, 0, 0, whole->Width(), whole->Height());
                line.Abort(false);
                if (result == S_OK) {  // no row was left, and none was skipped
                    EXPECT_EQ(into.Difference(*whole), "") << "an abort at row " << rows << " was forgotten";
                    break;
                }
                if (!clean || !setting.row->description->inPlace) {
                    EXPECT_TRUE(line.Update()) << "aborted at row " << rows << ", it looks done";
                }
                ASSERT_EQ(line.Render(Pixel{0, 0, 0, 255}).Difference(*whole), "") << "aborted at row " << rows;
            }
        }
    }
}

// In place

/// Rows of a picture that is its own source: a row that is its own destination is left alone, as a host's source does.
class InPlaceSource final : public LineSource {
public:
    explicit InPlaceSource(Picture& picture) : picture_(picture) {
        Geometry().Width = Geometry().FullWidth = picture.Width();
        Geometry().Height = Geometry().FullHeight = picture.Height();
    }
    HRESULT TransformArea(int dstX, int dstY, int srcX, int srcY, int width, int height, std::uint8_t* const* rows,
                          std::uint8_t* const* maskRows) override {
        ++requests;
        asItStands = dstX == 0 && dstY == 0 && srcX == 0 && srcY == 0 && width == picture_.Width() &&
                     height == picture_.Height() && rows == picture_.Rows() && maskRows == picture_.MaskRows();
        return S_OK;
    }
    int requests = 0;
    bool asItStands = false;

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
            const Ref<InPlaceSource> source(new InPlaceSource(picture));
            Ref<IFilterObject> filter;
            ASSERT_EQ(setting.row->create(IFilterObject::kIid, filter.Out()), S_OK);
            Ref<IFilterParameters>::Query(filter.get())->SetParameterText(setting.step.text.c_str(), 1);
            filter->SetUpstream(source.get());
            const auto pixels = Ref<IFilterPixels>::Query(filter.get());
            bool changed = false;
            int version = -1;
            pixels->Update(&changed, &version, true);
            ASSERT_EQ(pixels->TransformArea(0, 0, 0, 0, width, height, picture.Rows(), picture.MaskRows()), S_OK);
            EXPECT_EQ(source->requests, 1);
            EXPECT_TRUE(source->asItStands);
            EXPECT_EQ(picture.Difference(whole), "");
            filter->SetUpstream(nullptr);
            source->ConnectDownstream(nullptr);
        }
    }
    EXPECT_GE(found, 11 * 6);
}

/// A source's rows as they come from one that lends none.
class CopyingSource final : public LineSource {
public:
    explicit CopyingSource(PictureSource& source) : source_(source) {
        Geometry() = {.Width = source.Rows().width, .Height = source.Rows().height};
    }
    HRESULT TransformArea(int dstX, int dstY, int srcX, int srcY, int width, int height, std::uint8_t* const* rows,
                          std::uint8_t* const* maskRows) override {
        return source_.TransformArea(dstX, dstY, srcX, srcY, width, height, rows, maskRows);
    }

private:
    PictureSource& source_;
};

// Pictures of 36 MB, of which a few rows are in memory: their rows are written past the caches.
TEST(Catalogue, LentRowsMakeWhatCopiedOnesMake) {
    constexpr int kWidth = 301, kHeight = 30000, kKept = 8;
    Random random(16);
    std::vector<std::uint8_t> bytes(std::size_t{4} * kWidth * kKept);
    for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random());
    for (const Setting& setting : Settings(18)) {
        if (!setting.row->description->inPlace) continue;
        SCOPED_TRACE(Told(setting.step, kWidth, kHeight));
        const bool masked = random() % 2 == 0;
        const Ref<PictureSource> lending(new PictureSource);
        lending->SetRows({.width = kWidth,
                          .height = kHeight,
                          .hasMask = masked,
                          .kept = kKept,
                          .pixels = bytes.data(),
                          .mask = masked ? bytes.data() + 3 * kWidth * kKept : nullptr,
                          .pixelStride = 3 * kWidth,
                          .maskStride = kWidth});
        const Ref<CopyingSource> copying(new CopyingSource(*lending));
        const int x = Below(random, 40), width = kWidth - x - Below(random, 40);
        Picture made[2] = {Picture(kWidth + 40, kKept), Picture(kWidth + 40, kKept)};
        for (const bool lends : {true, false}) {
            Ref<IFilterObject> filter;
            ASSERT_EQ(setting.row->create(IFilterObject::kIid, filter.Out()), S_OK);
            Ref<IFilterParameters>::Query(filter.get())->SetParameterText(setting.step.text.c_str(), 1);
            const Ref<test::Sink> sink(new test::Sink);
            filter->SetUpstream(lends ? static_cast<IFilterPixels*>(lending.get()) : copying.get());
            filter->SetDownstream(sink.get());
            const auto pixels = Ref<IFilterPixels>::Query(filter.get());
            bool changed = false;
            int version = -1;
            pixels->Update(&changed, &version, true);
            ASSERT_EQ(pixels->TransformArea(x, 1, x, 5, width, kKept - 1, made[lends].Rows(), made[lends].MaskRows()),
                      S_OK);
            filter->SetUpstream(nullptr);
            filter->SetDownstream(nullptr);
            lending->ConnectDownstream(nullptr);
            copying->ConnectDownstream(nullptr);
            sink->ConnectUpstream(nullptr);
        }
        ASSERT_EQ(made[true].Difference(made[false]), "");
        ASSERT_TRUE(made[true].GuardsIntact());
    }
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
        for (int i = 0; i < 120; ++i) {
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
        if (!setting.row->description->inPlace || DependsOnRequest(setting.step)) continue;
        if (setting.step.progId == "TMFilter.ImgBg.1") continue;  // its colours go by a rule of their own
        std::vector<std::array<Pixel, 3>> colours;                // as given, as told, as rendered
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
