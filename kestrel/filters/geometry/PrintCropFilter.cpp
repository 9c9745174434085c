#include "kestrel/filters/geometry/PrintCropFilter.h"

#include <cstring>

#include "kestrel/filters/geometry/CropRecord.h"

namespace kestrel {

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
    m_Line.SetText(0, table::Written(kCropText, crop));
}

HRESULT CPrintCropFilter::PassAlong15(void* value) {
    if (value) std::memcpy(value, &Active().m_dPPI, sizeof Active().m_dPPI);
    return S_OK;
}

}  // namespace kestrel
