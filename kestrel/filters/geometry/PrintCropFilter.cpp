#include "kestrel/filters/geometry/PrintCropFilter.h"

#include <cstring>

#include "kestrel/filters/geometry/CropRecord.h"

namespace kestrel {

CPrintCropFilter::CPrintCropFilter() : WrapperFilter(PrintCropRecord{}, {"TMFilter.Crop.1"}) { DriveLine(); }

void CPrintCropFilter::DriveLine() {
    CropRecord crop;
    crop.left = Pending().marginL;
    crop.right = Pending().marginR;
    crop.bottom = Pending().marginB;
    crop.top = Pending().marginT;
    crop.fixRatioOn = false;
    crop.fixRatio = 1.0;
    crop.dialogWidth = crop.dialogHeight = 0;
    m_Line.SetText(0, table::Written(kCropText, crop));
}

HRESULT CPrintCropFilter::PassAlong15(void* value) {
    if (value) std::memcpy(value, &Active().ppi, sizeof Active().ppi);
    return S_OK;
}

}  // namespace kestrel
