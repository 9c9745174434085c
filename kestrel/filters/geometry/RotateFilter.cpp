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
    m_Columns = nullptr;
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
        request, [&] { return MakeIntermediate(request); }, [this](const PixelRequest& part) { return Shear(part); });
}

FilterResult CRotateFilter::TurnQuarters() {
    if (const FilterResult result = FetchIntoWork(m_nOutWidth, m_nOutHeight); result != S_OK) return result;
    const passes::Planes result = passes::PlanesOf(*m_Cache, m_nOutWidth, m_nOutHeight);
    const bool covered = m_nOutWidth == m_nTurnedWidth && m_nOutHeight == m_nTurnedHeight;
    if (!covered && !ClearAround(result, {}, m_Abort)) return kNotDone;
    const passes::Planes source = passes::PlanesOf(*m_Work, m_InActive.Width, m_InActive.Height);
    return passes::TurnQuarter(source, result, m_nQuarterTurns, Active().mirror, 0, 0, m_Abort) ? kDone : kNotDone;
}

std::optional<RowSpan> CRotateFilter::InputRows(RowSpan output) const {
    if (!OnlySlants() || m_InActive.Height < 1) return std::nullopt;
    const RowSpan rows = IntermediateRows(output);
    const std::int64_t bottom = std::abs(std::int64_t{m_nSpanY}) / 2 + kMarginY / 2;
    const auto inInput = [&](std::int64_t row) {
        return static_cast<int>(std::clamp<std::int64_t>(row - bottom, 0, m_InActive.Height));
    };
    const int first = inInput(rows.first);
    return RowSpan{first, inInput(std::int64_t{rows.first} + rows.count) - first};
}

/// A column moves by little more than half the span of them all, and is blended with the pixel next to it.
std::int64_t CRotateFilter::RowsAround() const { return std::abs(std::int64_t{m_nSpanY}) / 2 + kMarginY; }

RowSpan CRotateFilter::IntermediateRows(RowSpan output) const {
    const std::int64_t around = RowsAround();
    const auto inside = [&](std::int64_t row) {
        return static_cast<int>(std::clamp<std::int64_t>(row, 0, std::max(m_nInterHeight, 0)));
    };
    const int first = inside(std::int64_t{m_nCropY} + output.first - around);
    return {first, inside(std::int64_t{m_nCropY} + output.first + output.count + around) - first};
}

// The areas of all three shears lie around the picture's centre. A hidden pixel at each end of a line takes part, so
// that the line's own ends are blended with nothing.

passes::Area CRotateFilter::UprightPicture() const {
    const int left = std::abs(m_nSpanX) + kMarginX / 2;
    const int bottom = std::abs(m_nSpanY) / 2 + kMarginY / 2;
    return {left, bottom, left + m_nTurnedWidth, bottom + m_nTurnedHeight};
}

passes::Area CRotateFilter::SlantedPicture() const {
    const int spanX = std::abs(m_nSpanX);
    const passes::Area picture = UprightPicture();
    return {spanX / 2, picture.bottom - 1, spanX / 2 + m_nTurnedWidth + spanX + 2, picture.top + 1};
}

passes::Area CRotateFilter::MovedRows() const {
    const int spanX = std::abs(m_nSpanX);
    const int spanY = std::abs(m_nSpanY);
    const int cut = TruncateToInt(std::abs(m_dShearY) / 2 * (spanX - m_nTurnedWidth));
    return {0, spanY / 2 + cut + 1, m_nInterWidth, spanY / 2 + m_nTurnedHeight + 5 - cut};
}

passes::Planes CRotateFilter::Intermediate(RowSpan rows) const {
    return {m_Rows.data() + rows.first, m_MaskRows.data() + rows.first, m_nInterWidth, rows.count};
}

FilterResult CRotateFilter::MakeIntermediate(const PixelRequest& request) {
    if (!WorksInBands()) m_Cache.reset();
    const FilterResult made = OnlySlants() ? MakeSlanted(request) : TurnAndSlant();
    return made.Ok() && !WorksInBands() ? ShearColumns() : made;
}

