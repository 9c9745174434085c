#include "kestrel/filters/geometry/Scale100Filter.h"

#include <algorithm>

#include "kestrel/filters/geometry/SizeFrom.h"

namespace kestrel {
namespace {

ScaleFactors FactorsOf(const Scale100Parameters& p) {
    ScaleFactors factors{p.percentX / 100.0, p.percentY / 100.0};
    if (!p.allowEnlarge) factors = {std::min(factors.x, 1.0), std::min(factors.y, 1.0)};
    if (p.keepProportions) factors.x = factors.y = std::min(factors.x, factors.y);
    return factors;
}

/// A scaled length, never less than a pixel.
int Scaled(int size, double factor) { return SizeFrom(std::max(1.0, size * factor + 0.5)); }

/// What `percent` of is `size`.
int Unscaled(int size, int percent) {
    return SizeFrom(static_cast<double>(std::max<std::int64_t>(std::int64_t{size} * 100 / percent, 1)));
}

}  // namespace

HRESULT CScale100Filter::CommitChanges() {
    const HRESULT result = ScalingFilter::CommitChanges();
    RecalcGeometry();
    SetViewSize(m_InActive.ViewWidth, m_InActive.ViewHeight);  // the factors may be others
    return result;
}

void CScale100Filter::RecalcGeometry() {
    const ScaleFactors factors = FactorsOf(Active());
    SetScaledGeometry(factors, Scaled(m_InActive.Width, factors.x), Scaled(m_InActive.Height, factors.y),
                      Active().percentX > 0 && Active().percentY > 0);
}

HRESULT CScale100Filter::SetViewSize(int width, int height) {
    m_InPending.ViewWidth = width;
    m_InPending.ViewHeight = height;
    if (!m_Downstream) return S_OK;
    if (width < 1 || height < 1) return m_Downstream->SetViewSize(width, height);  // not said, and so passed on
    const ScaleFactors factors = FactorsOf(Active());
    return m_Downstream->SetViewSize(Scaled(width, factors.x), Scaled(height, factors.y));
}

HRESULT CScale100Filter::GetRequiredSize(int* width, int* height, double aspect) {
    const HRESULT result = CPdibFilter::GetRequiredSize(width, height, aspect);
    const Scale100Parameters& p = Active();
    if (*width >= 1 && *height >= 1 && p.percentX > 0 && p.percentY > 0) {
        *width = Unscaled(*width, p.percentX);
        *height = Unscaled(*height, p.percentY);
    }
    return result;
}

FilterResult CScale100Filter::MakePixels(const PixelRequest& request) {
    if (!IsPossible()) return Finished(E_INVALIDARG);
    return Resampled(request, kernels::OpaqueSums::ShiftProducts, [](const auto& pass) { return pass(); });
}

}  // namespace kestrel
