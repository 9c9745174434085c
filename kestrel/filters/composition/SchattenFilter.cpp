#include "kestrel/filters/composition/SchattenFilter.h"

#include <algorithm>
#include <optional>

#include "kestrel/filters/composition/Saturated.h"
#include "kestrel/foundation/HelperThreads.h"
#include "kestrel/foundation/Truncate.h"
#include "kestrel/kernels/ColourRows.h"
#include "kestrel/kernels/Composite.h"

namespace kestrel {
namespace {

constexpr int kLargestLength = 255;  ///< of growth and distance, pixels of the full-size picture

constexpr std::uint8_t kNothing = 255;  // mask where there is no pixel

int Sign(int value) { return (value > 0) - (value < 0); }

/// Room on the side that the shadow falls to, and on the other one.
std::pair<int, int> Pads(std::int64_t reach, std::int64_t shift, std::int64_t least) {
    return {Saturated(std::max(reach + shift, least)), Saturated(std::max(reach - shift, least))};
}

}  // namespace

DirectionSteps::DirectionSteps(std::int32_t direction) {
    const std::int64_t d = direction;
    const std::int64_t across = d > 1800 ? 4 - (d - 1800) / 225 : d / 225 - 4;
    const std::int64_t up = d < 900 ? -d / 225 : d <= 2700 ? (d - 900) / 225 - 4 : 4 - (d - 2700) / 225;
    x = static_cast<int>(std::clamp<std::int64_t>(across, -2, 2));
    y = static_cast<int>(std::clamp<std::int64_t>(up, -2, 2));
}

// Parameters and geometry

CSchattenFilter::CSchattenFilter()
    : TwinFilter({.lightDirection = 0,
                  .innerOn = true,
                  .lightIntensity = 20,
                  .shadowDensity = 100,
                  .shadowBlur = 0,
                  .size = 5,
                  .shadowDistance = 0}) {}

void CSchattenFilter::ReadText(std::string_view text) {
    TwinFilter::ReadText(text);
    if (ReadIntAfterKey(text, kLightOnKey.key) == 0) Pending().lightIntensity = 0;
    if (const auto on = ReadIntAfterKey(text, kShadowOnKey.key)) Pending().shadowDensity = *on != 0 ? 100 : 0;
}

/// The pending parameters at the scale that is rendered, lengths held to what a shadow may have.
SchattenParameters CSchattenFilter::Scaled() const {
    SchattenParameters shadow = Pending();
    const std::int32_t largest = TruncateToInt(kLargestLength * m_RenderScale);
    const auto scaled = [&](std::int32_t length) { return TruncateToInt(length * m_RenderScale); };
    const auto held = [&](std::int32_t length) { return std::max(std::min(scaled(length), largest), 0); };
    shadow.shadowBlur = scaled(shadow.shadowBlur);
    shadow.size = held(shadow.size);
    shadow.shadowDistance = shadow.shadowDensity != 0 ? held(shadow.shadowDistance) : scaled(shadow.shadowDistance);
    return shadow;
}

bool CSchattenFilter::HasChanged() { return !Same(Scaled(), Active()); }

HRESULT CSchattenFilter::CommitChanges() {
    Active() = Scaled();
    RecalcPads();
    RecalcGeometry();
    RecalcLight();
    return S_OK;
}

void CSchattenFilter::RecalcPads() {
    const SchattenParameters& shadow = Active();
    const std::int32_t blur = std::max(shadow.shadowBlur, 0);
    m_nBlurRounds = blur / 5;
    m_nBlurRest = blur % 5;
    m_nShadowDX = m_nShadowDY = 0;
    m_nPadLeft = m_nPadRight = m_nPadBottom = m_nPadTop = shadow.lightIntensity != 0 ? 1 : 0;
    if (shadow.shadowDensity == 0) return;

    const DirectionSteps steps(shadow.lightDirection);
    m_nShadowDX = Saturated(std::int64_t{steps.x} * shadow.shadowDistance / 2);
    m_nShadowDY = Saturated(std::int64_t{steps.y} * shadow.shadowDistance / 2);
    const bool spills = shadow.lightIntensity != 0 || blur != 0 || shadow.size != 0;
    const std::int64_t extra = m_nBlurRounds != 0 ? m_nBlurRounds : spills ? 1 : 0;
    const std::int64_t reach = shadow.size + extra;
    std::int64_t least = shadow.lightIntensity != 0 ? 1 : 0;
    if (shadow.size != 0 && shadow.innerOn) least = std::max(least, reach);

    const auto [farX, nearX] = Pads(reach, std::abs(m_nShadowDX), least);
    const auto [farY, nearY] = Pads(reach, std::abs(m_nShadowDY), least);
    m_nPadRight = m_nShadowDX >= 0 ? farX : nearX;
    m_nPadLeft = m_nShadowDX >= 0 ? nearX : farX;
    m_nPadTop = m_nShadowDY >= 0 ? farY : nearY;
    m_nPadBottom = m_nShadowDY >= 0 ? nearY : farY;
}

void CSchattenFilter::RecalcGeometry() {
    m_Out.Width = Saturated(std::int64_t{m_InActive.Width} + m_nPadLeft + m_nPadRight);
    m_Out.Height = Saturated(std::int64_t{m_InActive.Height} + m_nPadBottom + m_nPadTop);
    m_Out.OffsetX = Saturated(std::int64_t{m_InActive.OffsetX} + m_nPadLeft);
    m_Out.OffsetY = Saturated(std::int64_t{m_InActive.OffsetY} + m_nPadBottom);
}

void CSchattenFilter::RecalcLight() {
    const DirectionSteps steps(Active().lightDirection);
    const double a = Sign(steps.x) * 5;
    const double b = Sign(steps.y) * 5;
    const double strength = Active().lightIntensity / 500.0;
    const double slopes[3][3] = {{a + b, b, b - a}, {a, 0, -a}, {a - b, -b, -b - a}};
    for (int row = 0; row < 3; ++row)
        for (int column = 0; column < 3; ++column) m_LightKernel[row][column] = slopes[row][column] * strength;
}

// Pixels

FilterResult CSchattenFilter::MakePixels(const PixelRequest& request) {
    if (Active().lightIntensity == 0 && Active().shadowDensity == 0) return CPdibFilter::MakePixels(request);
    return CachedWhole(request, [this] { return Compute(); });
}

/// Makes the result in the cache.
FilterResult CSchattenFilter::Compute() {
    if (const FilterResult result = FetchPadded(); result.Failed()) return result;
    if (Active().lightIntensity != 0 && !Buttonize()) return kNotDone;
    if (Active().shadowDensity == 0) return S_OK;
    if (Active().innerOn) return InnerShadow() ? kDone : kNotDone;
    const int x = m_nPadLeft + m_nShadowDX;
    const int y = m_nPadBottom + m_nShadowDY;
    const MaskPicture shadow = CopyMask(x, y);
    if (Active().size != 0 && !Spread(shadow)) return kNotDone;
    return Blur(shadow, Input(x, y)) && DropShadow(shadow, Opacity(100)) ? kDone : kNotDone;
}

/// Fetches the picture into the cache, with nothing in the pads around it.
FilterResult CSchattenFilter::FetchPadded() {
    EnsureWorkImages(0, 0, m_Out.Width, m_Out.Height);
    m_Cache->ClearRows(0, m_nPadBottom);
    m_Cache->ClearRows(m_nPadBottom + m_InActive.Height, m_nPadTop);
    return FetchWhole(*m_Cache, m_nPadLeft, m_nPadBottom, true);
}

/// Raises the edges by the slope of a blurred copy of the mask.
bool CSchattenFilter::Buttonize() {
    const MaskPicture shape = CopyMask(m_nPadLeft, m_nPadBottom);
    passes::MaskIteration blur(shape.Planes(), kernels::BinomialMaskRow);
    const std::int64_t rounds = std::max<std::int64_t>(std::int64_t{Active().lightIntensity} - 50, 0) + 15;
    for (std::int64_t round = 0; round < rounds && blur.Changed(); ++round)
        if (!blur.Step(Whole(), m_Abort)) return false;

    kernels::EmbossWeights weights;
    for (std::size_t row = 0; row < 3; ++row)
        for (std::size_t column = 0; column < 3; ++column)
            weights[row][column] = TruncateToInt(m_LightKernel[row][column] * 4096.0);
    const passes::MaskArea input =
        Input(m_nPadLeft, m_nPadBottom);  // a light always leaves a pad of one pixel around it
    const auto columns = static_cast<std::size_t>(m_InActive.Width);
    return ShareRows(input.bottom, input.top, [&](std::int64_t from, std::int64_t to) {
        std::vector<std::uint8_t> relief(columns);
        for (std::int64_t y = from; y < to; ++y) {
            if (Aborted()) return false;
            const auto mask = [&](std::int64_t row) {
                return kernels::ConstRow(shape.Row(row).subspan(static_cast<std::size_t>(input.left - 1), columns + 2));
            };
            kernels::EmbossMaskRow(weights, {mask(y - 1), mask(y), mask(y + 1)}, relief);
            kernels::ApplyReliefRow({m_Cache->Rows()[y] + input.left * 3, columns * 3}, relief, Active().innerOn);
        }
        return true;
    });
}

/// Lays the picture on a shadow.
bool CSchattenFilter::DropShadow(const MaskPicture& shadow, const kernels::ByteTable& opacity) {
    const auto picture = passes::PlanesOf(*m_Cache, m_Out.Width, m_Out.Height);
    return ShareRows(0, m_Out.Height, [&](std::int64_t from, std::int64_t to) {
        for (std::int64_t y = from; y < to; ++y) {
            if (Aborted()) return false;
            kernels::TableRow(shadow.Row(y), opacity);
            kernels::LayOnColorRow({picture.Pixels(y), picture.Mask(y)}, Color(), shadow.Row(y));
        }
        return true;
    });
}

/// Punches the shadow of everything that is not the picture into the picture, and, when it has a size, lays the result
/// on a shadow that grows out evenly.
bool CSchattenFilter::InnerShadow() {
    const int shadowX = m_nPadLeft + m_nShadowDX;
    const int shadowY = m_nPadBottom + m_nShadowDY;
    const MaskPicture shadow = CopyMask(shadowX, shadowY);
    std::optional<MaskPicture> grown;
    if (Active().size != 0) grown = CopyMask(m_nPadLeft, m_nPadBottom);  // the picture's own mask is about to change
    if (!Blur(shadow, Input(shadowX, shadowY)) || !Punch(shadow)) return false;
    if (!grown) return true;
    const std::int64_t percent = std::int64_t{Active().shadowDensity} * 85 / 100;
    return Spread(*grown) && Blur(*grown, Input(m_nPadLeft, m_nPadBottom)) &&
           DropShadow(*grown, Opacity(static_cast<int>(std::clamp<std::int64_t>(percent, 50, 100))));
}

/// Lays what is not in the shadow over the picture, where there is any, in the shadow's colour.
bool CSchattenFilter::Punch(const MaskPicture& shadow) {
    const kernels::ByteTable opacity = Opacity(100);
    const passes::MaskArea input = Input(m_nPadLeft, m_nPadBottom);
    const auto picture = passes::PlanesOf(*m_Cache, m_Out.Width, m_Out.Height);
    const auto columns = static_cast<std::size_t>(m_InActive.Width);
    std::vector<std::uint8_t> colors(columns * 3);
    for (std::size_t x = 0; x < columns; ++x) kernels::Store(&colors[3 * x], Color());
    return ShareRows(input.bottom, input.top, [&](std::int64_t from, std::int64_t to) {
        for (std::int64_t y = from; y < to; ++y) {
            if (Aborted()) return false;
            const kernels::MaskedRow part = passes::Part(picture, y, input.left, input.right);
            const kernels::Row mask = shadow.Row(y).subspan(static_cast<std::size_t>(input.left), columns);
            kernels::OutsideMaskRow(mask, part.mask);
            kernels::TableRow(mask, opacity);
            kernels::OverRow(part, {colors, mask});
        }
        return true;
    });
}

// Steps

/// The input picture with its corner at (`x`, `y`).
passes::MaskArea CSchattenFilter::Input(int x, int y) const {
    return {x, y, std::int64_t{x} + m_InActive.Width, std::int64_t{y} + m_InActive.Height};
}

/// The picture's mask, alone, with its corner at (`x`, `y`) of the output.
CSchattenFilter::MaskPicture CSchattenFilter::CopyMask(int x, int y) const {
    MaskPicture copy(m_Out.Width, m_Out.Height);
    const auto columns = static_cast<std::size_t>(m_InActive.Width);
    const auto left = static_cast<std::size_t>(x);
    for (std::int64_t row = 0; row < m_Out.Height; ++row) {
        const kernels::Row to = copy.Row(row);
        if (row < y || row >= std::int64_t{y} + m_InActive.Height) {
            std::ranges::fill(to, kNothing);
            continue;
        }
        std::ranges::fill(to.first(left), kNothing);
        std::copy_n(m_Cache->MaskRows()[m_nPadBottom + row - y] + m_nPadLeft, columns, to.data() + left);
        std::ranges::fill(to.subspan(left + columns), kNothing);
    }
    return copy;
}

/// Grows a shape by `m_nSize` pixels; a ring of that width stays as it is.
bool CSchattenFilter::Spread(const MaskPicture& shape) const {
    const std::int64_t n = Active().size;
    passes::MaskIteration grow(shape.Planes(), kernels::MinimumMaskRow);
    for (std::int64_t round = 0; round < n && grow.Changed(); ++round)
        if (!grow.Step({n, n, m_Out.Width - n, m_Out.Height - n}, m_Abort)) return false;
    return true;
}

/// Blurs a mask, each round over `area` grown by one pixel more, and last by the part of a round that is left.
bool CSchattenFilter::Blur(const MaskPicture& shape, passes::MaskArea area) const {
    if (m_nBlurRounds != 0) {
        passes::MaskIteration blur(shape.Planes(), kernels::SmoothMaskRow);
        for (std::int32_t round = 0; round < m_nBlurRounds; ++round) {
            area = {area.left - 1, area.bottom - 1, area.right + 1, area.top + 1};
            if (!blur.Step(area, m_Abort)) return false;
        }
    }
    if (m_nBlurRest == 0) return true;
    passes::MaskIteration rest(shape.Planes(),
                               [fifths = m_nBlurRest](const kernels::MaskNeighbours& rows, kernels::Row out) {
                                   kernels::SmoothMaskRowInPart(fifths, rows, out);
                               });
    return rest.Step(Whole(), m_Abort);
}

/// What a mask byte of the shape becomes in its shadow, at `percent` of the shadow's density.
kernels::ByteTable CSchattenFilter::Opacity(int percent) const {
    const std::int64_t k = std::int64_t{Active().shadowDensity} * 255 * percent / 10000;
    kernels::ByteTable opacity;
    for (int m = 0; m < 256; ++m)
        opacity[static_cast<std::size_t>(m)] = static_cast<std::uint8_t>(255 - k * (255 - m) / 255);
    return opacity;
}

}  // namespace kestrel
