#include "kestrel/filters/geometry/PrintScaleFilter.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

namespace kestrel {
namespace {

enum Place : std::size_t { kRotatePlace, kScalePlace };

/// The quarter turns that an angle in degrees stands for; a full circle and more count as none.
int TurnsOf(double angle) {
    constexpr std::array limits = {89.9, 179.9, 269.9, 359.9};
    return static_cast<int>(std::upper_bound(limits.begin(), limits.end(), angle) - limits.begin()) % 4;
}

}  // namespace

CPrintScaleFilter::CPrintScaleFilter() : WrapperFilter(PrintScaleRecord{}, {"TMFilter.Rotate.1", "TMFilter.Scale.1"}) {
    DriveLine();
}

void CPrintScaleFilter::DriveLine() {
    const PrintScaleRecord& r = Pending();
    m_Line.SetText(kRotatePlace, fmt::format("MirrorOn=0, Angle={:3.3f}", r.printTurn * 90.0));
    m_Line.SetText(kScalePlace,
                   fmt::format("KeepProportions=1, AllowEnlarge=1, MaximumHorizontalSize={}, MaximumVerticalSize={}",
                               r.printWidth, r.printHeight));
}

PrintScaleRecord CPrintScaleFilter::Shown() const {
    const std::string scale = m_Line.ActiveText(kScalePlace);
    PrintScaleRecord record;
    record.printWidth = ReadIntAfterEquals(scale, "MaximumHorizontalSize").value_or(record.printWidth);
    record.printHeight = ReadIntAfterEquals(scale, "MaximumVerticalSize").value_or(record.printHeight);
    record.printTurn = TurnsOf(ReadDoubleAfterEquals(m_Line.ActiveText(kRotatePlace), "Angle").value_or(0));
    return record;
}

}  // namespace kestrel
