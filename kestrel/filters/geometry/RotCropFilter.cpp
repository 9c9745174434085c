#include "kestrel/filters/geometry/RotCropFilter.h"

#include <fmt/format.h>

namespace kestrel {
namespace {

enum RotCropPlace : std::size_t { kStraightenPlace, kOffsetPlace, kCropPlace };

}  // namespace

CRotCropFilter::CRotCropFilter()
    : WrapperFilter(RotCropRecord{}, {"TMFilter.Rotate.1", "TMFilter.Offset.1", "TMFilter.Crop.1"}) {
    m_Line.SetText(kOffsetPlace, "OffsetX=001, OffsetY=003");  // what a rotation adds to the origin
    DriveLine();
}

void CRotCropFilter::DriveLine() {
    constexpr double kPi = 3.141592653589793;
    const RotCropRecord& r = Pending();
    const double degrees = (r.mirrored ? -1.0 : 1.0) * r.angle * 180 / kPi;
    m_Line.SetText(kCropPlace, table::Written<CropRecord>(kCropText, r));
    m_Line.SetText(kStraightenPlace, fmt::format("Angle={:3.3f}, MirrorOn={}", degrees, r.mirrored ? 1 : 0));
}

HRESULT CRotCropFilter::CommitChanges() {
    const HRESULT result = WrapperFilter::CommitChanges();
    // The crop may have fitted its margins to the turned picture.
    table::ReadAll<CropRecord>(m_Line.ActiveText(kCropPlace), kCropText, Pending());
    Active() = Pending();
    return result;
}

}  // namespace kestrel
