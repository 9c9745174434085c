// Every filter of the catalogue over the whole picture, computed afresh each time; the time includes getting the rows
// from the source, which is one plain copy. Then what a line costs that has nothing to compute.
#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/Bench.h"
#include "kestrel/framework/Bands.h"
#include "kestrel/framework/IFilterObject.h"
#include "kestrel/framework/IFilterParameters.h"
#include "kestrel/host/PictureSink.h"
#include "kestrel/host/PictureSource.h"
#include "kestrel/host/Rendering.h"
#include "kestrel/image/WorkImage.h"
#include "kestrel/server/ClassTable.h"
#include "tools/TellingSettings.h"

namespace kestrel::bench {
namespace {

/// A line of filters between a source and a sink; cut when it goes.
class BenchLine {
public:
    explicit BenchLine(const Dib* mask = nullptr) : source_(new PictureSource), sink_(new PictureSink), mask_(mask) {
        source_->SetPicture(BenchPicture(), mask_);
    }
    BenchLine(const BenchLine&) = delete;
    BenchLine& operator=(const BenchLine&) = delete;
    ~BenchLine() {
        for (const auto& filter : filters_) {
            filter->SetUpstream(nullptr);
            filter->SetDownstream(nullptr);
        }
        source_->ConnectDownstream(nullptr);
        sink_->ConnectUpstream(nullptr);
    }

    void Add(const ClassRow& row, std::string_view text) {
        Ref<IFilterObject> filter;
        if (row.create(IFilterObject::kIid, filter.Out()) != S_OK) throw std::runtime_error(row.description->progId);
        Ref<IFilterParameters>::Query(filter.get())->SetParameterText(std::string(text).c_str(), 1);
        if (filters_.empty())
            filter->SetUpstream(source_.get());
        else
            filter->SetUpstream(filters_.back().get());
        filter->SetDownstream(sink_.get());
        last_ = Ref<IFilterPixels>::Query(filter.get());
        filters_.push_back(std::move(filter));
    }

    void Update() {
        bool changed = false;
        if (last_->Update(&changed, &version_, true) != S_OK) throw std::runtime_error("Update failed");
    }

    /// The whole output, with nothing kept from the last time, asked for as a `Rendering` does.
    void Render() {
        source_->SetPicture(BenchPicture(), mask_);
        int width = 0, height = 0, ignored = 0;
        last_->GetGeometry(&width, &height, &ignored, &ignored, &ignored, &ignored);
        if (width <= 0 || height <= 0) throw std::runtime_error("no output");
        if (!out_ || out_->Width() != width || out_->Height() != height)
            out_ = std::make_unique<CWorkImage>(width, height);
        const int band = ServesBands(last_.get()) ? BandRows(width) : height;
        for (int y = 0; y < height; y += band)
            if (last_->TransformArea(0, y, 0, y, width, std::min(band, height - y), out_->Rows(), out_->MaskRows()) !=
                S_OK)
                throw std::runtime_error("the request was not done");
    }

private:
    Ref<PictureSource> source_;
    Ref<PictureSink> sink_;
    const Dib* mask_;
    std::vector<Ref<IFilterObject>> filters_;
    Ref<IFilterPixels> last_;
    std::unique_ptr<CWorkImage> out_;
    int version_ = -1;
};

void AddLine(const std::string& name, const ClassRow& row, const std::string& text) {
    const auto line = std::make_shared<std::unique_ptr<BenchLine>>();  // made by the first run, if there is one
    Add(name, [=, &row] {
        if (!*line) {
            *line = std::make_unique<BenchLine>();
            (*line)->Add(row, text);
        }
        (*line)->Render();
    });
}

void AddFilter(const ClassRow& row) {
    const std::string progId = row.description->progId;
    if (const TellingSetting* setting = FindTellingSetting(progId))
        AddLine("filter/" + std::string(setting->filter), row, std::string(setting->text));
    else
        Add("filter/" + progId, [=] { throw std::runtime_error(progId + " has no telling setting"); });
}

/// Settings of everyday work beside those that show most of a filter.
constexpr struct {
    const char* name;
    std::string_view filter;
    const char* text;
} kEveryday[] = {
    {"geometry/1600 wide", "TMFilter.Scale.1", "MaximumHorizontalSize=1600,MaximumVerticalSize=10000"},
    {"geometry/twice as large", "TMFilter.Scale100.1", "HorizontalProz=200,VerticalProz=200"},
    {"geometry/turned by 7 degrees", "TMFilter.Rotate.1", "Angle=7.000"},
    {"geometry/quarter turn", "TMFilter.Rotate.1", "Angle=90.000"},
};

/// A mask for the picture: opaque in the middle, fading over a broad ring, nothing in the corners.
const Dib* BenchMask() {
    static const DibPtr mask = [] {
        const int width = BenchPicture()->biWidth, height = BenchPicture()->biHeight;
        DibPtr made(DibCreate(8, width, height));
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x) {
                const double across = 2.0 * x / width - 1, up = 2.0 * y / height - 1;
                const double fade = (across * across + up * up - 0.3) * 400;
                DibRow(made.get(), y)[x] = static_cast<std::uint8_t>(std::clamp(fade, 0.0, 255.0));
            }
        return made;
    }();
    return mask.get();
}

/// A filter over the opaque picture and over one with a mask.
void AddMaskWork(const std::string& name, const std::string& progId, const std::string& text) {
    for (const bool masked : {false, true}) {
        const auto line = std::make_shared<std::unique_ptr<BenchLine>>();
        Add("mask/" + name + (masked ? ", masked" : ""), [=] {
            if (!*line) {
                *line = std::make_unique<BenchLine>(masked ? BenchMask() : nullptr);
                (*line)->Add(*FindClass(progId), text);
            }
            (*line)->Render();
        });
    }
}

/// Ten filters whose parameters follow from a number.
std::string LongChainText(int number) {
    std::string text;
    for (int i = 0; i < 5; ++i) {
        text += "TMFilter.Exposure.1\tRed=0" + std::to_string(10 + number + i) + ",Green=020,Blue=-05\n";
        text += "TMFilter.Sepia.1\tSepia=0" + std::to_string(50 + number + i) + "\n";
    }
    return text;
}

}  // namespace