FilterResult CRotateFilter::ShearColumns() {
    const passes::Planes all = Intermediate({0, m_nInterHeight});
    const bool done = GuardShear("YShear", SlantedPicture(), __LINE__, [&] { return m_Columns(all, all, 0, m_Abort); });
    return done ? kDone : kNotDone;
}

FilterResult CRotateFilter::MakeSlanted(const PixelRequest& request) {
    const RowSpan wanted =
        WorksInBands() ? IntermediateRows({request.srcY, request.height}) : RowSpan{0, m_nInterHeight};
    if (!m_Cache || wanted.End() > m_Held.End() || wanted.End() < m_Held.first) m_Held = {wanted.End(), 0};
    HoldRows(WorksInBands() ? request.height + 2 * RowsAround() : m_nInterHeight);
    const RowSpan held = std::exchange(m_Held, {});  // none until the others are made
    const int first = std::min(wanted.first, held.first);
    if (const FilterResult made = SlantRows({first, held.first - first}); !made.Ok()) return made;
    m_Held = {first, std::min(held.End() - first, m_Cache->Height())};
    return kDone;
}

void CRotateFilter::HoldRows(std::int64_t count) {
    constexpr int kMore = 16;  // bands differ by some rows
    const int kept = static_cast<int>(std::min<std::int64_t>(count + kMore, m_nInterHeight));
    if (m_Cache && m_Cache->Height() >= std::min<std::int64_t>(count, m_nInterHeight)) return;
    auto cache = std::make_unique<CWorkImage>(m_nInterWidth, kept);
    // Only of rows that are in memory is it known that the places in the picture are no larger than an int.
    if (!m_Columns) m_Columns = passes::YShear({m_dShearY, 0.0, SlantedPicture()}, m_nInterWidth, m_nInterHeight);
    const auto place = [&](int y) { return y % cache->Height(); };
    for (int y = m_Held.first; m_Cache && y < m_Held.End(); ++y) {
        std::copy_n(m_Rows[static_cast<std::size_t>(y)], 3 * std::ptrdiff_t{m_nInterWidth}, cache->Rows()[place(y)]);
        std::copy_n(m_MaskRows[static_cast<std::size_t>(y)], m_nInterWidth, cache->MaskRows()[place(y)]);
    }
    m_Rows.clear();
    m_MaskRows.clear();
    for (int y = 0; y < m_nInterHeight; ++y) {
        m_Rows.push_back(cache->Rows()[place(y)]);
        m_MaskRows.push_back(cache->MaskRows()[place(y)]);
    }
    m_Cache = std::move(cache);
}

FilterResult CRotateFilter::SlantRows(RowSpan rows) {
    constexpr int kShared = 16;  // bands that several threads shear together
    const passes::Area picture = UprightPicture();
    const int band = BandRows(m_InActive.Width) * (HelperThreads::Count() > 1 ? kShared : 1);
    const int step = kestrel::ServesBands(m_Upstream.get()) ? band : std::max(rows.count, 1);
    const bool opaque = kestrel::IsOpaque(m_Upstream.get());
    for (int first = rows.first; first < rows.End(); first += std::min(step, rows.End() - first)) {
        const RowSpan part{first, std::min(step, rows.End() - first)};
        const int from = std::clamp(picture.bottom, part.first, part.End());
        const int end = std::clamp(picture.top, from, part.End());
        const passes::Area filled{picture.left, from - first, picture.right, end - first};
        if (!ClearAround(Intermediate(part), opaque ? filled : passes::Area{}, m_Abort)) return kNotDone;
        if (from < end) {
            const FilterResult fetched = FetchUpstream({picture.left, from, 0, from - picture.bottom, m_InActive.Width,
                                                        end - from, m_Rows.data(), m_MaskRows.data()});
            if (!fetched.Ok()) return fetched;
        }
        if (!ShearRows(part)) return kNotDone;
    }
    return kDone;
}

