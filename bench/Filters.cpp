// Lines of filters between a source and a sink, computed afresh each time: the operations that other libraries have
// too, every filter of the catalogue, and how time grows with the picture and with the line.
#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "bench/Bench.h"
#include "kestrel/foundation/HelperThreads.h"
#include "kestrel/framework/Bands.h"
#include "kestrel/framework/IFilterObject.h"
#include "kestrel/framework/IFilterParameters.h"
#include "kestrel/host/BandWork.h"
#include "kestrel/host/PictureSink.h"
#include "kestrel/host/PictureSource.h"
#include "kestrel/host/Rendering.h"
#include "kestrel/image/WorkImage.h"
#include "kestrel/server/ClassTable.h"
#include "tools/TellingSettings.h"

namespace kestrel::bench {
namespace {

struct Setting {
    std::string filter;  ///< the word in the middle of the ProgID
    std::string text;
};
using Settings = std::vector<Setting>;

/// Cut when it goes.
class Line {
public:
    Line() : source_(new PictureSource), sink_(new PictureSink) {}
    Line(const Line&) = delete;
    Line& operator=(const Line&) = delete;
    ~Line() {
        for (const auto& filter : filters_) {
            filter->SetUpstream(nullptr);
            filter->SetDownstream(nullptr);
        }
        source_->ConnectDownstream(nullptr);
        sink_->ConnectUpstream(nullptr);
    }

    void Add(const Setting& setting) {
        const ClassRow* row = FindClass("TMFilter." + setting.filter + ".1");
        Ref<IFilterObject> filter;
        if (!row || row->create(IFilterObject::kIid, filter.Out()) != S_OK) throw std::runtime_error(setting.filter);
        Ref<IFilterParameters>::Query(filter.get())->SetParameterText(setting.text.c_str(), 1);
        if (filters_.empty())
            filter->SetUpstream(source_.get());
        else
            filter->SetUpstream(filters_.back().get());
        filter->SetDownstream(sink_.get());
        last_ = Ref<IFilterPixels>::Query(filter.get());
        filters_.push_back(std::move(filter));
        rowByRow_ &= row->description->inPlace && !row->description->measuresRequest;
    }

    void Update() {
        bool changed = false;
        if (last_->Update(&changed, &version_, true) != S_OK) throw std::runtime_error("Update failed");
    }

    /// Forgets everything that was made of the picture before; an output of another size is replaced.
    void Start(const Picture& picture, std::unique_ptr<CWorkImage>& out) {
        source_->SetPicture(picture.image.get(), picture.mask.get());
        int width = 0, height = 0, ignored = 0;
        last_->GetGeometry(&width, &height, &ignored, &ignored, &ignored, &ignored);
        if (width <= 0 || height <= 0) throw std::runtime_error("no output");
        if (!out || out->Width() != width || out->Height() != height) {
            out.reset();
            out = std::make_unique<CWorkImage>(width, height);
        }
    }

    HRESULT Ask(int first, int count, const CWorkImage& out) {
        return last_->TransformArea(0, first, 0, first, out.Width(), count, out.Rows(), out.MaskRows());
    }

    int RowsToAskFor(const CWorkImage& out) const { return RowsAtOnce(last_.get(), out.Width(), out.Height()); }
    /// May several lines share the work?
    bool IsRowByRow() const { return rowByRow_; }

private:
    Ref<PictureSource> source_;
    Ref<PictureSink> sink_;
    std::vector<Ref<IFilterObject>> filters_;
    Ref<IFilterPixels> last_;
    int version_ = -1;
    bool rowByRow_ = true;
};

/// A line for each thread that a rendering would use.
class Lines {
public:
    Lines(const Settings& settings, int threads) : lines_(static_cast<std::size_t>(threads)) {
        for (Line& line : lines_)
            for (const Setting& setting : settings) line.Add(setting);
    }

