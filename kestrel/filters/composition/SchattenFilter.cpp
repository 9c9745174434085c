#include "kestrel/filters/composition/SchattenFilter.h"

#include <algorithm>

#include "kestrel/filters/composition/Saturated.h"
#include "kestrel/foundation/Truncate.h"
#include "kestrel/kernels/ByteTable.h"
#include "kestrel/kernels/Composite.h"

namespace kestrel {
namespace {

constexpr int kLargestLength = 255;  ///< of growth and distance, pixels of the full-size picture

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

/// Makes the result in the cache. The work picture holds the shadow's mask and later its colour.
FilterResult CSchattenFilter::Compute() {
    EnsureWorkImages(m_Out.Width, m_Out.Height, m_Out.Width, m_Out.Height);
    m_Cache->Clear();
    if (const FilterResult result = FetchWhole(*m_Cache, m_nPadLeft, m_nPadBottom); result.Failed()) return result;
    if (Active().lightIntensity != 0 && !Buttonize()) return kNotDone;
    if (Active().shadowDensity == 0) return S_OK;
    if (Active().innerOn) return InnerShadow();
    CopyMask(m_nPadLeft + m_nShadowDX, m_nPadBottom + m_nShadowDY);
    if (Active().size != 0 && !Spread()) return kNotDone;
    if (!BlurRounds(Input(m_nPadLeft + m_nShadowDX, m_nPadBottom + m_nShadowDY)) || !BlurRest()) return kNotDone;
    return Fill(100) && DropShadow() ? kDone : kNotDone;
}

/// Raises the edges by the slope of a blurred copy of the mask.
bool CSchattenFilter::Buttonize() {
    CopyMask(m_nPadLeft, m_nPadBottom);
    passes::MaskIteration blur(passes::PlanesOf(*m_Work, m_Out.Width, m_Out.Height), kernels::BinomialMaskRow);
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
    std::vector<std::uint8_t> relief(columns);
    for (std::int64_t y = input.bottom; y < input.top; ++y) {
        if (Aborted()) return false;
        const auto mask = [&](std::int64_t row) {
            return kernels::ConstRow(m_Work->MaskRows()[row] + input.left - 1, columns + 2);
        };
        kernels::EmbossMaskRow(weights, {mask(y - 1), mask(y), mask(y + 1)}, relief);
        kernels::ApplyReliefRow({m_Cache->Rows()[y] + input.left * 3, columns * 3}, relief, Active().innerOn);
    }
    return true;
}

/// Lays the picture on the shadow, which becomes the result.
bool CSchattenFilter::DropShadow() {
    if (!Over(*m_Work, *m_Cache, Whole())) return false;
    m_Work.swap(m_Cache);
    return true;
}

/// Punches the shadow of everything that is not the picture into the picture, and, when it has a size, lays the result
/// on a shadow that grows out evenly.
FilterResult CSchattenFilter::InnerShadow() {
    const int shadowX = m_nPadLeft + m_nShadowDX;
    const int shadowY = m_nPadBottom + m_nShadowDY;
    CopyMask(shadowX, shadowY);
    if (!BlurRounds(Input(shadowX, shadowY)) || !BlurRest()) return kNotDone;
    const passes::MaskArea input = Input(m_nPadLeft, m_nPadBottom);
    for (std::int64_t y = 0; y < m_Out.Height; ++y) {
        if (Aborted()) return kNotDone;
        std::uint8_t* shadow = m_Work->MaskRows()[y];
        const std::uint8_t* picture = m_Cache->MaskRows()[y];
        for (std::int64_t x = 0; x < m_Out.Width; ++x) shadow[x] = static_cast<std::uint8_t>(255 - shadow[x]);
        if (y < input.bottom || y >= input.top) continue;
        for (std::int64_t x = input.left; x < input.right; ++x)
            shadow[x] = static_cast<std::uint8_t>(255 - (255 - picture[x]) * (255 - shadow[x]) / 255);
    }
    if (!Fill(100) || !Over(*m_Cache, *m_Work, input)) return kNotDone;
    if (Active().size == 0) return S_OK;

    m_Work->Clear();  // the picture's own mask has changed, so it is fetched again
    if (const FilterResult result = FetchWhole(*m_Work, m_nPadLeft, m_nPadBottom); result.Failed()) return result;
    if (!Spread() || !BlurRounds(input) || !BlurRest()) return kNotDone;
    const std::int64_t percent = std::int64_t{Active().shadowDensity} * 85 / 100;
    return Fill(static_cast<int>(std::clamp<std::int64_t>(percent, 50, 100))) && DropShadow() ? kDone : kNotDone;
}

// Steps

/// The input picture with its corner at (`x`, `y`).
passes::MaskArea CSchattenFilter::Input(int x, int y) const {
    return {x, y, std::int64_t{x} + m_InActive.Width, std::int64_t{y} + m_InActive.Height};
}

/// Puts the picture's mask, alone, into the work picture with its corner at (`x`, `y`).
void CSchattenFilter::CopyMask(int x, int y) {
    const auto width = static_cast<std::size_t>(m_Out.Width);
    for (int row = 0; row < m_Out.Height; ++row) std::fill_n(m_Work->MaskRows()[row], width, std::uint8_t{255});
    for (int row = 0; row < m_InActive.Height; ++row)
        std::copy_n(m_Cache->MaskRows()[m_nPadBottom + row] + m_nPadLeft, m_InActive.Width,
                    m_Work->MaskRows()[y + row] + x);
}

/// Grows the shape in the work picture by `m_nSize` pixels; a ring of that width stays as it is.
bool CSchattenFilter::Spread() {
    const std::int64_t n = Active().size;
    passes::MaskIteration grow(passes::PlanesOf(*m_Work, m_Out.Width, m_Out.Height), kernels::MinimumMaskRow);
    for (std::int64_t round = 0; round < n && grow.Changed(); ++round)
        if (!grow.Step({n, n, m_Out.Width - n, m_Out.Height - n}, m_Abort)) return false;
    return true;
}

/// Blurs the mask of the work picture, each round over `area` grown by one pixel more.
bool CSchattenFilter::BlurRounds(passes::MaskArea area) {
    if (m_nBlurRounds == 0) return true;
    passes::MaskIteration blur(passes::PlanesOf(*m_Work, m_Out.Width, m_Out.Height), kernels::SmoothMaskRow);
    for (std::int32_t round = 0; round < m_nBlurRounds; ++round) {
        area = {area.left - 1, area.bottom - 1, area.right + 1, area.top + 1};
        if (!blur.Step(area, m_Abort)) return false;
    }
    return true;
}

/// The part of a round that is left.
bool CSchattenFilter::BlurRest() {
    if (m_nBlurRest == 0) return true;
    passes::MaskIteration blur(passes::PlanesOf(*m_Work, m_Out.Width, m_Out.Height),
                               [fifths = m_nBlurRest](const kernels::MaskNeighbours& rows, kernels::Row out) {
                                   kernels::SmoothMaskRowInPart(fifths, rows, out);
                               });
    return blur.Step(Whole(), m_Abort);
}

/// Gives the work picture the shadow's colour, and its mask `percent` of the shadow's density.
bool CSchattenFilter::Fill(int percent) {
    const SchattenParameters& shadow = Active();
    const std::int64_t k = std::int64_t{shadow.shadowDensity} * 255 * percent / 10000;
    kernels::ByteTable opacity;
    for (int m = 0; m < 256; ++m)
        opacity[static_cast<std::size_t>(m)] = static_cast<std::uint8_t>(255 - k * (255 - m) / 255);
    for (int y = 0; y < m_Out.Height; ++y) {
        if (Aborted()) return false;
        std::uint8_t* pixels = m_Work->Rows()[y];
        std::uint8_t* mask = m_Work->MaskRows()[y];
        for (int x = 0; x < m_Out.Width; ++x) {
            pixels[3 * x] = shadow.shadowBlue;
            pixels[3 * x + 1] = shadow.shadowGreen;
            pixels[3 * x + 2] = shadow.shadowRed;
            mask[x] = opacity[mask[x]];
        }
    }
    return true;
}

/// Lays `over` over `under`, which takes the result, within an area.
bool CSchattenFilter::Over(CWorkImage& under, const CWorkImage& over, const passes::MaskArea& area) {
    const auto part = [&](const CWorkImage& image, std::int64_t y) {
        return passes::Part(passes::PlanesOf(image, m_Out.Width, m_Out.Height), y, area.left, area.right);
    };
    for (std::int64_t y = area.top - 1; y >= area.bottom; --y) {
        if (Aborted()) return false;
        kernels::OverRow(part(under, y), part(over, y));
    }
    return true;
}

}  // namespace kestrel