FilterResult CRotateFilter::TurnAndSlant() {
    EnsureWorkImages(m_InActive.Width, m_InActive.Height, 0, 0);
    if (const FilterResult fetched = FetchWhole(*m_Work, 0, 0, true); !fetched.Ok()) return fetched;
    HoldRows(m_nInterHeight);
    const RowSpan all{0, m_nInterHeight};
    const passes::Area picture = UprightPicture();
    const passes::Planes source = passes::PlanesOf(*m_Work, m_InActive.Width, m_InActive.Height);
    return passes::TurnQuarter(source, Intermediate(all), m_nQuarterTurns, Active().mirror, picture.left,
                               picture.bottom, m_Abort) &&
                   ClearAround(Intermediate(all), picture, m_Abort) && ShearRows(all)
               ? kDone
               : kNotDone;
}

bool CRotateFilter::ShearRows(RowSpan rows) {
    const passes::Area picture = UprightPicture();
    const passes::Area upright{picture.left - 1, picture.bottom, picture.right + 1, picture.top};
    return GuardShear("XShear", upright, __LINE__, [&] {
        return passes::XShear(Intermediate({0, m_nInterHeight}), Intermediate(rows), {m_dShearX, 0.0, upright}, 0,
                              rows.first, passes::TargetRows::Kept, m_Abort);
    });
}

FilterResult CRotateFilter::Shear(const PixelRequest& part) {
    if (!WorksInBands()) return ShearRowsAgain(part, Intermediate({0, m_nInterHeight}), 0) ? kDone : kNotDone;
    const int band = std::min(BandRows(m_nInterWidth), part.height);
    const auto shear = [&](std::int64_t from, std::int64_t end, const CWorkImage& slanted) {
        for (; from < end; from += band)
            if (!ShearPart(part.Part(static_cast<int>(from), static_cast<int>(std::min(from + band, end))), slanted))
                return false;
        return true;
    };
    if (HelperThreads::Count() == 1 || band == part.height) {
        EnsureWorkImages(m_nInterWidth, band, 0, 0);  // kept for the next part
        return shear(0, part.height, *m_Work) ? kDone : kNotDone;
    }
    const bool done = ShareRows(0, part.height, [&](std::int64_t from, std::int64_t end) {
        return shear(from, end, CWorkImage(m_nInterWidth, band));
    });
    return done ? kDone : kNotDone;
}

bool CRotateFilter::ShearPart(const PixelRequest& part, const CWorkImage& slanted) const {
    const passes::Area whole = MovedRows();
    // The rows of the intermediate picture that those of the part are, and what of them has pixels that move.
    const int bottom = m_nCropY + part.srcY;
    const int first = std::max(bottom, 0);
    const int end = std::clamp(bottom + part.height, first, std::max(m_nInterHeight, first));
    const int from = std::clamp(whole.bottom, first, end);
    const int count = std::clamp(whole.top, from, end) - from;
    const passes::Planes columns{slanted.Rows() + (from - first), slanted.MaskRows() + (from - first), m_nInterWidth,
                                 count};
    if (!GuardShear("YShear", SlantedPicture(), __LINE__, [&] {
            return m_Columns(Intermediate({0, m_nInterHeight}), columns, from, m_Abort);
        }))
        return false;
    return ShearRowsAgain(part, passes::PlanesOf(slanted, m_nInterWidth, end - first), first);
}

bool CRotateFilter::ShearRowsAgain(const PixelRequest& part, const passes::Planes& sheared, int first) const {
    const passes::Area moved = MovedRows();
    return GuardShear("XShear", moved, __LINE__, [&] {
        std::vector<std::uint8_t*> rows, maskRows;
        for (int h = 0; h < part.height; ++h) {
            rows.push_back(part.Pixels(h).data());
            maskRows.push_back(part.Mask(h).data());
        }
        const passes::Area area{moved.left, moved.bottom - first, moved.right, moved.top - first};
        // Only this one moves by the centre's fraction.
        return passes::XShear(sheared, {rows.data(), maskRows.data(), part.width, part.height},
                              {m_dShearX, m_dFracX, area}, m_nCropX + part.srcX, m_nCropY + part.srcY - first,
                              passes::TargetRows::Cleared, m_Abort);
    });
}

}  // namespace kestrel
