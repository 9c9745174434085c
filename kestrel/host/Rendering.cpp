#include "kestrel/host/Rendering.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <new>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "kestrel/foundation/HelperThreads.h"
#include "kestrel/framework/Bands.h"
#include "kestrel/framework/IFilterObject.h"
#include "kestrel/framework/IFilterParameters.h"
#include "kestrel/framework/OneShot.h"
#include "kestrel/framework/PdibFilter.h"
#include "kestrel/framework/ZeroFilter.h"
#include "kestrel/host/BandWork.h"
#include "kestrel/server/ClassTable.h"
#include "kestrel/server/PdibFilterCreator.h"

namespace kestrel {
namespace {

constexpr const char* kFieldSeparator = "\t";
constexpr const char* kRecordSeparator = "\n";

constexpr std::uint64_t kBytesOfPixel = 4;  ///< three channels and the mask

/// Bytes of a picture; none for one without pixels.
std::uint64_t BytesOf(int width, int height) {
    return kBytesOfPixel * static_cast<std::uint64_t>(std::max(width, 0)) *
           static_cast<std::uint64_t>(std::max(height, 0));
}

/// May a filter have pictures of its own? Those that work in the rows of their request have none.
bool KeepsPictures(const std::string& progId) {
    const ClassRow* const row = FindClass(progId);
    return !row || !row->description->inPlace;
}

/// Text of a program's user, as a message can show it: in quotes, without control characters, of bounded length.
std::string Quoted(std::string_view text) {
    std::string quoted = "\"";
    for (const char c : text.substr(0, 60)) quoted += static_cast<unsigned char>(c) < ' ' ? '?' : c;
    return quoted + (text.size() > 60 ? "...\"" : "\"");
}

/// Why a line of a chain text cannot be used; empty when it can.
std::string FaultOf(std::string_view line, bool ended) {
    if (line.find('\0') != line.npos) return "it holds a zero byte";
    const std::size_t tab = line.find('\t');
    if (tab == line.npos) return fmt::format("there is no TAB between a ProgID and a parameter text: {}", Quoted(line));
    if (line.find('\t', tab + 1) != line.npos) return "it holds more than one TAB";
    const ClassRow* const row = FindClass(line.substr(0, tab));
    if (!row || !row->IsFilter()) return fmt::format("there is no filter {}", Quoted(line.substr(0, tab)));
    if (!ended) return "it does not end with a line feed, so it may be cut off";
    return "";
}

std::optional<ChainFault> FindFault(std::string_view text) {
    for (int line = 1; !text.empty(); ++line) {
        const std::size_t end = text.find('\n');
        const bool ended = end != text.npos;
        std::string reason = FaultOf(text.substr(0, end), ended);
        if (reason.empty() && line > Rendering::kMaximumFilters)
            reason = fmt::format("a chain holds at most {} filters", Rendering::kMaximumFilters);
        if (!reason.empty()) return ChainFault{line, reason};
        text.remove_prefix(ended ? end + 1 : text.size());
    }
    return std::nullopt;
}

std::string ProgIdOf(IFilterObject& filter) {
    char progId[200];
    filter.GetProgID(progId, sizeof progId);
    return progId;
}

/// Calls `own()` on this thread, and `help()` on up to `count` others. Returns when all are done.
template <class Help, class Own>
void RunBeside(int count, const Help& help, const Own& own) {
    std::vector<std::jthread> helpers;  // its end waits for theirs
    try {
        while (static_cast<int>(helpers.size()) < count) helpers.emplace_back(help);
    } catch (const std::system_error&) {  // the system allows no more threads
    }
    own();
}

/// Pointers to all rows of a block.
std::vector<std::uint8_t*> RowTable(Dib* dib) {
    std::vector<std::uint8_t*> rows;
    rows.reserve(static_cast<std::size_t>(dib->biHeight));
    for (int y = 0; y < dib->biHeight; ++y) rows.push_back(DibRow(dib, y));
    return rows;
}

}  // namespace

Rendering::Rendering()
    : creator_(new CPdibFilterCreator),
      chain_(new CPdibFilterChain),
      source_(new PictureSource),
      sink_(new PictureSink) {
    chain_->SetSource(source_.get());
    chain_->SetSink(sink_.get());
}

Rendering::~Rendering() = default;

// Chain

std::optional<ChainFault> Rendering::SetChainText(std::string_view text) {
    if (auto fault = FindFault(text)) return fault;
    const bool grows = !NamesTheFirstFilters(text);
    if (grows) {
        // After the last filter a record that names a filter of the chain would set that one instead of adding another.
        // With a filter at the end of a class that no text names every record meets a filter of its own number; the
        // records done, it stands after them and is cut off with the rest.
        const Ref<CZeroFilter> end(new CZeroFilter);
        chain_->RemoveFilter(kMaximumFilters - 1);  // makes room; a line that long is cut or made anew in any case
        chain_->InsertFilter(kMaximumFilters, static_cast<IFilterObject*>(end.get()));
    }
    chain_->SetChainText(std::string(text).c_str(), kFieldSeparator, kRecordSeparator, creator_.get());
    if (grows) chain_->RemoveFiltersByProgIDQuiet(kZero.progId);  // still there when a filter could not be made
    if (FilterCount() != std::count(text.begin(), text.end(), '\n')) throw std::bad_alloc();
    return std::nullopt;
}

bool Rendering::NamesTheFirstFilters(std::string_view text) const {
    for (int i = 0; !text.empty(); ++i) {
        Ref<IFilterObject> filter;
        if (chain_->GetFilter(i, IFilterObject::kIid, filter.Out()) != S_OK) return false;
        if (ProgIdOf(*filter) != text.substr(0, text.find('\t'))) return false;
        text.remove_prefix(text.find('\n') + 1);
    }
    return true;
}

HRESULT Rendering::AddFilter(const char* progId, const char* text) {
    if (FilterCount() >= kMaximumFilters) return E_FAIL;
    Ref<IFilterObject> filter;
    if (const HRESULT made = creator_->CreateFilter(progId, IFilterObject::kIid, filter.Out()); made != S_OK)
        return made;
    if (text) {
        if (const auto parameters = Ref<IFilterParameters>::Query(filter.get())) parameters->SetParameterText(text, 1);
    }
    return chain_->AddFilter(filter.get());
}

std::string Rendering::ChainText(bool active) const {
    for (int size = 1 << 16;; size *= 4) {
        std::string text(static_cast<std::size_t>(size), '\0');
        if (chain_->GetChainText(text.data(), size, kFieldSeparator, kRecordSeparator, active) == S_OK) {
            text.resize(text.find('\0'));
            return text;
        }
        if (size > std::numeric_limits<int>::max() / 4) throw std::bad_alloc();
    }
}

int Rendering::FilterCount() const {
    int count = 0;
    chain_->GetFilterCount(&count);
    return count;
}

// Picture

HRESULT Rendering::SetPicture(Picture picture) {
    if (!picture.image || DibBitsPerPixel(picture.image.get()) != 24) return E_INVALIDARG;
    if (const Dib* const mask = picture.mask.get();
        mask && (DibBitsPerPixel(mask) != 8 || mask->biWidth != picture.Width() || mask->biHeight != picture.Height()))
        return E_INVALIDARG;
    picture_ = std::move(picture);
    source_->SetPicture(picture_.image.get(), picture_.mask.get());
    return S_OK;
}

HRESULT Rendering::SetPictureSize(int width, int height, bool hasMask) {
    if (width < 1 || height < 1) return E_INVALIDARG;
    picture_ = {};
    source_->SetRows({.width = width, .height = height, .hasMask = hasMask});
    return S_OK;
}

HRESULT Rendering::SetRenderScale(double scale) {
    if (!CPdibFilter::IsRenderScale(scale)) return E_INVALIDARG;
    if (scale == renderScale_) return S_OK;
    renderScale_ = scale;
    source_->SetRows(source_->Rows());  // what was made at another scale is out of date
    return S_OK;
}

HRESULT Rendering::SetThreads(int threads) {
    if (threads < 1) return E_INVALIDARG;
    threads_ = threads;
    return S_OK;
}

void Rendering::SetViewSize(int width, int height) {
    viewWidth_ = width;
    viewHeight_ = height;
    sink_->SetWantedSize(width, height);
    source_->SetRows(source_->Rows());  // sizes may follow the view
}

void Rendering::Update() {
    source_->Downstream()->SetRenderScale(renderScale_);
    if (viewWidth_ > 0 && viewHeight_ > 0) source_->Downstream()->SetViewSize(viewWidth_, viewHeight_);
    bool changed = false;
    sink_->Upstream()->Update(&changed, &version_, true);
}

void Rendering::GetOutputSize(int* width, int* height) {
    Update();
    *width = sink_->Geometry().Width;
    *height = sink_->Geometry().Height;
}

std::vector<LinkGeometry> Rendering::LinkGeometries() {
    Update();
    std::vector<LinkGeometry> links;
    Ref<IFilterPixels> link(sink_->Upstream());
    while (link) {
        LinkGeometry output;
        FilterGeometry& g = output.geometry;
        if (const auto* known = dynamic_cast<const CPdibFilter*>(link.get()))
            g = known->OutputGeometry();  // up to date; `GetGeometry` would have the whole line made again
        else
            link->GetGeometry(&g.Width, &g.Height, &g.OffsetX, &g.OffsetY, &g.FullWidth, &g.FullHeight);
        const auto filter = Ref<IFilterObject>::Query(link.get());
        Ref<IFilterPixels> previous;
        if (filter) {
            output.progId = ProgIdOf(*filter);
            if (filter->QueryUpstream(IFilterPixels::kIid, previous.Out()) != S_OK) previous = nullptr;
        }
        links.push_back(output);
        link = previous;
    }
    std::reverse(links.begin(), links.end());
    return links;
}

void Rendering::GetViewSize(int* width, int* height) {
    Update();
    *width = sink_->Geometry().ViewWidth;
    *height = sink_->Geometry().ViewHeight;
}

void Rendering::GetRequiredSize(int* width, int* height) {
    Update();
    const RowWindow& picture = source_->Rows();
    const bool there = picture.width > 0 && picture.height > 0;
    const double aspect = there ? static_cast<double>(picture.width) / picture.height : 1.0;
    source_->Downstream()->GetRequiredSize(width, height, aspect);
}

bool Rendering::MakesTheSameOf(int width, int height) {
    const std::vector<LinkGeometry> before = LinkGeometries();
    if (SetPictureSize(width, height, source_->Rows().hasMask) != S_OK) return false;
    const std::vector<LinkGeometry> after = LinkGeometries();
    for (std::size_t i = 1; i < before.size(); ++i) {
        if (before[i].geometry == after[i].geometry) return true;
        const ClassRow* const row = FindClass(before[i].progId);
        if (!row || row->description->lengths != Lengths::None) return false;
    }
    return false;
}

std::int64_t Rendering::LargestPixelCount() {
    std::int64_t largest = std::int64_t{source_->Rows().width} * source_->Rows().height;
    for (const LinkGeometry& link : LinkGeometries())
        largest = std::max(largest, std::int64_t{link.geometry.Width} * link.geometry.Height);
    return largest;
}

std::uint64_t Rendering::MemoryOfWhole() {
    const auto bytesOf = [](const FilterGeometry& g) { return BytesOf(g.Width, g.Height); };
    const std::vector<LinkGeometry> links = LinkGeometries();
    std::uint64_t kept = bytesOf(links.front().geometry) + bytesOf(links.back().geometry), largestWork = 0;
    for (std::size_t i = 1; i < links.size(); ++i) {
        if (!KeepsPictures(links[i].progId)) continue;
        kept += bytesOf(links[i].geometry);
        largestWork = std::max(largestWork, bytesOf(links[i - 1].geometry));
    }
    return kept + largestWork;
}

std::uint64_t Rendering::MemoryOfRows() {
    int width = 0, height = 0;
    GetOutputSize(&width, &height);
    if (width < 1 || height < 1 || !ServesRows()) return 0;
    if (!NeedsWholePicture().empty()) return MemoryOfWhole() - BytesOf(width, height);
    const std::vector<BandPipeline::Band> bands = BandsOf({0, height}, width, 0, false);
    const std::vector<LinkGeometry> links = LinkGeometries();
    const RowWindow picture = source_->Rows();
    const auto threads = static_cast<std::uint64_t>(threads_);
    std::uint64_t finished = 0, atWork = 0;
    for (const BandPipeline::Band& band : bands) {
        finished = std::max(finished, BytesOf(width, band.output.count));
        atWork = std::max(atWork, MemoryOfBand(links, band.output));
    }
    return BytesOf(picture.width, BandPipeline::RowsToKeep(bands, threads_, picture.height)) +
           (threads + 1) * finished + threads * atWork;
}

std::uint64_t Rendering::MemoryOfBand(const std::vector<LinkGeometry>& links, RowSpan rows) const {
    std::uint64_t bytes = 0;
    auto link = links.end();
    EachFilterUpstream([&](CPdibFilter& filter) {
        --link;
        const RowSpan from = filter.InputRows(rows).value_or(RowSpan{});
        if (KeepsPictures(link->progId))
            bytes += BytesOf(link->geometry.Width, rows.count) + BytesOf((link - 1)->geometry.Width, from.count);
        rows = from;
        return true;
    });
    return bytes;
}

// Output

bool Rendering::WorksInPlace() const {
    const FilterGeometry& out = sink_->Geometry();
    if (out.Width != picture_.Width() || out.Height != picture_.Height()) return false;
    return EveryFilter([](const Description& description) { return description.inPlace; });
}

bool Rendering::EveryFilter(bool (*test)(const Description&)) const {
    for (int i = 0, count = FilterCount(); i < count; ++i) {
        Ref<IFilterObject> filter;
        chain_->GetFilter(i, IFilterObject::kIid, filter.Out());
        const ClassRow* const row = FindClass(ProgIdOf(*filter));
        if (!row || !test(*row->description)) return false;
    }
    return true;
}

template <class Work>
FilterResult Rendering::Bounded(const Work& work) {
    if (aborted_) return S_FALSE;
    try {
        return work();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

FilterResult Rendering::RenderInto(Picture& result, bool inBands) {
    const auto rows = RowTable(result.image.get());
    const auto maskRows = RowTable(result.mask.get());
    const auto ask = [&](const Rendering& line, int first, int count) {
        return Bounded([&] {
            return line.sink_->Upstream()->TransformArea(0, first, 0, first, result.Width(), count, rows.data(),
                                                         maskRows.data());
        });
    };
    const int rowsAtOnce = inBands ? BandHeight({0, result.Height()}, result.Width())
                                   : RowsAtOnce(sink_->Upstream(), result.Width(), result.Height());
    const bool whole = !inBands && rowsAtOnce >= result.Height();
    BandWork work(result.Height(), rowsAtOnce);
    const int helperCount = whole ? 0 : HelperCount(work.Count(), inBands);
    const HelperThreads passes(helperCount == 0 ? threads_ : 1);
    if (whole) return ask(*this, 0, result.Height());

    WithHelpers(helperCount, inBands, [&](const Rendering& line) {
        work.Take([&](int first, int count) { return ask(line, first, count); });
    });
    return work.Result();
}

template <class Work>
void Rendering::WithHelpers(int count, bool inBands, const Work& work) {
    const std::string pending = count > 0 ? ChainText(false) : "";
    const std::string active = count > 0 ? ChainText(true) : "";
    const auto help = [&] {
        try {
            Rendering line;
            if (!line.Follow(*this, pending, active)) return;
            line.WorkInBands(inBands);
            work(line);
        } catch (const std::bad_alloc&) {  // the others do its bands
        }
    };
    RunBeside(count, help, [&] { work(*this); });
}

int Rendering::HelperCount(int bands, bool inBands) const {
    constexpr int kBandsPerThread = 4;  // fewer are made before a thread has its line
    if (threads_ == 1 || FilterCount() == 0 || !CanBeFollowed() || (inBands && servedByHost_)) return 0;
    const bool rowByRow = inBands || EveryFilter([](const Description& description) {
                              return description.inPlace && !description.measuresRequest;
                          });
    return rowByRow ? std::clamp(bands / kBandsPerThread - 1, 0, threads_ - 1) : 0;
}

bool Rendering::CanBeFollowed() const {
    constexpr int kLongChain = 250;  // a thread's stack may be as small as half a megabyte
    return FilterCount() <= kLongChain && ServesOwnPicture();
}

bool Rendering::ServesOwnPicture() const {
    if (FilterCount() == 0) return Ref<IFilterPixels>(sink_->Upstream()).get() == source_.get();
    Ref<IFilterObject> first;
    Ref<IFilterPixels> head;
    chain_->GetFilter(0, IFilterObject::kIid, first.Out());
    return first && first->QueryUpstream(IFilterPixels::kIid, head.Out()) == S_OK && head.get() == source_.get();
}

bool Rendering::Follow(const Rendering& other, const std::string& pending, const std::string& active) {
    if (SetChainText(pending)) return false;
    renderScale_ = other.renderScale_;
    viewWidth_ = other.viewWidth_;
    viewHeight_ = other.viewHeight_;
    sink_->SetWantedSize(viewWidth_, viewHeight_);
    source_->SetRows(other.source_->Rows());
    Update();
    return ChainText(true) == active;
}

HRESULT Rendering::Render(Picture& result) { return RenderWhole(result, false); }

HRESULT Rendering::RenderWhole(Picture& result, bool inBands) {
    return Bounded([&] {
        result = {};
        int width = 0, height = 0;
        GetOutputSize(&width, &height);
        if (width <= 0 || height <= 0) return E_INVALIDARG;
        Picture made = MakePicture(width, height);
        if (!made.image) return E_OUTOFMEMORY;
        const HRESULT done = RenderInto(made, inBands);
        if (done == S_OK) result = std::move(made);
        return done;
    });
}

HRESULT Rendering::RenderAndRelease(Picture& result) {
    const FilterResult rendered = Bounded([&] {
        Update();
        return picture_.image && WorksInPlace() ? RenderInPlace(result) : RenderOnce(result);
    });
    picture_ = {};
    source_->SetPicture(nullptr, nullptr);
    return rendered;
}

/// Makes the output in the input's rows. Each filter asks upstream once, with the request as it stands, before it
/// touches a row: the source meets its own rows as the destination while they still are the input picture.
HRESULT Rendering::RenderInPlace(Picture& result) {
    result = {};
    if (!picture_.mask) picture_.mask.reset(DibCreate(8, picture_.Width(), picture_.Height()));
    if (!picture_.mask) return E_OUTOFMEMORY;
    const HRESULT done = RenderInto(picture_, false);
    if (done == S_OK) result = std::move(picture_);
    return done;
}

/// Has the line's filters work for a rendering that asks for each row once: in bands, where no filter has to keep a
/// picture, or else so that each picture is dropped, the input first and with `release`, once the next filter has used
/// it.
class Rendering::Once {
public:
    Once(Rendering& line, bool inBands, std::function<void()> release) : line_(line), last_(line.sink_->Upstream()) {
        if (inBands) {
            line.WorkInBands(true);
        } else {
            kestrel::SetOneShot(last_.get(), true);
            line.source_->OnRelease(std::move(release));
        }
    }
    ~Once() {
        line_.WorkInBands(false);
        kestrel::ReleaseOutput(last_.get());
        kestrel::SetOneShot(last_.get(), false);
        line_.source_->OnRelease(nullptr);
    }
    Once(const Once&) = delete;
    Once& operator=(const Once&) = delete;

private:
    Rendering& line_;
    const Ref<IFilterPixels> last_;
};

HRESULT Rendering::RenderOnce(Picture& result) {
    const bool inBands = NeedsWholePicture().empty();
    const Once once(*this, inBands, [this] { picture_ = {}; });
    return RenderWhole(result, inBands);
}

// Rows

template <class Visit>
bool Rendering::EachFilterUpstream(const Visit& visit) const {
    Ref<IFilterPixels> link(sink_->Upstream());
    while (link && link.get() != source_.get()) {
        auto* const filter = dynamic_cast<CPdibFilter*>(link.get());
        Ref<IFilterPixels> previous;
        if (!filter || !visit(*filter) || filter->QueryUpstream(IFilterPixels::kIid, previous.Out()) != S_OK)
            return false;
        link = previous;
    }
    return link != nullptr;
}

std::string Rendering::NeedsWholePicture() {
    Update();
    std::string needs;
    const bool ours = EachFilterUpstream([&](CPdibFilter& filter) {
        if (!filter.InputRows({0, filter.OutputGeometry().Height})) needs = ProgIdOf(filter);
        return true;
    });
    return ours || !needs.empty() ? needs : "the host's own link";
}

bool Rendering::ServesRows() { return NeedsWholePicture().empty() || ServesBands(sink_->Upstream()); }

void Rendering::WorkInBands(bool bands) {
    EachFilterUpstream([bands](CPdibFilter& filter) {
        filter.WorkInBands(bands);
        return true;
    });
}

RowSpan Rendering::InputRows(RowSpan output, std::vector<int>* kept) const {
    std::size_t number = 0;
    EachFilterUpstream([&](CPdibFilter& filter) {
        output = filter.InputRows(output).value_or(RowSpan{});
        if (kept && filter.KeepsRows()) {
            int& lowest = (*kept)[number];
            const int end = std::min(output.End(), lowest);
            lowest = std::min(output.first, end);
            output = {lowest, end - lowest};
        }
        ++number;
        return output.count > 0;
    });
    return output;
}

bool Rendering::MakesBandsInOrder() const {
    bool inOrder = false;
    EachFilterUpstream([&inOrder](const CPdibFilter& filter) {
        inOrder = inOrder || filter.KeepsRows();
        return true;
    });
    return inOrder;
}

int Rendering::BandHeight(RowSpan rows, int width) const {
    constexpr double kSharedPart = 8;
    // Rows of the input for a row of the output, at least one, and those more that it shares with its neighbours.
    const double each = std::max(static_cast<double>(InputRows(rows).count) / rows.count, 1.0);
    const double shared = MakesBandsInOrder() ? 0 : InputRows({rows.first + rows.count / 2, 1}).count - each;
    const double inCache = std::min<double>(BandRows(width), BandRows(source_->Rows().width) / each);
    return static_cast<int>(std::clamp<double>(std::max(inCache, shared / each * kSharedPart), 1, rows.count));
}

/// Bands from the top.
std::vector<BandPipeline::Band> Rendering::BandsOf(RowSpan rows, int width, int bandRows, bool ofWhole) const {
    if (bandRows < 1) bandRows = ofWhole ? BandRows(width) : BandHeight(rows, width);
    std::vector<BandPipeline::Band> bands;
    std::vector<int> kept(static_cast<std::size_t>(FilterCount()), std::numeric_limits<int>::max());
    int lowest = source_->Rows().height;
    for (int top = rows.End(); top > rows.first; top -= std::min(bandRows, top - rows.first)) {
        const int first = std::max(top - bandRows, rows.first);
        const RowSpan band{first, top - first};
        RowSpan input = ofWhole ? RowSpan{0, source_->Rows().height} : InputRows(band, &kept);
        if (input.count == 0) input.first = lowest;  // of rows that are kept
        lowest = input.first;
        bands.push_back({band, input});
    }
    return bands;
}

HRESULT Rendering::RenderRows(RowSpan rows, const RowFeed& feed, const RowTaker& take, int bandRows) {
    return Bounded([&]() -> FilterResult {
        int width = 0, height = 0;
        GetOutputSize(&width, &height);
        const RowWindow picture = source_->Rows();
        if (width < 1 || rows.first < 0 || rows.count < 1 || rows.count > height - rows.first) return E_INVALIDARG;
        if (picture.width < 1 || !ServesRows()) return E_INVALIDARG;
        const bool inBands = NeedsWholePicture().empty();
        BandPipeline pipeline(picture, BandsOf(rows, width, bandRows, !inBands), width, threads_);
        pipeline.SetEnds(feed, take);
        const struct Scope {
            Rendering& line;
            const RowWindow picture;
            ~Scope() { line.source_->SetRows(picture.pixels && !line.picture_.image ? RowWindow() : picture); }
        } scope{*this, picture};
        source_->SetRows(pipeline.Rows());
        Update();
        const Once once(*this, inBands, [&] {
            picture_ = {};
            pipeline.DropInput();
        });
        return RunBands(pipeline, width, inBands);
    });
}

FilterResult Rendering::RunBands(BandPipeline& pipeline, int width, bool inBands) {
    const auto makes = [&](const Rendering& line) {
        return [&](RowSpan band, std::uint8_t* const* rows, std::uint8_t* const* masks) -> FilterResult {
            if (aborted_) return S_FALSE;
            return line.sink_->Upstream()->TransformArea(0, 0, 0, band.first, width, band.count, rows, masks);
        };
    };
    if (inBands && !MakesBandsInOrder()) {
        WithHelpers(CanBeFollowed() && !servedByHost_ ? threads_ - 1 : 0, true,
                    [&](const Rendering& line) { pipeline.Work(makes(line)); });
    } else {
        constexpr int kEnds = 2;  // one thread reads, one writes
        const HelperThreads passes(inBands ? threads_ - kEnds : threads_);
        RunBeside(
            std::min(threads_ - 1, kEnds), [&] { pipeline.Work({}); }, [&] { pipeline.Work(makes(*this), true); });
    }
    return pipeline.Result();
}

HRESULT Rendering::TransformColor(std::uint8_t* pixel) {
    return Bounded([&] {
        Update();
        return sink_->Upstream()->TransformColor(pixel);
    });
}

void Rendering::SetAbort(bool abort) {
    aborted_ = abort;
    sink_->Upstream()->SetAbort(abort);
}

}  // namespace kestrel