    /// The whole output, with nothing kept from the last time, asked for as a `Rendering` does.
    void Render(const Picture& picture, std::unique_ptr<CWorkImage>& out) {
        Line& first = lines_.front();
        const HelperThreads passes(first.IsRowByRow() ? 1 : static_cast<int>(lines_.size()));
        first.Start(picture, out);
        BandWork work(out->Height(), first.RowsToAskFor(*out));
        const auto take = [&](Line& line) {
            work.Take([&](int row, int count) { return line.Ask(row, count, *out); });
        };
        {
            std::vector<std::jthread> helpers;
            for (auto line = lines_.begin() + 1; line != lines_.end() && first.IsRowByRow(); ++line)
                helpers.emplace_back([&, line] {
                    line->Start(picture, out);
                    take(*line);
                });
            take(first);
        }
        if (FilterResult(work.Result()).Failed()) throw std::runtime_error("the request was not done");
    }

private:
    std::vector<Line> lines_;
};

/// The line is made by the first call, if there is one.
void AddLine(Worker& worker, const std::string& row, const Settings& settings,
             const std::function<const Picture&()>& picture) {
    const auto lines = std::make_shared<std::unique_ptr<Lines>>();
    worker.Add<std::unique_ptr<CWorkImage>>(row, settings.back().filter, [=, &worker](auto& out) {
        if (!*lines) *lines = std::make_unique<Lines>(settings, worker.Given().threads);
        (*lines)->Render(picture(), out);
    });
}

constexpr const char* kCurves =
    "nL=04, nR=02, nG=02, nB=02, xL1=000, xL2=070, xL3=185, xL4=255, yL1=000, yL2=035, yL3=225, yL4=255, Linear=0, "
    "FilterOn=1, YIQOn=";

struct Operation {
    const char* row;
    Setting setting;
    const Picture& (*picture)() = BenchPicture;
};

const Operation kOperations[] = {
    {"invert", {"Invert", "Inversity=100"}},
    {"sepia", {"Sepia", "Sepia=090"}},
    {"grey", {"BlackWhiteness", "BlackWhiteNess=100"}},
    {"brightness and contrast", {"BrightnessContrast", "Brightness=010,Contrast=030,Saturation=000"}},
    {"curves", {"GradCurves", std::string(kCurves) + "0"}},
    {"exposure and saturation", {"Exposure", "Red=040,Green=030,Blue=-10"}},
    {"hue and saturation by range", {"HSB", "Hue=040,Sat=020,Bright=000,HueB=060,SatB=040,BrightB=000"}},
    {"luminance curve", {"GradCurves", std::string(kCurves) + "1"}},
    {"auto levels", {"Tonwert", "AutoTone=1,AutoContrast=0,AutoContrastRGB=1"}},
    {"blur 3x3", {"Blur", "Blurness=070"}},
    {"sharpen 3x3", {"Sharpen", "Sharpness=080"}},
    {"dust", {"Staub", "MaxRgnSize=012,GrayTolerance=030"}},
    {"reduce to 1600", {"Scale", "MaximumHorizontalSize=1600, MaximumVerticalSize=1600, KeepProportions=1"}},
    {"enlarge 6 MP 2 x",
     {"Scale100", "HorizontalProz=200,VerticalProz=200,KeepProportions=1,AllowEnlarge=1"},
     HalfPicture},
    {"rotate 7 degrees", {"Rotate", "MirrorOn=0, Angle=7.000, CenterX=0, CenterY=0, AlignLeftBottom=0"}},
    {"quarter turn", {"Rotate", "MirrorOn=0, Angle=270.000, CenterX=0, CenterY=0, AlignLeftBottom=0"}},
    {"shadow, ten rounds",
     {"Shadow",
      "LightDirection=1350, InnerOn=0, LightIntensity=000, ShadowDensity=070, ShadowBlur=050, Size=000, "
      "ShadowDistance=012, ShadowRed=020, ShadowGreen=020, ShadowBlue=060"},
     CutOutPicture},
    {"soft edge", {"SoftFrame", "SoftCorner=1,FrameWidth=30,Links=1,Oben=1,Rechts=1,Unten=1"}},
    {"flatten", {"ImgBg", "Red=090,Green=150,Blue=210,Transparency=000"}, CutOutPicture},
    {"inner shadow", {"Shadow", "InnerOn=1,ShadowDensity=070,ShadowBlur=050,Size=004"}, CutOutPicture},
    {"relief", {"Shadow", "LightIntensity=050"}, CutOutPicture},
    {"half a board", {"ImgBg", "Red=090,Green=150,Blue=210,Transparency=050"}, CutOutPicture},
    {"invert the mask", {"InvertMask", "Red=230,Green=200,Blue=120,Transparency=040"}, CutOutPicture},
};

/// Tone filters in turn, as many as are asked for.
Settings ToneFilters(int count, int number = 0) {
    Settings settings;
    for (int i = 0; i < count; ++i)
        if (i % 2 == 0)
            settings.push_back({"Exposure", "Red=0" + std::to_string(10 + number + i) + ",Green=020,Blue=-05"});
        else
            settings.push_back({"Sepia", "Sepia=0" + std::to_string(50 + number + i)});
    return settings;
}

/// Only one picture of another size is held at a time.
const Picture& Sized(int width) {
    static Picture sized;
    if (sized.Width() != width) {
        sized.image.reset();
        sized.image = Tile(BenchPicture().image.get(), width, std::max(1, width * 2 / 3));
    }
    return sized;
}

void AddGrowth(Worker& worker) {
    const struct {
        const char* size;
        int width;
    } sizes[] = {{"1", 1225}, {"6", 3000}, {"24", 6000}, {"96", 12000}};
    const std::pair<const char*, Settings> lines[] = {{"sepia", {{"Sepia", "Sepia=090"}}},
                                                      {"sharpen 3x3", {{"Sharpen", "Sharpness=080"}}},
                                                      {"rotate 7 degrees", {{"Rotate", "Angle=7.000,MirrorOn=0"}}},
                                                      {"ten tone filters", ToneFilters(10)}};
    for (const auto& [name, settings] : lines)
        for (const auto& [size, width] : sizes)
            AddLine(worker, std::string("growth/") + name + ", " + size + " MP", settings,
                    [width = IsDry() ? width / 100 : width]() -> const Picture& { return Sized(width); });
    for (int count = 1; count <= 10; ++count)
        AddLine(worker, "growth/tone filters: " + std::to_string(count), ToneFilters(count), BenchPicture);
}

std::string Text(const Settings& settings) {
    std::string text;
    for (const Setting& setting : settings) text += "TMFilter." + setting.filter + ".1\t" + setting.text + "\n";
    return text;
}

/// What a line costs that has nothing to compute.
void AddUpkeep(Worker& worker) {
    const auto ten = std::make_shared<Line>();
    for (int i = 0; i < 10; ++i) ten->Add({"Invert", "Inversity=050"});
    ten->Update();
    worker.Add("upkeep/update of ten clean filters", "Update", [=] { ten->Update(); });
    const auto chain = std::make_shared<Rendering>();
    const auto next = std::make_shared<bool>(false);
    worker.Add("upkeep/a text of ten filters", "SetChainText", [=] {
        *next = !*next;  // a text that is set already would be compared only
        if (chain->SetChainText(Text(ToneFilters(10, *next)))) throw std::runtime_error("the chain text was refused");
    });
}

}  // namespace

void AddFilters(Worker& worker) {
    for (const Operation& operation : kOperations)
        AddLine(worker, std::string("line/") + operation.row, {operation.setting}, operation.picture);
    for (const ClassRow& row : ClassTable()) {
        if (!row.IsFilter()) continue;
        const TellingSetting* setting = FindTellingSetting(row.description->progId);
        if (!setting) throw std::runtime_error(std::string(row.description->progId) + " has no telling setting");
        AddLine(worker, "filter/" + std::string(setting->filter),
                {{std::string(setting->filter), std::string(setting->text)}},
                setting->cutOut ? CutOutPicture : BenchPicture);
    }
    AddGrowth(worker);
    AddUpkeep(worker);
}

}  // namespace kestrel::bench
