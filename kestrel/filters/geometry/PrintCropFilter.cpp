#include "kestrel/filters/geometry/PrintCropFilter.h"

#include <fmt/format.h>

#include <cstring>

#include "kestrel/filters/geometry/CropRecord.h"
#include "kestrel/filters/geometry/RangedKeys.h"

namespace kestrel {
namespace {

constexpr RangedKey<PrintCropRecord> kKeys[] = {
    {"MarginL", &PrintCropRecord::m_dMarginL, 0.0, 0, 1},   {"MarginR", &PrintCropRecord::m_dMarginR, 1.0, 0, 1},
    {"MarginB", &PrintCropRecord::m_dMarginB, 0.0, 0, 1},   {"MarginT", &PrintCropRecord::m_dMarginT, 1.0, 0, 1},
    {"Width", &PrintCropRecord::m_dWidth, 15.0, 0.1, 1000}, {"Height", &PrintCropRecord::m_dHeight, 10.0, 0.1, 1000},
    {"Measur", &PrintCropRecord::m_nMeasur, 1, 0, 1},       {"PPI", &PrintCropRecord::m_dPPI, 100.0, 0.1, 10000},
    {"FixedPPI", &PrintCropRecord::m_bFixedPPI, 0},
};

std::string Written(const PrintCropRecord& r) {
    return fmt::format(
        "MarginL={:.4f}, MarginR={:.4f}, MarginB={:.4f}, MarginT={:.4f}, Width={:.4f}, Height={:.4f}, Measur={}, "
        "PPI={:.4f}, FixedPPI={}",
        r.m_dMarginL, r.m_dMarginR, r.m_dMarginB, r.m_dMarginT, r.m_dWidth, r.m_dHeight, r.m_nMeasur, r.m_dPPI,
        r.m_bFixedPPI ? 1 : 0);
}

}  // namespace

ParameterInfo CPrintCropFilter::Parameters() {
    ParameterInfo info = table::Info(kPrintCropText);
    table::AddRanged(kKeys, PrintCropRecord{}, &info);
    return info;
}

CPrintCropFilter::CPrintCropFilter() : WrapperFilter(PrintCropRecord{}, {"TMFilter.Crop.1"}) { DriveLine(); }

void CPrintCropFilter::DriveLine() {
    CropRecord crop;
    crop.m_dLeft = Pending().m_dMarginL;
    crop.m_dRight = Pending().m_dMarginR;
    crop.m_dBottom = Pending().m_dMarginB;
    crop.m_dTop = Pending().m_dMarginT;
    crop.m_bFixRatioOn = false;
    crop.m_dFixRatio = 1.0;
    crop.m_nDlgSizeX = crop.m_nDlgSizeY = 0;
    m_Line.SetText(0, WriteCrop(crop));
}

void CPrintCropFilter::ReadText(std::string_view text) {
    table::ReadRanged(text, kKeys, Pending());
    DriveLine();
}

std::string CPrintCropFilter::PendingText() const { return Written(Pending()); }

std::string CPrintCropFilter::ActiveText() const { return Written(Active()); }

HRESULT CPrintCropFilter::PassAlong15(void* value) {
    if (value) std::memcpy(value, &Active().m_dPPI, sizeof Active().m_dPPI);
    return S_OK;
}

}  // namespace kestrel
