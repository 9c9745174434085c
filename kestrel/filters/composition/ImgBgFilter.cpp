#include "kestrel/filters/composition/ImgBgFilter.h"

#include "kestrel/diagnostics/LogSeam.h"
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

HRESULT CImgBgFilter::TransformWindow(const Window& window) {
    if (IsStale() && m_Out.Width > 0 && m_Out.Height > 0) {
        EnsureWorkImages(0, 0, m_Out.Width, m_Out.Height);
        if (const HRESULT result = FetchWhole(*m_Cache); result != S_OK) return result;
        const std::int64_t alpha = kernels::BoardAlpha(Active().transparency);
        for (int y = m_Out.Height - 1; y >= 0; --y) {
            if (Aborted()) return kNotDone;
            kernels::PaintInnerRow(m_Cache->Rows()[y], m_Cache->MaskRows()[y], static_cast<std::size_t>(m_Out.Width),
                                   Active().Colour(), alpha);
        }
    }
    return Deliver(window);
}

HRESULT CImgBgFilter::TransformColor(unsigned char* pixel) {
    const HRESULT result = CPdibFilter::TransformColor(pixel);
    kernels::LayOnBoard(pixel, Active().Colour(), kernels::BoardAlpha(Active().transparency));
    return result;
}

}  // namespace kestrel
