#include "kestrel/host/PictureSource.h"

#include <algorithm>
#include <cstring>

namespace kestrel {

void PictureSource::SetPicture(const Dib* image, const Dib* mask) { SetRows(RowWindow::Of(image, mask)); }

void PictureSource::SetRows(const RowWindow& rows) {
    rows_ = rows;
    Geometry() = {.Width = rows.width, .Height = rows.height, .FullWidth = rows.width, .FullHeight = rows.height};
    MarkNew();
}

void PictureSource::ReleaseOutput() {
    if (!release_) return;
    rows_.pixels = rows_.mask = nullptr;
    release_();
}

LentRow PictureSource::Lend(int x, int y, int width) const {
    const bool inside = x >= 0 && y >= 0 && y < rows_.height && x <= rows_.width - width;
    if (!inside || !rows_.pixels || Aborted()) return {};
    return {rows_.pixels + rows_.PixelsAt(y) + std::ptrdiff_t{x} * 3,
            rows_.mask ? rows_.mask + rows_.MaskAt(y) + x : nullptr};
}

HRESULT PictureSource::TransformArea(int dstX, int dstY, int srcX, int srcY, int width, int height,
                                     std::uint8_t* const* rows, std::uint8_t* const* maskRows) {
    // 64 bits: a corner far outside plus a size may not fit 32.
    const std::int64_t left = std::max<std::int64_t>(0, -std::int64_t{srcX});
    const std::int64_t right = std::min<std::int64_t>(width, std::int64_t{rows_.width} - srcX);
    const std::int64_t bottom = std::max<std::int64_t>(0, -std::int64_t{srcY});
    const std::int64_t top = std::min<std::int64_t>(height, std::int64_t{rows_.height} - srcY);
    if (Aborted()) return S_FALSE;
    if (right <= left) return S_OK;
    if (!rows_.pixels) return E_FAIL;
    const auto columns = static_cast<std::size_t>(right - left);
    for (std::int64_t y = bottom; y < top; ++y) {
        if (Aborted()) return S_FALSE;
        const int row = static_cast<int>(srcY + y);
        std::uint8_t* const pixels = rows[dstY + y] + (dstX + left) * 3;
        const std::uint8_t* const own = rows_.pixels + rows_.PixelsAt(row) + (srcX + left) * 3;
        if (pixels != own) std::memcpy(pixels, own, columns * 3);
        std::uint8_t* const mask = maskRows[dstY + y] + (dstX + left);
        if (!rows_.mask) {
            std::memset(mask, 0, columns);
        } else if (const std::uint8_t* const ownMask = rows_.mask + rows_.MaskAt(row) + (srcX + left);
                   mask != ownMask) {
            std::memcpy(mask, ownMask, columns);
        }
    }
    return S_OK;
}

}  // namespace kestrel
