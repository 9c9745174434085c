#include "kestrel/framework/PdibFilter.h"

#include <array>
#include <limits>
#include <mutex>
#include <new>
#include <vector>

#include "kestrel/framework/DialogFactory.h"
#include "kestrel/framework/FilterInfo.h"
#include "kestrel/framework/LineEnds.h"
#include "kestrel/framework/ObjectFactory.h"
#include "kestrel/kernels/Convolve3x3.h"
#include "kestrel/kernels/Hsl.h"
#include "kestrel/parameters/ParameterText.h"

namespace kestrel {
namespace {

/// Guards the compare and increment of version numbers, for all filters of the process. Never held during a call.
std::mutex versionGuard;

}  // namespace

CPdibFilter::CPdibFilter(const Description& description)
    : m_ProgID(description.progId), m_Cost(description.cost), description_(description) {
    CPdibFilter::SetClassInfo(description.clsid);
}

CPdibFilter::~CPdibFilter() = default;

std::optional<RowSpan> CPdibFilter::InputRows(RowSpan output) const {
    if (description_.reach < 0) return std::nullopt;
    return output.Widened(description_.reach, m_InActive.Height);
}

void CPdibFilter::WorkInBands(bool bands) {
    if (inBands_ == bands) return;
    inBands_ = bands;
    m_Work.reset();
    m_Cache.reset();
    m_Dirty = true;
}

void CPdibFilter::SetOneShot(bool oneShot) {
    oneShot_ = oneShot;
    kestrel::SetOneShot(m_Upstream.get(), oneShot);
}

void CPdibFilter::ReleaseOutput() {
    m_Cache.reset();
    m_Dirty = true;
    kestrel::ReleaseOutput(m_Upstream.get());
}

// Identity

HRESULT CPdibFilter::GetProgID(char* buffer, int size) {
    if (m_ProgID.GetLength() < size)
        std::memcpy(buffer, static_cast<const char*>(m_ProgID), static_cast<std::size_t>(m_ProgID.GetLength()) + 1);
    else if (size > 0)
        *buffer = '\0';
    return S_OK;
}

HRESULT CPdibFilter::CreateFilterInfo(const GUID& iid, void** object) {
    const Ref<CFilterInfo> info(new CFilterInfo(&description_));
    return info->QueryInterface(iid, object);
}

HRESULT CPdibFilter::GetCost(int* cost) {
    *cost = m_Cost;
    return S_OK;
}

HRESULT CPdibFilter::GetFilterId(int* id) {
    *id = description_.id;
    return S_OK;
}

HRESULT CPdibFilter::CreateDialog(const GUID& iid, void** object) {
    *object = nullptr;
    const DialogFactory factory = GetDialogFactory();
    return factory ? factory(m_ProgID, iid, object) : E_NOINTERFACE;
}

HRESULT CPdibFilter::SetClassInfo(const GUID& clsid) {
    m_Clsid = clsid;
    if (const char* progId = ObjectFactory::Get().ProgIdOf(clsid)) m_ProgID = progId;
    return S_OK;
}

// Links

HRESULT CPdibFilter::QueryDownstream(const GUID& iid, void** object) {
    if (m_Downstream) return m_Downstream->QueryInterface(iid, object);
    *object = nullptr;
    return E_NOINTERFACE;
}

HRESULT CPdibFilter::QueryUpstream(const GUID& iid, void** object) {
    if (m_Upstream) return m_Upstream->QueryInterface(iid, object);
    *object = nullptr;
    return E_NOINTERFACE;
}

HRESULT CPdibFilter::SetDownstream(IUnknown* next) {
    m_Dirty = true;
    m_Downstream = Ref<IFilterGeometry>::Query(next);
    return m_Downstream ? m_Downstream->ConnectUpstream(static_cast<IFilterPixels*>(this)) : S_OK;
}

HRESULT CPdibFilter::SetUpstream(IUnknown* previous) {
    m_Dirty = true;
    m_Upstream = Ref<IFilterPixels>::Query(previous);
    return m_Upstream ? m_Upstream->ConnectDownstream(static_cast<IFilterGeometry*>(this)) : S_OK;
}

HRESULT CPdibFilter::ConnectUpstream(IUnknown* previous) {
    m_UpstreamDirty = true;
    m_Upstream = Ref<IFilterPixels>::Query(previous);
    return S_OK;
}

HRESULT CPdibFilter::ConnectDownstream(IUnknown* next) {
    m_UpstreamDirty = true;
    m_Downstream = Ref<IFilterGeometry>::Query(next);
    return S_OK;
}

// State

bool CPdibFilter::HasChanged() { return false; }

HRESULT CPdibFilter::CommitChanges() { return S_OK; }

void CPdibFilter::RebuildTables() {}

HRESULT CPdibFilter::Update(bool* changed, int* version, bool track) {
    if (m_Upstream) {
        int unseen = -1;
        m_Upstream->Update(&m_UpstreamDirty, track ? &m_UpstreamVersion : &unseen, track);
    }
    const bool geometryChanged = !(m_InPending == m_InActive);
    if (HasChanged() || geometryChanged) {
        SetViewSize(m_InPending.ViewWidth, m_InPending.ViewHeight);
        m_InActive = m_InPending;
        m_Out = m_InActive;
        CommitChanges();
        m_Dirty = true;
    }
    if (m_Downstream) {
        m_Downstream->SetSize(m_Out.Width, m_Out.Height);
        m_Downstream->SetFullSize(m_Out.FullWidth, m_Out.FullHeight);
        m_Downstream->SetOffset(m_Out.OffsetX, m_Out.OffsetY);
    }
    bool isNew = m_Dirty || m_UpstreamDirty;
    const std::lock_guard guard(versionGuard);
    if (isNew && *version == m_Version) ++m_Version;
    if (*version != m_Version) {
        isNew = true;
        *version = m_Version;
    }
    *changed = *changed || isNew;
    return S_OK;
}

HRESULT CPdibFilter::GetGeometry(int* width, int* height, int* offsetX, int* offsetY, int* fullWidth, int* fullHeight) {
    bool changed = false;
    int version = -1;
    Update(&changed, &version, false);
    *width = m_Out.Width;
    *height = m_Out.Height;
    *offsetX = m_Out.OffsetX;
    *offsetY = m_Out.OffsetY;
    *fullWidth = m_Out.FullWidth;
    *fullHeight = m_Out.FullHeight;
    return S_OK;
}

// Geometry, on its way downstream

HRESULT CPdibFilter::SetSize(int width, int height) {
    m_InPending.Width = width;
    m_InPending.Height = height;
    return S_OK;
}

HRESULT CPdibFilter::SetOffset(int x, int y) {
    m_InPending.OffsetX = x;
    m_InPending.OffsetY = y;
    return S_OK;
}

HRESULT CPdibFilter::SetFullSize(int width, int height) {
    m_InPending.FullWidth = width;
    m_InPending.FullHeight = height;
    return S_OK;
}

HRESULT CPdibFilter::SetViewSize(int width, int height) {
    m_InPending.ViewWidth = width;
    m_InPending.ViewHeight = height;
    return m_Downstream ? m_Downstream->SetViewSize(width, height) : S_OK;
}

HRESULT CPdibFilter::GetRequiredSize(int* width, int* height, double aspect) {
    int wantedWidth = -1;
    int wantedHeight = -1;
    if (m_Downstream) m_Downstream->GetRequiredSize(&wantedWidth, &wantedHeight, aspect);
    *width = -1;
    *height = -1;
    return wantedWidth > 0 && wantedHeight > 0 ? MapSize(wantedWidth, wantedHeight, width, height) : S_OK;
}

HRESULT CPdibFilter::MapSize(int width, int height, int* outWidth, int* outHeight) {
    *outWidth = width;
    *outHeight = height;
    return S_OK;
}

HRESULT CPdibFilter::SetRenderScale(double scale) {
    if (!IsRenderScale(scale)) return E_INVALIDARG;
    m_RenderScale = scale;
    return m_Downstream ? m_Downstream->SetRenderScale(scale) : S_OK;
}

HRESULT CPdibFilter::SetAnchor(int x, int y) {
    m_Anchor[0] = x;
    m_Anchor[1] = y;
    return m_Downstream ? m_Downstream->SetAnchor(x, y) : S_OK;
}

HRESULT CPdibFilter::GetAnchor(int* x, int* y) { return m_Downstream ? m_Downstream->GetAnchor(x, y) : S_OK; }

HRESULT CPdibFilter::BeginChange() { return m_Downstream ? m_Downstream->BeginChange() : S_OK; }

HRESULT CPdibFilter::EndChange() { return m_Downstream ? m_Downstream->EndChange() : S_OK; }

Ref<IFilterGeometry> CPdibFilter::PassDownstream() {
    if (m_Downstream) return m_Downstream;
    Ref<IFilterGeometry> next;
    return QueryDownstream(IFilterGeometry::kIid, next.Out()) == S_OK ? next : nullptr;
}

Ref<IFilterPixels> CPdibFilter::PassUpstream() {
    if (m_Upstream) return m_Upstream;
    Ref<IFilterPixels> previous;
    return QueryUpstream(IFilterPixels::kIid, previous.Out()) == S_OK ? previous : nullptr;
}

HRESULT CPdibFilter::PassAlong14(void* first, void* second) {
    const auto next = PassDownstream();
    return next ? next->PassAlong14(first, second) : S_OK;
}

HRESULT CPdibFilter::PassAlong15(void* value) {
    const auto next = PassDownstream();
    return next ? next->PassAlong15(value) : S_OK;
}

HRESULT CPdibFilter::PassAlong16(void* first, void* second, void* third) {
    const auto next = PassDownstream();
    return next ? next->PassAlong16(first, second, third) : S_OK;
}

HRESULT CPdibFilter::PassAlong17(void* value) {
    const auto next = PassDownstream();
    return next ? next->PassAlong17(value) : S_OK;
}

HRESULT CPdibFilter::PassAlong18(void* value) {
    const auto next = PassDownstream();
    return next ? next->PassAlong18(value) : S_OK;
}

// Pixels, on their way upstream

HRESULT CPdibFilter::TransformArea(int dstX, int dstY, int srcX, int srcY, int width, int height,
                                   std::uint8_t* const* rows, std::uint8_t* const* maskRows) {
    try {
        return MakePixels({dstX, dstY, srcX, srcY, std::max(width, 0), std::max(height, 0), rows, maskRows});
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

FilterResult CPdibFilter::MakePixels(const PixelRequest& request) {
    if (!m_Upstream) {
        m_Dirty = false;
        return E_FAIL;
    }
    const FilterResult result = FetchUpstream(request);
    m_Dirty = m_UpstreamDirty = result.Failed();
    return result;
}

FilterResult CPdibFilter::Finished(FilterResult result) {
    if (result.Ok())
        m_Dirty = m_UpstreamDirty = false;
    else
        m_Dirty = true;
    return result;
}

FilterResult CPdibFilter::FetchUpstream(const PixelRequest& request) {
    const HRESULT result =
        m_Upstream ? m_Upstream->TransformArea(request.dstX, request.dstY, request.srcX, request.srcY, request.width,
                                               request.height, request.rows, request.maskRows)
                   : E_FAIL;
    if (result != S_OK && !Aborted()) m_Dirty = true;
    return result;
}

const RowLender* CPdibFilter::LenderOf(const PixelRequest& request) const {
    const auto* const lender = dynamic_cast<const RowLender*>(m_Upstream.get());
    const std::int64_t first = request.srcY, last = first + request.height - 1;
    if (!lender || last < first || last > std::numeric_limits<int>::max()) return nullptr;
    const auto lends = [&](std::int64_t y) {
        return lender->Lend(request.srcX, static_cast<int>(y), request.width).pixels != nullptr;
    };
    return lends(first) && lends(last) ? lender : nullptr;
}

bool CPdibFilter::OutlivesCaches() const {
    constexpr std::int64_t kCaches = 32 << 20;
    return !inBands_ && !oneShot_ && std::int64_t{4} * m_Out.Width * m_Out.Height >= kCaches &&
           dynamic_cast<const LineSink*>(m_Downstream.get());
}

FilterResult CPdibFilter::FetchIntoWork(int cacheWidth, int cacheHeight) {
    EnsureImage(m_Work, m_InActive.Width, fetched_.count);
    EnsureImage(m_Cache, cacheWidth, cacheHeight);
    const FilterResult result = FetchRows(fetched_, *m_Work, 0, 0, true, NoWork());
    if (result.Ok()) ReleaseUpstream();
    return result;
}

HRESULT CPdibFilter::SetAbort(bool abort) {
    if (m_Upstream) m_Upstream->SetAbort(abort);
    m_Abort.Set(abort);
    return S_OK;
}

HRESULT CPdibFilter::TransformColor(unsigned char* pixel) {
    const auto previous = PassUpstream();
    return previous ? previous->TransformColor(pixel) : S_OK;
}

HRESULT CPdibFilter::SendEvent(void* event) {
    const auto previous = PassUpstream();
    return previous ? previous->SendEvent(event) : S_OK;
}

// Texts

HRESULT CPdibFilter::SetParameterText(const char*, int) { return S_OK; }

HRESULT CPdibFilter::GetParameterTextForSave(char* buffer, int size) {
    return WriteText("Generic Filter Parameter", buffer, size, 31);
}

HRESULT CPdibFilter::GetParameterText(char*, int) { return E_NOTIMPL; }

HRESULT CPdibFilter::SetExtraParameter(const char* key, const char* value) {
    m_Extra[key] = value;
    return S_OK;
}

HRESULT CPdibFilter::GetExtraParameter(const char* key, char* buffer, int size) {
    const auto found = m_Extra.find(key);
    return size < 1 || found == m_Extra.end() ? E_FAIL
                                              : WriteText(static_cast<const char*>(found->second), buffer, size, 1);
}

void CPdibFilter::RgbToHsl(std::uint8_t r, std::uint8_t g, std::uint8_t b, double* hue, double* lightness,
                           double* saturation) {
    const kernels::Hsl hsl = kernels::RgbToHsl(r, g, b);
    *hue = hsl.hue;
    *lightness = hsl.lightness;
    *saturation = hsl.saturation;
}

void CPdibFilter::HslToRgb(double hue, double lightness, double saturation, std::uint8_t* r, std::uint8_t* g,
                           std::uint8_t* b) {
    const kernels::Bgr bgr = kernels::HslToRgb(hue, lightness, saturation);
    *r = bgr.red;
    *g = bgr.green;
    *b = bgr.blue;
}

// Whole pictures

bool CPdibFilter::EnsureImage(std::unique_ptr<CWorkImage>& image, int width, int height) {
    if (width == 0 && height == 0) return false;
    if (image) {
        const std::int64_t asked = std::int64_t{width} * height;
        const std::int64_t area = std::int64_t{image->Width()} * image->Height();
        if (image->Width() < width || image->Height() < height || area / 4 > asked) image.reset();
    }
    if (image) return false;
    image = std::make_unique<CWorkImage>(width, height);
    return true;
}

void CPdibFilter::EnsureWorkImages(int workWidth, int workHeight, int cacheWidth, int cacheHeight) {
    EnsureImage(m_Work, workWidth, workHeight);
    if (EnsureImage(m_Cache, cacheWidth, cacheHeight)) m_Cache->Clear();  // what no input covers is nothing
}

PixelRequest CPdibFilter::InsideOutput(PixelRequest request) const {
    const bool starts = request.srcX >= 0 && request.srcY >= 0;
    request.width = starts ? std::min(request.width, m_Out.Width - request.srcX) : 0;
    request.height = starts ? std::min(request.height, m_Out.Height - request.srcY) : 0;
    return request;
}

FilterResult CPdibFilter::ConvolveRegion3x3(const double kernel[3][3], int bias, const PixelRequest& request) {
    return CachedByRows(request, [&](const auto& made) -> FilterResult {
        // The input goes so far above the output that no row is written over before all rows of a band that need it are
        // made, between two rows of nothing.
        const int count = fetched_.count;
        const int above = std::min(FetchedAtOnce(), count) + 2;
        EnsureImage(m_Cache, m_InActive.Width, above + count + 1);
        m_Cache->ClearRows(above - 1, 1);
        m_Cache->ClearRows(above + count, 1);
        const auto row = [this](int y) -> kernels::MaskedRow {
            const auto width = static_cast<std::size_t>(m_InActive.Width);
            return {{m_Cache->Rows()[y], width * 3}, {m_Cache->MaskRows()[y], width}};
        };
        const RowSpan wanted = WantedRows(request);
        const int last = std::clamp(wanted.End() - cachedFrom_, 0, count);
        int next = std::clamp(wanted.first - cachedFrom_, 0, last);
        std::vector<kernels::ConstMaskedRow> from;
        std::vector<kernels::MaskedRow> to;
        return FetchRows(fetched_, *m_Cache, 0, above, true, [&](int, int end) -> FilterResult {
            const int complete = std::min(end < count ? end - 1 : end, last);  // the others wait for an upper neighbour
            if (next >= complete) return kDone;
            from.clear();
            to.clear();
            for (int y = next - 1; y <= complete; ++y) from.push_back(row(above + y));
            for (; next < complete; ++next) {
                if (Aborted()) return kNotDone;
                to.push_back(row(next));
            }
            kernels::ConvolveRows3x3(kernel, bias, from, to);
            return made(next);
        });
    });
}

}  // namespace kestrel
