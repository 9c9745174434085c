#include "kestrel/codec/ScanlineOrienter.h"

#include <algorithm>
#include <cstring>

namespace kestrel {
namespace {

constexpr int kBandLines = 32;  // a band of wide lines stays in the cache, and a column takes 96 bytes of a row at once

constexpr bool MirrorsX(int orientation) { return orientation == 2 || orientation == 3; }
constexpr bool MirrorsY(int orientation) { return orientation == 3 || orientation == 4; }

}  // namespace

void MirrorLine(std::uint8_t* line, int width, std::size_t pixel) {
    for (int left = 0, right = width - 1; left < right; ++left, --right)
        std::swap_ranges(line + static_cast<std::size_t>(left) * pixel,
                         line + static_cast<std::size_t>(left + 1) * pixel,
                         line + static_cast<std::size_t>(right) * pixel);
}

ScanlineOrienter::ScanlineOrienter(Dib* target, int orientation)
    : target_(target),
      orientation_(orientation),
      width_(SwapsSides(orientation) ? target->biHeight : target->biWidth),
      height_(SwapsSides(orientation) ? target->biWidth : target->biHeight),
      pixel_(static_cast<std::size_t>(DibBitsPerPixel(target)) / 8) {
    if (SwapsSides(orientation)) band_.resize(kBandLines * static_cast<std::size_t>(width_) * pixel_);
}

std::uint8_t* ScanlineOrienter::Line(int y) {
    if (SwapsSides(orientation_))
        return band_.data() + static_cast<std::size_t>(y - bandStart_) * static_cast<std::size_t>(width_) * pixel_;
    return DibRow(target_, MirrorsY(orientation_) ? y : height_ - 1 - y);
}

void ScanlineOrienter::Done(int y) {
    if (MirrorsX(orientation_)) MirrorLine(Line(y), width_, pixel_);
    if (y + 1 == height_ || y + 1 - bandStart_ == kBandLines) Finish(y + 1);
}

void ScanlineOrienter::Finish(int end) {
    if (!SwapsSides(orientation_)) return;
    const bool fromRight = orientation_ == 6 || orientation_ == 7;  // line 0 is the right column
    const bool upward = orientation_ == 7 || orientation_ == 8;     // column 0 is the lowest line
    const std::size_t lineSize = static_cast<std::size_t>(width_) * pixel_;
    for (int x = 0; x < width_; ++x) {
        std::uint8_t* row = DibRow(target_, upward ? x : width_ - 1 - x);
        const std::uint8_t* from = band_.data() + static_cast<std::size_t>(x) * pixel_;
        for (int y = bandStart_; y < end; ++y, from += lineSize) {
            std::uint8_t* to = row + static_cast<std::size_t>(fromRight ? height_ - 1 - y : y) * pixel_;
            for (std::size_t i = 0; i < pixel_; ++i) to[i] = from[i];
        }
    }
    bandStart_ = end;
}

DibPtr Oriented(DibPtr dib, int orientation) {
    if (!dib || orientation == 1) return dib;
    const int width = dib->biWidth;
    const int height = dib->biHeight;
    const bool swaps = SwapsSides(orientation);
    DibPtr target(DibCreate(dib->biBitCount, swaps ? height : width, swaps ? width : height));
    if (!target) return nullptr;
    ScanlineOrienter placer(target.get(), orientation);
    const std::size_t lineSize =
        static_cast<std::size_t>(width) * static_cast<unsigned>(DibBitsPerPixel(dib.get())) / 8;
    for (int y = 0; y < height; ++y) {
        std::memcpy(placer.Line(y), DibRow(dib.get(), height - 1 - y), lineSize);
        placer.Done(y);
    }
    return target;
}

}  // namespace kestrel
