#include "kestrel/filters/composition/SoftFrameFilter.h"

#include "kestrel/kernels/FadeRow.h"

namespace kestrel {
namespace {

/// Distance to an edge that does not fade.
constexpr std::int64_t kFar = 1000;

/// The fade of one picture: distances of columns and rows to the fading edges, and the width that they meet.
struct EdgeFade {
    SoftFrameParameters frame;
    std::int64_t columns;  ///< size of the picture
    std::int64_t rows;
    std::int64_t width;  ///< of the fade, pixels

    EdgeFade(const SoftFrameParameters& parameters, const FilterGeometry& picture)
        : frame(parameters), columns(picture.Width), rows(picture.Height), width(parameters.frameWidth) {
        std::int64_t longer = std::max(picture.Width, picture.Height);
        if (longer == 0) longer = std::max(picture.FullWidth, picture.FullHeight);
        if (frame.version != 0 && !frame.calcPix) width = longer / 2 * frame.frameWidth / 100;
    }

    std::int64_t RowDistance(std::int64_t y) const {
        const std::int64_t d = frame.top ? rows - y - 1 : kFar;
        return frame.bottom ? std::min(d, y) : d;
    }

    std::int64_t ColumnDistance(std::int64_t x) const {
        const std::int64_t d = frame.right ? columns - x - 1 : kFar;
        return frame.left ? std::min(d, x) : d;
    }

    /// Fades the part of row `y` that begins at column `x`.
    void Row(std::int64_t y, std::int64_t x, std::span<std::uint8_t> mask) const {
        const std::int64_t begin = std::max<std::int64_t>(x, 0);
        const std::int64_t end = std::min(x + static_cast<std::int64_t>(mask.size()), columns);
        if (y < 0 || y >= rows || begin >= end) return;
        const std::int64_t rowDistance = RowDistance(y);
        const auto fade = [&](std::int64_t from, std::int64_t to) {
            for (std::int64_t i = from; i < to; ++i) {
                const std::int64_t d = frame.softCorner ? ColumnDistance(i) : std::min(ColumnDistance(i), rowDistance);
                std::uint8_t& byte = mask[static_cast<std::size_t>(i - x)];
                if (d < width) byte = kernels::FadeAt(d, width)(byte);
            }
        };
        const bool wholeRow = (!frame.softCorner && rowDistance < width) || (!frame.right && kFar < width);
        const std::int64_t leftEnd = wholeRow ? end : frame.left ? std::clamp(width, begin, end) : begin;
        fade(begin, leftEnd);
        if (frame.right) fade(std::max(leftEnd, columns - width), end);
        if (frame.softCorner && rowDistance < width)
            kernels::FadeRow(mask.subspan(static_cast<std::size_t>(begin - x), static_cast<std::size_t>(end - begin)),
                             kernels::FadeAt(rowDistance, width));
    }
};

}  // namespace

CSoftFrameFilter::CSoftFrameFilter()
    : TwinFilter(
          {.frameWidth = -1, .softCorner = false, .top = false, .bottom = false, .right = false, .left = false}) {}

SoftFrameParameters CSoftFrameFilter::Shown() const {
    SoftFrameParameters parameters = Active();
    parameters.version = Pending().version;
    return parameters;
}

FilterResult CSoftFrameFilter::MakePixels(const PixelRequest& request) {
    const EdgeFade fade(Shown(), m_InActive);
    return InPlace(request, [&](int y, std::span<std::uint8_t>, std::span<std::uint8_t> mask) {
        fade.Row(y, request.srcX, mask);
    });
}

}  // namespace kestrel
