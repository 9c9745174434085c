#include "kestrel/filters/composition/RauchglasFilter.h"

#include "kestrel/kernels/ByteTable.h"
#include "kestrel/kernels/Composite.h"
#include "kestrel/kernels/ConvolutionKernels.h"

namespace kestrel {
namespace {

/// The columns or rows of a request that the pane covers.
struct Span {
    int from;
    int size;  ///< 0 when the pane has no area
};

/// A pane of `percent` of `whole` pixels, moved by `position` percent of the room that it has.
Span PaneSpan(int whole, std::int32_t percent, std::int32_t position) {
    const std::int64_t size = std::int64_t{percent} * whole / 100;
    std::int64_t from = 0;
    const std::int64_t room = (whole - size) / 2;
    if (__builtin_mul_overflow(room, std::int64_t{position} + 100, &from))  // far outside, on the side of the sign
        from = (room < 0) == (position < -100) ? std::numeric_limits<std::int64_t>::max()
                                               : std::numeric_limits<std::int64_t>::min();
    from /= 100;
    const std::int64_t last = std::min<std::int64_t>(from + size - 1, whole - 1);
    from = std::max<std::int64_t>(from, 0);
    return last < from ? Span{0, 0} : Span{static_cast<int>(from), static_cast<int>(last - from + 1)};
}

kernels::ByteTable PaneTable(std::uint8_t colour, std::int64_t alpha) {
    kernels::ByteTable table;
    for (int byte = 0; byte < 256; ++byte)
        table[static_cast<std::size_t>(byte)] =
            static_cast<std::uint8_t>(byte * alpha / 255 + colour * (255 - alpha) / 255);
    return table;
}

RauchglasParameters StartingParameters() {
    RauchglasParameters parameters;
    parameters.bordersizeOn = false;
    parameters.poscorhori = parameters.poscorverti = 10;
    parameters.transparency = 255;
    return parameters;
}

}  // namespace

CRauchglasFilter::CRauchglasFilter() : TwinFilter(StartingParameters()) {}

std::string CRauchglasFilter::Written(const RauchglasParameters& record) const {
    std::string text = TwinFilter::Written(record);
    const auto append = [&](const auto& row, int size) {
        std::string digits;
        AppendDecimal(digits, size, 4);
        table::AppendPiece(text, kRauchglasText.separator, table::KeyOf(row), digits);
    };
    append(kSrcWidthKey, std::max(m_InActive.Width, m_InActive.FullWidth));
    append(kSrcHeightKey, std::max(m_InActive.Height, m_InActive.FullHeight));
    return text;
}

FilterResult CRauchglasFilter::MakePixels(const PixelRequest& request) {
    return InPlacePasses(request, [&] { return LayPane(request); });
}

FilterResult CRauchglasFilter::LayPane(const PixelRequest& request) {
    const RauchglasParameters& glass = Active();
    const Span x = PaneSpan(request.width, glass.borderHori, glass.poscorhori);
    const Span y = PaneSpan(request.height, glass.borderVerti, glass.poscorverti);
    if (x.size == 0 || y.size == 0) return S_OK;
    const PixelRequest pane{
        request.dstX + x.from, request.dstY + y.from, request.srcX + x.from, request.srcY + y.from, x.size, y.size,
        request.rows,          request.maskRows};
    FilterResult result = S_OK;
    if (glass.radius > 0 && (x.size > 2 || y.size > 2))
        result = BlurPane(pane);
    else if (IsStale())
        m_Cache.reset();  // the blur of an older state
    return result == S_OK && glass.transparency < 100 ? TintRect(pane) : result;
}

FilterResult CRauchglasFilter::BlurPane(const PixelRequest& pane) {
    double kernel[3][3];
    kernels::MixWithIdentity(kernels::ConvolutionKernels[kernels::kBlurKernel],
                             std::min(Active().radius, 100) * m_RenderScale, kernel);
    return ConvolveRegion3x3(kernel, 0, pane);
}

/// Mixes the pane's colour into what lies under it.
FilterResult CRauchglasFilter::TintRect(const PixelRequest& pane) {
    const RauchglasParameters& glass = Active();
    const std::int64_t alpha = kernels::BoardAlpha(glass.transparency);
    if (alpha > 254) return S_OK;
    const kernels::ChannelTables tint{PaneTable(glass.blue, alpha), PaneTable(glass.green, alpha),
                                      PaneTable(glass.red, alpha)};
    return WalkRows(pane, [&tint](std::span<std::uint8_t> pixels) { kernels::ChannelTablesRow(pixels, tint); });
}

}  // namespace kestrel
