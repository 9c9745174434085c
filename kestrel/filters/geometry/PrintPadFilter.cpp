#include "kestrel/filters/geometry/PrintPadFilter.h"

#include <algorithm>
#include <utility>

#include "kestrel/filters/geometry/SizeFrom.h"
#include "kestrel/kernels/Composite.h"

namespace kestrel {
HRESULT CPrintPadFilter::CommitChanges() {
    committed_ = Pending();
    const std::int32_t copies = Active().copies;
    const HRESULT result = TwinFilter::CommitChanges();
    PrintPadRecord& r = Active();
    r.copies = copies;  // stays with the pending record

    const int width = m_InActive.Width;
    const int height = m_InActive.Height;
    if (r.forceRatio && width != height) r.landscape = width > height;
    double numerator = r.aspectRatioX;
    double denominator = r.aspectRatioY;
    const bool disagree = r.landscape ? numerator < denominator : numerator > denominator;
    if (disagree != r.toggle) std::swap(numerator, denominator);
    const double ratio = numerator / denominator;

    if (r.forceRatio && width > 0 && height > 0) {
        if (static_cast<double>(width) / height < ratio)
            m_Out.Width = SizeFrom(height * ratio);
        else
            m_Out.Height = SizeFrom(width / ratio);
    }
    m_Out.FullWidth = m_Out.Width;
    m_Out.FullHeight = m_Out.Height;
    m_Cache.reset();
    return result;
}

FilterResult CPrintPadFilter::MakePixels(const PixelRequest& request) {
    if (m_InActive.Width < 1 || m_InActive.Height < 1) return Finished(E_INVALIDARG);
    return CachedWhole(request, [this] { return Pad(); });
}

FilterResult CPrintPadFilter::Pad() {
    if (const FilterResult result = FetchPadded(); result.Failed()) return result;
    const auto color = static_cast<std::uint32_t>(Active().padColor);
    const kernels::Bgr pad{static_cast<std::uint8_t>(color), static_cast<std::uint8_t>(color >> 8),
                           static_cast<std::uint8_t>(color >> 16)};
    return WalkRows(CachedPixels(m_Out.Width, m_Out.Height),
                    [&pad](std::span<std::uint8_t> pixels, std::span<std::uint8_t> mask) {
                        kernels::PaintInnerRow({pixels, mask}, pad, 0);  // an opaque board
                    });
}

FilterResult CPrintPadFilter::FetchPadded() {
    EnsureWorkImages(0, 0, m_Out.Width, m_Out.Height);
    m_Cache->Clear();
    const int padX = (m_Out.Width - m_InActive.Width) / 2;
    const int padY = (m_Out.Height - m_InActive.Height) / 2;
    // Rounding may leave the result a pixel short.
    const int cutX = std::max(-padX, 0);
    const int cutY = std::max(-padY, 0);
    const int width = std::min(m_InActive.Width - cutX, m_Out.Width - (padX + cutX));
    const int height = std::min(m_InActive.Height - cutY, m_Out.Height - (padY + cutY));
    return FetchUpstream({padX + cutX, padY + cutY, cutX, cutY, std::max(width, 0), std::max(height, 0),
                          m_Cache->Rows(), m_Cache->MaskRows()});
}

}  // namespace kestrel
