#include "kestrel/filters/geometry/RotateFilter.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <numbers>
#include <utility>
#include <vector>

#include "kestrel/filters/geometry/ExceptionGuards.h"
#include "kestrel/filters/geometry/SizeFrom.h"
#include "kestrel/foundation/HelperThreads.h"
#include "kestrel/foundation/Truncate.h"
#include "kestrel/passes/Planes.h"
#include "kestrel/passes/QuarterTurn.h"
#include "kestrel/passes/Shear.h"

namespace kestrel {
namespace {

/// Room that the shears need: a hidden pixel at each end of a row, three at each end of a column.
constexpr int kMarginX = 2;
constexpr int kMarginY = 6;

constexpr int kRightAngle = 9000;  // hundredths of a degree

std::int32_t Hundredths(double angle) { return TruncateToInt(angle * 100 + 0.5); }

/// A span rounded away from its sign's side and made even, so that its half is whole.
int EvenSpan(double span, double shear) {
    const int rounded = SizeFrom(shear < 0 ? std::ceil(span) : std::floor(span));
    return SizeFrom(static_cast<double>(rounded) + rounded % 2);
}

/// Hidden black around a rectangle, row by row; the rectangle itself is left alone.
bool ClearAround(const passes::Planes& picture, const passes::Area& kept, const AbortFlag& abort) {
    const auto clear = [&](std::int64_t y, int left, int right) {
        const kernels::MaskedRow row = passes::Part(picture, y, left, right);
        std::ranges::fill(row.pixels, std::uint8_t{0});
        std::ranges::fill(row.mask, std::uint8_t{255});
    };
    return ShareRows(0, picture.height, [&](std::int64_t y, std::int64_t end) {
        for (; y < end; ++y) {
            if (abort.IsSet()) return false;
            const bool beside = y >= kept.bottom && y < kept.top;
            clear(y, 0, beside ? kept.left : picture.width);
            if (beside) clear(y, kept.right, picture.width);
        }
        return true;
    });
}

}  // namespace

// Geometry

HRESULT CRotateFilter::CommitChanges() {
    const HRESULT result = TwinFilter::CommitChanges();
    m_Cache.reset();
    SetupRotation(std::max(m_InActive.Width, 0), std::max(m_InActive.Height, 0));
    SetOutput();
    return result;
}

void CRotateFilter::SetupRotation(int w, int h) {
    const std::int32_t hundredths = Hundredths(Active().angle);
    m_dRoundedAngle = hundredths / 100.0;
    const double centerX = static_cast<double>(w / 2) + Active().centerX;
    const double centerY = static_cast<double>(h / 2) + Active().centerY;
    const double radians = m_dRoundedAngle * std::numbers::pi / 180;
    const double c = std::cos(radians);
    const double s = std::sin(radians);
    const bool rightAngle = hundredths % kRightAngle == 0;
    m_nMarginX = rightAngle ? 0 : kMarginX;
    m_nMarginY = rightAngle ? 0 : kMarginY;

    double theta = m_dRoundedAngle;
    while (theta < -45) theta += 360;
    m_nQuarterTurns = 0;
    for (; theta >= 45; theta -= 90) ++m_nQuarterTurns;
    m_nQuarterTurns %= 4;
    const bool odd = m_nQuarterTurns % 2 != 0;
    m_dTheta = theta * std::numbers::pi / 180;

    const double halfW = w / 2.0;
    const double halfH = h / 2.0;
    double shiftX = (centerX - halfW) * c - (centerY - halfH) * s + halfW - centerX;
    double shiftY = (centerX - halfW) * s + (centerY - halfH) * c + halfH - centerY;
    if (odd) {
        shiftX += halfH - halfW;
        shiftY += halfW - halfH;
    }
    // The whole part keeps its low 16 bits; the rest is below one pixel whatever the centre.
    m_nOffsetX = static_cast<std::int16_t>(TruncateToInt(shiftX));
    m_nOffsetY = static_cast<std::int16_t>(TruncateToInt(shiftY));
    m_dFracX = shiftX - std::trunc(shiftX);
    m_dFracY = shiftY - std::trunc(shiftY);

    m_nTurnedWidth = odd ? h : w;
    m_nTurnedHeight = odd ? w : h;
    m_dShearX = -std::tan(m_dTheta / 2);
    m_dShearY = std::sin(m_dTheta);
    m_nSpanX = EvenSpan((m_nTurnedHeight - 1) * m_dShearX, m_dShearX);
    const double spanX = std::abs(m_nSpanX);
    m_nSpanY = EvenSpan((m_nTurnedWidth + spanX - 1) * m_dShearY, m_dShearY);
    const double spanY = std::abs(m_nSpanY);

    m_nInterWidth = SizeFrom(m_nTurnedWidth + 2 * spanX + m_nMarginX);
    m_nInterHeight = SizeFrom(m_nTurnedHeight + spanY + m_nMarginY);
    const double across = std::cos(std::abs(m_dTheta));
    const double along = std::sin(std::abs(m_dTheta));
    m_nOutWidth = SizeFrom(std::ceil(across * m_nTurnedWidth + along * m_nTurnedHeight) + m_nMarginX);
    m_nOutHeight = SizeFrom(std::ceil(along * m_nTurnedWidth + across * m_nTurnedHeight) + m_nMarginY);
    m_nCropX = SizeFrom(std::trunc((static_cast<double>(m_nTurnedWidth) - m_nOutWidth + m_nMarginX) / 2) + spanX);
    m_nCropY = SizeFrom(std::trunc((static_cast<double>(m_nTurnedHeight) - m_nOutHeight + m_nMarginY) / 2) + spanY / 2);
}

void CRotateFilter::SetOutput() {
    m_Out.Width = m_nOutWidth;
    m_Out.Height = m_nOutHeight;
    m_Out.FullWidth = m_nOutWidth - m_nMarginX;
    m_Out.FullHeight = m_nOutHeight - m_nMarginY;
    double x = m_InActive.OffsetX;
    double y = m_InActive.OffsetY;
    if (!Active().alignLeftBottom) {
        x += m_nOffsetX + std::abs(double{1} * m_nSpanX) - m_nCropX;
        y += m_nOffsetY + std::abs(double{1} * m_nSpanY) / 2 - m_nCropY;
    }
    m_Out.OffsetX = SizeFrom(x + m_nMarginX / 2);
    m_Out.OffsetY = SizeFrom(y + m_nMarginY / 2);
}

HRESULT CRotateFilter::GetRequiredSize(int* width, int* height, double aspect) {
    // Downstream sees the turned picture and is asked with its proportions.
    const bool odd = m_nQuarterTurns % 2 != 0;
    const double across = std::cos(std::abs(m_dTheta));
    const double along = std::sin(std::abs(m_dTheta));
    const double turned = odd ? 1 / aspect : aspect;
    const double boxWidth = across * turned + along;
    const double boxHeight = along * turned + across;
    const bool known = aspect > 0 && std::isfinite(boxWidth) && boxHeight > 0;
    const HRESULT result = CPdibFilter::GetRequiredSize(width, height, known ? boxWidth / boxHeight : aspect);
    if (*width < 1 || *height < 1) return result;
    if (known && !IsRightAngle()) {
        const double scale = std::min(*width / boxWidth, *height / boxHeight);
        *width = std::max(1, SizeFrom(scale * turned + 0.5));
        *height = std::max(1, SizeFrom(scale + 0.5));
    }
    if (odd) std::swap(*width, *height);
    return result;
}

// Pixels: cached whole

FilterResult CRotateFilter::MakePixels(const PixelRequest& request) {
    if (m_InActive.Width < 1 || m_InActive.Height < 1) return Finished(E_INVALIDARG);
    if (IsRightAngle()) return CachedWhole(request, [this] { return TurnQuarters(); });
    return CachedPass(
        request, [this] { return ShearTwice(); }, [this](const PixelRequest& part) { return Shear(part); });
}

FilterResult CRotateFilter::TurnQuarters() {
    if (const FilterResult result = FetchIntoWork(m_nOutWidth, m_nOutHeight); result != S_OK) return result;
    const passes::Planes result = passes::PlanesOf(*m_Cache, m_nOutWidth, m_nOutHeight);
    const bool covered = m_nOutWidth == m_nTurnedWidth && m_nOutHeight == m_nTurnedHeight;
    if (!covered && !ClearAround(result, {}, m_Abort)) return kNotDone;
    const passes::Planes source = passes::PlanesOf(*m_Work, m_InActive.Width, m_InActive.Height);
    return passes::TurnQuarter(source, result, m_nQuarterTurns, Active().mirror, 0, 0, m_Abort) ? kDone : kNotDone;
}

FilterResult CRotateFilter::MakeIntermediate() {
    const bool upright = m_nQuarterTurns == 0 && !Active().mirror;
    EnsureWorkImages(upright ? m_nInterWidth : m_InActive.Width, upright ? m_nInterHeight : m_InActive.Height, 0, 0);
    // Only of an intermediate picture that is in memory is it known that its places are no larger than an int.
    const passes::Area fetchedTo = upright ? UprightPicture() : passes::Area{};
    const FilterResult fetched = FetchWhole(*m_Work, fetchedTo.left, fetchedTo.bottom, true);
    if (fetched != S_OK) return fetched;
    if (!upright) {
        const passes::Planes source = passes::PlanesOf(*m_Work, m_InActive.Width, m_InActive.Height);
        auto turned = std::make_unique<CWorkImage>(m_nInterWidth, m_nInterHeight);
        const passes::Planes target = passes::PlanesOf(*turned, m_nInterWidth, m_nInterHeight);
        const passes::Area picture = UprightPicture();
        if (!passes::TurnQuarter(source, target, m_nQuarterTurns, Active().mirror, picture.left, picture.bottom,
                                 m_Abort))
            return kNotDone;
        m_Work = std::move(turned);
    }
    const passes::Planes inter = passes::PlanesOf(*m_Work, m_nInterWidth, m_nInterHeight);
    return ClearAround(inter, UprightPicture(), m_Abort) ? kDone : kNotDone;
}

// The areas of all three shears lie around the picture's centre. A hidden pixel at each end of a line takes part, so
// that the line's own ends are blended with nothing.

passes::Area CRotateFilter::UprightPicture() const {
    const int left = std::abs(m_nSpanX) + kMarginX / 2;
    const int bottom = std::abs(m_nSpanY) / 2 + kMarginY / 2;
    return {left, bottom, left + m_nTurnedWidth, bottom + m_nTurnedHeight};
}

FilterResult CRotateFilter::ShearTwice() {
    m_Cache.reset();
    if (const FilterResult made = MakeIntermediate(); made != S_OK) return made;
    const int spanX = std::abs(m_nSpanX);
    const passes::Area picture = UprightPicture();
    const passes::Area upright{picture.left - 1, picture.bottom, picture.right + 1, picture.top};
    const passes::Area slanted{spanX / 2, picture.bottom - 1, spanX / 2 + m_nTurnedWidth + spanX + 2, picture.top + 1};
    const passes::Planes inter = passes::PlanesOf(*m_Work, m_nInterWidth, m_nInterHeight);
    const auto shearX = [&] {
        return passes::XShear(inter, inter, {m_dShearX, 0.0, upright}, 0, 0, passes::TargetRows::Kept, m_Abort);
    };
    const auto shearY = [&] { return passes::YShear(inter, {m_dShearY, 0.0, slanted}, m_Abort); };
    if (!GuardShear("XShear", upright, __LINE__, shearX) || !GuardShear("YShear", slanted, __LINE__, shearY))
        return kNotDone;
    m_Cache = std::move(m_Work);
    return kDone;
}

FilterResult CRotateFilter::Shear(const PixelRequest& part) {
    const int spanX = std::abs(m_nSpanX);
    const int spanY = std::abs(m_nSpanY);
    const int cut = TruncateToInt(std::abs(m_dShearY) / 2 * (spanX - m_nTurnedWidth));
    const passes::Area whole{0, spanY / 2 + cut + 1, m_nInterWidth, spanY / 2 + m_nTurnedHeight + 5 - cut};
    const auto shear = [&] {
        std::vector<std::uint8_t*> rows, maskRows;
        for (int h = 0; h < part.height; ++h) {
            rows.push_back(part.Pixels(h).data());
            maskRows.push_back(part.Mask(h).data());
        }
        // Only this one moves by the centre's fraction.
        return passes::XShear(passes::PlanesOf(*m_Cache, m_nInterWidth, m_nInterHeight),
                              {rows.data(), maskRows.data(), part.width, part.height}, {m_dShearX, m_dFracX, whole},
                              m_nCropX + part.srcX, m_nCropY + part.srcY, passes::TargetRows::Cleared, m_Abort);
    };
    return GuardShear("XShear", whole, __LINE__, shear) ? kDone : kNotDone;
}

}  // namespace kestrel
