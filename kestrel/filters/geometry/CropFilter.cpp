#include "kestrel/filters/geometry/CropFilter.h"

#include <algorithm>
#include <cmath>

#include "kestrel/filters/geometry/SizeFrom.h"

namespace kestrel {
namespace {

constexpr int kNoLimit = 32767;         // answer of `MapSize` for a size without limit
constexpr double kMinimumSpan = 0.001;  // of the picture, where a size is divided by it

int Rounded(double value) { return SizeFrom(std::floor(value + 0.5)); }

double SpanX(const CropRecord& r) { return std::max(r.right - r.left, kMinimumSpan); }
double SpanY(const CropRecord& r) { return std::max(r.top - r.bottom, kMinimumSpan); }

/// The active record of a fresh filter: no dialog has set its size.
CropRecord NeverCommitted() {
    CropRecord record;
    record.dialogWidth = record.dialogHeight = 0;
    return record;
}

}  // namespace

CCropFilter::CCropFilter() : TwinFilter(NeverCommitted()) {}

std::optional<RowSpan> CCropFilter::InputRows(RowSpan output) const {
    const int bottom = SizeFrom(static_cast<double>(output.first) + OriginY());
    return RowSpan{bottom, output.count}.Widened(0, m_InActive.Height);
}

int CCropFilter::OriginX() const {
    return std::min(Rounded(m_InActive.Width * Active().left), m_InActive.Width - m_Out.Width);
}
int CCropFilter::OriginY() const {
    return std::min(Rounded(m_InActive.Height * Active().bottom), m_InActive.Height - m_Out.Height);
}

int CCropFilter::CutWidth(int width) const { return Rounded(width * (Active().left + 1 - Active().right)); }
int CCropFilter::CutHeight(int height) const { return Rounded(height * (Active().bottom + 1 - Active().top)); }

HRESULT CCropFilter::CommitChanges() {
    FitRatio(Pending(), m_InActive.Width, m_InActive.Height);
    const HRESULT result = TwinFilter::CommitChanges();
    const auto rest = [](int size, int cut) { return SizeFrom(std::max(1.0, static_cast<double>(size) - cut)); };
    m_Out = FilterGeometry{};
    m_Out.Width = m_Out.FullWidth = rest(m_InActive.Width, CutWidth(m_InActive.Width));
    m_Out.Height = m_Out.FullHeight = rest(m_InActive.Height, CutHeight(m_InActive.Height));
    SetViewSize(m_InActive.ViewWidth, m_InActive.ViewHeight);  // the margins may be others
    return result;
}

HRESULT CCropFilter::MapSize(int width, int height, int* outWidth, int* outHeight) {
    *outWidth = Active().shrinkAlpha ? kNoLimit : Rounded(width / SpanX(Active()));
    *outHeight = Active().shrinkAlpha ? kNoLimit : Rounded(height / SpanY(Active()));
    return S_OK;
}

HRESULT CCropFilter::SetViewSize(int width, int height) {
    m_InPending.ViewWidth = width;
    m_InPending.ViewHeight = height;
    if (!m_Downstream) return S_OK;
    if (width < 1 || height < 1) return m_Downstream->SetViewSize(width, height);  // not said, and so passed on
    return m_Downstream->SetViewSize(width - CutWidth(width), height - CutHeight(height));
}

HRESULT CCropFilter::GetRequiredSize(int* width, int* height, double aspect) {
    int wantedWidth = -1;
    int wantedHeight = -1;
    *width = *height = -1;
    if (!m_Downstream) return S_OK;
    const HRESULT result =
        m_Downstream->GetRequiredSize(&wantedWidth, &wantedHeight, aspect * SpanX(Active()) / SpanY(Active()));
    return result < 0 || wantedWidth < 1 || wantedHeight < 1 ? S_OK : MapSize(wantedWidth, wantedHeight, width, height);
}

FilterResult CCropFilter::MakePixels(const PixelRequest& request) {
    const CropRecord& r = Active();
    // Margins that are crossed leave no picture; equal ones leave a pixel, which the clamps keep inside the input.
    const bool crossed = r.right < r.left || r.top < r.bottom;
    if (crossed || m_InActive.Width < 1 || m_InActive.Height < 1) return Finished(E_INVALIDARG);
    PixelRequest moved = request;
    moved.srcX = SizeFrom(static_cast<double>(request.srcX) + OriginX());
    moved.srcY = SizeFrom(static_cast<double>(request.srcY) + OriginY());
    return Finished(m_Upstream && FetchUpstream(moved) != S_OK ? kNotDone : kDone);
}

}  // namespace kestrel
