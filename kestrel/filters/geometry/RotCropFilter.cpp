#include "kestrel/filters/geometry/RotCropFilter.h"

#include <fmt/format.h>

#include <tuple>

#include "kestrel/filters/geometry/RangedKeys.h"

namespace kestrel {
namespace {

enum Place : std::size_t { kRotatePlace, kOffsetPlace, kCropPlace };

constexpr RangedKey<RotCropRecord> kKeys[] = {
    {"Mirrored", &RotCropRecord::m_bMirrored, 0},    {"Angle", &RotCropRecord::m_dAngle, 0, -1e9, 1e9},
    {"Rot1X", &RotCropRecord::m_dRot1X, 0.25, 0, 1}, {"Rot1Y", &RotCropRecord::m_dRot1Y, 0.5, 0, 1},
    {"Rot2X", &RotCropRecord::m_dRot2X, 0.75, 0, 1}, {"Rot2Y", &RotCropRecord::m_dRot2Y, 0.5, 0, 1},
};

std::string Written(const RotCropRecord& r) {
    return WriteCrop(r) + fmt::format(
                              ", Mirrored={}, Angle={:4.4f},Rot1X={:1.5f},Rot1Y={:1.5f}, Rot2X={:1.5f}, "
                              "Rot2Y={:1.5f}",
                              r.m_bMirrored ? 1 : 0, r.m_dAngle, r.m_dRot1X, r.m_dRot1Y, r.m_dRot2X, r.m_dRot2Y);
}

}  // namespace

bool RotCropRecord::operator==(const RotCropRecord& other) const {
    const auto own = [](const RotCropRecord& r) {
        return std::tie(r.m_bMirrored, r.m_dAngle, r.m_dRot1X, r.m_dRot1Y, r.m_dRot2X, r.m_dRot2Y);
    };
    return CropRecord::operator==(other) && own(*this) == own(other);
}

ParameterInfo CRotCropFilter::Parameters() {
    ParameterInfo info = table::Info(kRotCropText);
    AddCropKeys(&info);
    table::AddRanged(kKeys, RotCropRecord{}, &info);
    return info;
}

CRotCropFilter::CRotCropFilter()
    : WrapperFilter(RotCropRecord{}, {"TMFilter.Rotate.1", "TMFilter.Offset.1", "TMFilter.Crop.1"}) {
    m_Line.SetText(kOffsetPlace, "OffsetX=001, OffsetY=003");  // what a rotation adds to the origin
    DriveLine();
}

void CRotCropFilter::DriveLine() {
    constexpr double kPi = 3.141592653589793;
    const RotCropRecord& r = Pending();
    const double degrees = (r.m_bMirrored ? -1.0 : 1.0) * r.m_dAngle * 180 / kPi;
    m_Line.SetText(kCropPlace, WriteCrop(r));
    m_Line.SetText(kRotatePlace, fmt::format("Angle={:3.3f}, MirrorOn={}", degrees, r.m_bMirrored ? 1 : 0));
}

void CRotCropFilter::ReadText(std::string_view text) {
    ReadCrop(text, Pending());
    table::ReadRanged(text, kKeys, Pending());
    DriveLine();
}

HRESULT CRotCropFilter::CommitChanges() {
    const HRESULT result = WrapperFilter::CommitChanges();
    // The crop may have fitted its margins to the turned picture.
    ReadCrop(m_Line.ActiveText(kCropPlace), Pending());
    Active() = Pending();
    return result;
}

std::string CRotCropFilter::PendingText() const { return Written(Pending()); }

std::string CRotCropFilter::ActiveText() const { return Written(Active()); }

}  // namespace kestrel
