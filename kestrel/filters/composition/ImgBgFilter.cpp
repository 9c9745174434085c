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
    return CachedWhole(request, [this] {
        if (const FilterResult result = FetchIntoCache(); result.Failed()) return result;
        return WalkRows(CachedPixels(m_InActive.Width, FetchedRows()),
                        [colour = Active().Color(), alpha = kernels::BoardAlpha(Active().transparency)](
                            std::span<std::uint8_t> pixels, std::span<std::uint8_t> mask) {
                            kernels::PaintInnerRow({pixels, mask}, colour, alpha);
                        });
    });
}

HRESULT CImgBgFilter::TransformColor(unsigned char* pixel) {
    const HRESULT result = CPdibFilter::TransformColor(pixel);
    kernels::LayOnBoard(pixel, Active().Color(), kernels::BoardAlpha(Active().transparency));
    return result;
}

}  // namespace kestrel
