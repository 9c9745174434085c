#include "kestrel/filters/geometry/CropRecord.h"

#include <algorithm>

namespace kestrel {

void FitRatio(double ratio, int inW, int inH, double* left, double* bottom, double* right, double* top) {
    if (!(ratio > 0) || inW < 1 || inH < 1) return;
    double cx = (*left + *right) / 2;
    double cy = (*bottom + *top) / 2;
    const double fw = std::max(*right - *left, 0.0);
    const double fh = std::max(*top - *bottom, 0.0001);
    const double base = std::max(fw, fh);
    const double k = ratio / (static_cast<double>(inW) / inH);
    double width = k >= 1 ? base : k * base;
    double height = k >= 1 ? base / k : base;
    if (width >= 1) {
        width = 1;
        height = 1 / k;
    }
    if (height >= 1) {
        height = 1;
        width = k * height;
    }
    const double hw = width / 2;
    const double hh = height / 2;
    const auto hold = [](double centre, double half) { return std::min(std::max(centre, half), 1 - half); };
    cx = hold(cx, hw);
    cy = hold(cy, hh);
    *left = cx - hw;
    *right = cx + hw;
    *bottom = cy - hh;
    *top = cy + hh;
}

void FitRatio(CropRecord& r, int inW, int inH) {
    if (!r.fixRatioOn || r.fixRatio == CropRecord::kOwnRatio) return;
    const double ratio = r.HasDialogSize() ? static_cast<double>(r.dialogWidth) / r.dialogHeight : r.fixRatio;
    FitRatio(ratio, inW, inH, &r.left, &r.bottom, &r.right, &r.top);
}

}  // namespace kestrel
