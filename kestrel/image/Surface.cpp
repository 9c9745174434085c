#include "kestrel/image/Surface.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <stdexcept>
#include <utility>

namespace kestrel {
namespace {

/// Copies `from`, shifted so that its upper left corner falls on (x, y) of `to`. 64 bits hold any sum of two sizes.
void CopyShifted(Dib* to, const Dib* from, std::int64_t x, std::int64_t y) {
    const std::int64_t left = std::max<std::int64_t>(x, 0);
    const std::int64_t right = std::min<std::int64_t>(to->biWidth, x + from->biWidth);
    const std::int64_t top = std::max<std::int64_t>(y, 0);
    const std::int64_t bottom = std::min<std::int64_t>(to->biHeight, y + from->biHeight);
    if (left >= right || to->biBitCount != 24 || from->biBitCount != 24) return;
    for (std::int64_t line = top; line < bottom; ++line)
        std::memcpy(DibRow(to, static_cast<int>(to->biHeight - 1 - line)) + 3 * left,
                    DibRow(from, static_cast<int>(from->biHeight - 1 - (line - y))) + 3 * (left - x),
                    static_cast<std::size_t>(3 * (right - left)));
}

}  // namespace

MemorySurface::MemorySurface(int width, int height) : picture_(DibCreate(24, width, height)) {
    if (!picture_) throw std::bad_alloc();
}

MemorySurface::MemorySurface(DibPtr picture) : picture_(std::move(picture)) {
    if (!picture_ || picture_->biBitCount != 24) throw std::invalid_argument("a memory surface takes a 24-bit block");
}

void MemorySurface::Read(int x, int y, Dib* into) const {
    CopyShifted(into, picture_.get(), -std::int64_t{x}, -std::int64_t{y});
}

void MemorySurface::Write(int x, int y, const Dib* from) { CopyShifted(picture_.get(), from, x, y); }

int DIBPaint(Dib* dib, Surface& surface, int x, int y) {
    if (!dib) return 0;
    if (dib->biBitCount == 24) {
        surface.Write(x, y, dib);
    } else {
        const DibPtr picture(Make24BitDib(dib));
        if (!picture) return 0;
        surface.Write(x, y, picture.get());
    }
    return std::max(dib->biHeight, 0);
}

}  // namespace kestrel
