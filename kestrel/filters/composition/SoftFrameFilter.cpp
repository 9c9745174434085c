#include "kestrel/filters/composition/SoftFrameFilter.h"

#include "kestrel/kernels/FadeRow.h"

namespace kestrel {
namespace {

/// Distance to an edge that does not fade.
constexpr std::int64_t kFar = 1000;

std::int64_t FadeWidth(const SoftFrameParameters& frame, const FilterGeometry& picture) {
    if (frame.version == 0 || frame.calcPix) return frame.frameWidth;
    std::int64_t longer = std::max(picture.Width, picture.Height);
    if (longer == 0) longer = std::max(picture.FullWidth, picture.FullHeight);
    return longer / 2 * frame.frameWidth / 100;
}

/// Distance of place `i` of `size` to the nearer of the two edges that fade.
std::int64_t EdgeDistance(std::int64_t i, std::int64_t size, bool near, bool far) {
    const std::int64_t d = far ? size - i - 1 : kFar;
    return near ? std::min(d, i) : d;
}

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
    const SoftFrameParameters frame = Shown();
    SetColumnFade(frame, FadeWidth(frame, m_InActive));
    return InPlace(request, [&](int y, const kernels::RowPair& pixels, std::span<std::uint8_t> mask) {
        kernels::CopyRow(pixels);
        FadePart(frame, y, request.srcX, mask);
    });
}

void CSoftFrameFilter::SetColumnFade(const SoftFrameParameters& frame, std::int64_t width) {
    const auto columns = static_cast<std::size_t>(std::max(m_InActive.Width, 0));
    if (columns_.left == frame.left && columns_.right == frame.right && columns_.width == width &&
        columns_.steps.size() == columns)
        return;
    columns_ = {frame.left, frame.right, width, std::vector<kernels::FadeStep>(columns)};
    for (std::size_t x = 0; x < columns; ++x) {
        const std::int64_t d = EdgeDistance(static_cast<std::int64_t>(x), m_InActive.Width, frame.left, frame.right);
        if (d < width) columns_.steps[x] = kernels::FadeAt(d, width);
    }
}

void CSoftFrameFilter::FadePart(const SoftFrameParameters& frame, std::int64_t y, std::int64_t x,
                                std::span<std::uint8_t> mask) const {
    const std::int64_t columns = m_InActive.Width;
    const std::int64_t begin = std::max<std::int64_t>(x, 0);
    const std::int64_t end = std::min(x + static_cast<std::int64_t>(mask.size()), columns);
    if (y < 0 || y >= m_InActive.Height || begin >= end) return;
    const std::int64_t width = columns_.width;
    const std::int64_t rowDistance = EdgeDistance(y, m_InActive.Height, frame.bottom, frame.top);
    const auto part = [&](std::int64_t from, std::int64_t to) {
        return mask.subspan(static_cast<std::size_t>(from - x), static_cast<std::size_t>(to - from));
    };
    const auto fadeColumns = [&](std::int64_t from, std::int64_t to) {
        if (from >= to) return;
        const auto steps = std::span(columns_.steps);
        kernels::FadeColumns(part(from, to),
                             steps.subspan(static_cast<std::size_t>(from), static_cast<std::size_t>(to - from)));
    };
    // Columns nearer than `reach` to their edge fade by it: with mitred corners those that the row's edge is not nearer
    // to. Between them lies the middle.
    const std::int64_t reach = frame.softCorner ? width : std::min(width, rowDistance);
    const bool noMiddle = !frame.right && reach > kFar;
    const std::int64_t left = noMiddle ? end : std::clamp(frame.left ? reach : 0, begin, end);
    const std::int64_t right = std::clamp(frame.right ? columns - reach : columns, left, end);
    fadeColumns(begin, left);
    fadeColumns(right, end);
    if (rowDistance >= width) return;
    const auto step = kernels::FadeAt(rowDistance, width);
    kernels::FadeRow(frame.softCorner ? part(begin, end) : part(left, right), step);
}

}  // namespace kestrel
