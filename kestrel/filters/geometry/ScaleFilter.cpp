#include "kestrel/filters/geometry/ScaleFilter.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "kestrel/filters/geometry/ExceptionGuards.h"
#include "kestrel/filters/geometry/SizeFrom.h"

namespace kestrel {
namespace {

constexpr ScaleParameters kNeverCommitted{1, false, -1, -1, false};

}  // namespace

CScaleFilter::CScaleFilter() : ScalingFilter(kNeverCommitted), committed_(kNeverCommitted) {}

// Texts

void CScaleFilter::ReadText(std::string_view text) {
    std::int32_t& proportions = Pending().proportions;
    proportions = std::min(proportions, 1);  // a text without the key stops the box from turning
    ScalingFilter::ReadText(text);
    if (proportions != 2) proportions = proportions >= 1 ? 1 : 0;
}

ScaleParameters CScaleFilter::Shown() const {
    ScaleParameters shown = Active();
    shown.scaleThrough = false;  // a matter of the pending record only
    return shown;
}

// Geometry

bool CScaleFilter::HasChanged() { return !Same(Pending(), committed_); }

HRESULT CScaleFilter::CommitChanges() {
    committed_ = Pending();
    const HRESULT result = ScalingFilter::CommitChanges();
    RecalcGeometry();
    SetViewSize(m_InActive.ViewWidth, m_InActive.ViewHeight);  // the box may be another one
    return result;
}

ScaleFactors CScaleFilter::FactorsFor(int width, int height, bool capX, bool capY) const {
    const ScaleParameters& p = Active();
    ScaleFactors factors{static_cast<double>(p.maximumWidth) / width, static_cast<double>(p.maximumHeight) / height};
    if (!p.allowEnlarge) {
        if (capX) factors.x = std::min(factors.x, 1.0);
        if (capY) factors.y = std::min(factors.y, 1.0);
    }
    if (p.proportions != 0) factors.x = factors.y = std::min(factors.x, factors.y);
    return factors;
}

void CScaleFilter::RecalcGeometry() {
    ScaleParameters& p = Active();
    const int width = m_InActive.Width;
    const int height = m_InActive.Height;
    const bool wideBox = p.maximumWidth > p.maximumHeight;
    const bool tallBox = p.maximumWidth < p.maximumHeight;
    if (p.proportions == 2 && ((wideBox && width < height) || (tallBox && width > height)))
        std::swap(p.maximumWidth, p.maximumHeight);

    ScaleFactors factors;
    int outWidth = 0;
    int outHeight = 0;
    if (width > 0 && height > 0) {
        // What is not reduced from a larger original may not be enlarged.
        factors =
            FactorsFor(width, height, p.maximumWidth > m_InActive.ViewWidth, p.maximumHeight > m_InActive.ViewHeight);
        outWidth = SizeFrom(std::floor(width * factors.x + 0.5));
        outHeight = SizeFrom(std::floor(height * factors.y + 0.5));
    }
    SetScaledGeometry(factors, outWidth, outHeight, p.maximumWidth > 0 && p.maximumHeight > 0);
}

HRESULT CScaleFilter::SetViewSize(int width, int height) {
    m_InPending.ViewWidth = width;
    m_InPending.ViewHeight = height;
    if (!m_Downstream) return S_OK;
    if (width < 1 || height < 1) return m_Downstream->SetViewSize(width, height);  // not said, and so passed on
    const ScaleFactors factors = FactorsFor(width, height, true, true);
    return m_Downstream->SetViewSize(SizeFrom(std::floor(width * factors.x + 0.5)),
                                     SizeFrom(std::floor(height * factors.y + 0.5)));
}

HRESULT CScaleFilter::GetRequiredSize(int* width, int* height, double aspect) {
    const ScaleParameters& p = Active();
    *width = p.maximumWidth;
    *height = p.maximumHeight;
    if (*width < 1 || *height < 1) {
        *width = *height = -1;
    } else if (p.proportions != 0 && aspect > 0) {
        if (*width >= *height * aspect)
            *width = std::max(1, SizeFrom(*height * aspect + 0.5));
        else
            *height = std::max(1, SizeFrom(*width / aspect + 0.5));
    }
    return S_OK;
}

HRESULT CScaleFilter::SetRenderScale(double scale) {
    if (!IsRenderScale(scale)) return E_INVALIDARG;
    return CPdibFilter::SetRenderScale(Pending().scaleThrough ? scale : 1.0);
}

// Pixels: resampled, or passed through when the size stays

std::optional<RowSpan> CScaleFilter::InputRows(RowSpan output) const {
    return IsPossible() && KeepsSize() ? output.Widened(0, m_InActive.Height) : ScalingFilter::InputRows(output);
}

bool CScaleFilter::IsOpaque() const { return KeepsSize() ? HasOpaqueInput() : ScalingFilter::IsOpaque(); }

FilterResult CScaleFilter::MakePixels(const PixelRequest& request) {
    if (!IsPossible()) return Finished(E_INVALIDARG);
    if (!KeepsSize())
        return Resampled(request, kernels::OpaqueSums::ShiftRows,
                         [](const auto& pass) { return GuardCalculate(__LINE__, pass); });
    m_Cache.reset();
    return CPdibFilter::MakePixels(request) == S_OK ? kDone : kNotDone;
}

}  // namespace kestrel
