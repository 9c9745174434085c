#include "kestrel/filters/composition/ImgBgFilter.h"

#include "kestrel/diagnostics/LogSink.h"
#include "kestrel/filters/composition/Board.h"
#include "kestrel/kernels/Composite.h"

namespace kestrel {

HRESULT CImgBgFilter::CommitChanges() {
    TwinFilter::CommitChanges();
    // The board has neither borders nor a size of its own; a size of 0 is below what a board may have, and the log
    // tells it.
    BoardParameters board{.bordersizeOn = false, .borderHori = 0, .borderVerti = 0, .totalHori = 0, .totalVerti = 0};
    bool clipped = false;
    ClipParameters(board, m_RenderScale, [&](const std::string& line) {
        LogLine(-1, "ImgBgFilter", __LINE__, line);
        clipped = true;
    });
    if (clipped) LogLine(-1, "ImgBgFilter", __LINE__, "CImgBgFilter---PARMS CLIPPED\n");
    return S_OK;
}

FilterResult CImgBgFilter::MakePixels(const PixelRequest& request) {
    const kernels::Bgr color = Active().Color();
    const std::int64_t alpha = kernels::BoardAlpha(Active().transparency);
    const std::int64_t first = std::max<std::int64_t>(0, -std::int64_t{request.srcX});
    const std::int64_t end = std::min<std::int64_t>(request.width, std::int64_t{m_Out.Width} - request.srcX);
    return InPlace(request, [&](int y, std::span<std::uint8_t> pixels, std::span<std::uint8_t> mask) {
        if (y < 0 || y >= m_Out.Height || first >= end) return;  // there is no board beyond the picture
        const auto from = static_cast<std::size_t>(first), count = static_cast<std::size_t>(end - first);
        kernels::PaintInnerRow({pixels.subspan(from * 3, count * 3), mask.subspan(from, count)}, color, alpha);
    });
}

HRESULT CImgBgFilter::TransformColor(unsigned char* pixel) {
    const HRESULT result = CPdibFilter::TransformColor(pixel);
    kernels::LayOnBoard(pixel, Active().Color(), kernels::BoardAlpha(Active().transparency));
    return result;
}

}  // namespace kestrel