void AddFilters() {
    for (const ClassRow& row : ClassTable())
        if (row.IsFilter()) AddFilter(row);
    for (const auto& line : kEveryday) AddLine(line.name, *FindClass(line.filter), line.text);

    AddMaskWork("shadow of ten rounds", "TMFilter.Shadow.1", "ShadowDensity=070,ShadowBlur=050,ShadowDistance=012");
    AddMaskWork("inner shadow", "TMFilter.Shadow.1", "InnerOn=1,ShadowDensity=070,ShadowBlur=050,Size=004");
    AddMaskWork("relief", "TMFilter.Shadow.1", "LightIntensity=050");
    AddMaskWork("soft edge", "TMFilter.SoftFrame.1", "FrameWidth=60");
    AddMaskWork("flatten", "TMFilter.ImgBg.1", "Red=090,Green=150,Blue=210,Transparency=000");
    AddMaskWork("half a board", "TMFilter.ImgBg.1", "Red=090,Green=150,Blue=210,Transparency=050");
    AddMaskWork("invert the mask", "TMFilter.InvertMask.1", "Red=230,Green=200,Blue=120,Transparency=040");
    AddMaskWork("print pad", "TMFilter.PrintPad.1", "AspectRatioX=1, AspectRatioY=1, ForceRatio=0");

    const auto ten = std::make_shared<std::unique_ptr<BenchLine>>();
    Add("update/ten clean filters", [=] {
        if (!*ten) {
            *ten = std::make_unique<BenchLine>();
            for (int i = 0; i < 10; ++i)
                (*ten)->Add(*FindClass(std::string_view("TMFilter.Invert.1")), "Inversity=050");
            (*ten)->Update();
        }
        (*ten)->Update();
    });

    const auto chain = std::make_shared<Rendering>();
    const auto next = std::make_shared<bool>(false);
    const std::string texts[] = {LongChainText(0), LongChainText(1)};
    Add("chain/set a text of ten filters", [=] {
        *next = !*next;  // a text that is set already would be compared only
        if (chain->SetChainText(texts[*next])) throw std::runtime_error("the chain text was refused");
    });
}

}  // namespace kestrel::bench
