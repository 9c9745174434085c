#include "kestrel/filters/geometry/PrintScaleFilter.h"

#include <fmt/format.h>

#include "kestrel/filters/geometry/RangedKeys.h"

namespace kestrel {
namespace {

enum Place : std::size_t { kRotatePlace, kScalePlace };

constexpr RangedKey<PrintScaleRecord> kKeys[] = {
    {"PrintWidth", &PrintScaleRecord::m_nPrintWidth, 100, 1, 1000000},
    {"PrintHeight", &PrintScaleRecord::m_nPrintHeight, 100, 1, 1000000},
    {"PrintTurn", &PrintScaleRecord::m_nPrintTurn, 0},
};

std::string Written(const PrintScaleRecord& r) {
    return fmt::format("PrintWidth={}, PrintHeight={}, PrintTurn={}", r.m_nPrintWidth, r.m_nPrintHeight,
                       r.m_nPrintTurn);
}

/// Quarter turns behind an angle in degrees; a full circle and more are none.
int TurnsOf(double angle) {
    int turns = 0;
    for (const double limit : {89.9, 179.9, 269.9, 359.9}) {
        if (angle < limit) return turns;
        ++turns;
    }
    return 0;
}

}  // namespace

ParameterInfo CPrintScaleFilter::Parameters() {
    ParameterInfo info = table::Info(kPrintScaleText);
    table::AddRanged(kKeys, PrintScaleRecord{}, &info);
    return info;
}

CPrintScaleFilter::CPrintScaleFilter() : WrapperFilter(PrintScaleRecord{}, {"TMFilter.Rotate.1", "TMFilter.Scale.1"}) {
    DriveLine();
}

void CPrintScaleFilter::DriveLine() {
    const PrintScaleRecord& r = Pending();
    m_Line.SetText(kRotatePlace, fmt::format("MirrorOn=0, Angle={:3.3f}", r.m_nPrintTurn * 90.0));
    m_Line.SetText(kScalePlace,
                   fmt::format("KeepProportions=1, AllowEnlarge=1, MaximumHorizontalSize={}, MaximumVerticalSize={}",
                               r.m_nPrintWidth, r.m_nPrintHeight));
}

void CPrintScaleFilter::ReadText(std::string_view text) {
    table::ReadRanged(text, kKeys, Pending());
    DriveLine();
}

std::string CPrintScaleFilter::PendingText() const { return Written(Pending()); }

std::string CPrintScaleFilter::ActiveText() const {
    const std::string scale = m_Line.ActiveText(kScalePlace);
    PrintScaleRecord record;
    record.m_nPrintWidth = ReadIntBehindEquals(scale, "MaximumHorizontalSize").value_or(record.m_nPrintWidth);
    record.m_nPrintHeight = ReadIntBehindEquals(scale, "MaximumVerticalSize").value_or(record.m_nPrintHeight);
    record.m_nPrintTurn = TurnsOf(ReadDoubleBehindEquals(m_Line.ActiveText(kRotatePlace), "Angle").value_or(0));
    return Written(record);
}

}  // namespace kestrel
