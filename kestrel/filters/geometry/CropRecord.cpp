#include "kestrel/filters/geometry/CropRecord.h"

#include <fmt/format.h>

#include <cmath>
#include <tuple>

#include "kestrel/filters/geometry/RangedKeys.h"

namespace kestrel {
namespace {

constexpr double kSameFraction = 0.0001;

constexpr RangedKey<CropRecord> kKeys[] = {
    {"LeftMargin", &CropRecord::m_dLeft, 0.0, 0, 1},
    {"RightMargin", &CropRecord::m_dRight, 1.0, 0, 1},
    {"BottomMargin", &CropRecord::m_dBottom, 0.0, 0, 1},
    {"TopMargin", &CropRecord::m_dTop, 1.0, 0, 1},
    {"ShrinkAlpha", &CropRecord::m_bShrinkAlpha, 0},
    {"FixRatioOn", &CropRecord::m_bFixRatioOn, 1},
    {"FixRatio", &CropRecord::m_dFixRatio, CropRecord::kOwnRatio, 0.0001, 10000},
    {"AdjustOri", &CropRecord::m_nAdjustOri, -1},
    {"Landscape", &CropRecord::m_bLandscape, 0},
    {"DlgSizeX", &CropRecord::m_nDlgSizeX, 0, 0, 100000},
    {"DlgSizeY", &CropRecord::m_nDlgSizeY, 0, 0, 100000},
};

}  // namespace

bool CropRecord::operator==(const CropRecord& other) const {
    const auto same = [](double a, double b) { return !(std::abs(a - b) > kSameFraction); };
    const auto exact = [](const CropRecord& r) {
        return std::tie(r.m_bShrinkAlpha, r.m_bFixRatioOn, r.m_nAdjustOri, r.m_bLandscape, r.m_nDlgSizeX,
                        r.m_nDlgSizeY);
    };
    return same(m_dLeft, other.m_dLeft) && same(m_dRight, other.m_dRight) && same(m_dBottom, other.m_dBottom) &&
           same(m_dTop, other.m_dTop) && same(m_dFixRatio, other.m_dFixRatio) && exact(*this) == exact(other);
}

void ReadCrop(std::string_view text, CropRecord& record) {
    table::ReadRanged(text, kKeys, record);
    // The one value outside its range that has a meaning.
    if (ReadDoubleBehindEquals(text, "FixRatio") == CropRecord::kOwnRatio) record.m_dFixRatio = CropRecord::kOwnRatio;
}

std::string WriteCrop(const CropRecord& r) {
    const auto flag = [](bool value) { return value ? 1 : 0; };
    std::string text = fmt::format(
        "LeftMargin={:2.4f}, RightMargin={:2.4f}, BottomMargin={:2.4f}, TopMargin={:2.4f}, ShrinkAlpha={}, "
        "FixRatioOn={}",
        r.m_dLeft, r.m_dRight, r.m_dBottom, r.m_dTop, flag(r.m_bShrinkAlpha), flag(r.m_bFixRatioOn));
    if (r.m_bFixRatioOn) text += fmt::format(", FixRatio={:2.4f}, Landscape={}", r.m_dFixRatio, flag(r.m_bLandscape));
    if (r.m_nAdjustOri != -1) text += fmt::format(", AdjustOri={}", r.m_nAdjustOri);
    if (r.HasDialogSize()) text += fmt::format(", DlgSizeX={}, DlgSizeY={}", r.m_nDlgSizeX, r.m_nDlgSizeY);
    return text;
}

void AddCropKeys(ParameterInfo* info) { table::AddRanged(kKeys, CropRecord{}, info); }

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
    if (!r.m_bFixRatioOn || r.m_dFixRatio == CropRecord::kOwnRatio) return;
    const double ratio = r.HasDialogSize() ? static_cast<double>(r.m_nDlgSizeX) / r.m_nDlgSizeY : r.m_dFixRatio;
    FitRatio(ratio, inW, inH, &r.m_dLeft, &r.m_dBottom, &r.m_dRight, &r.m_dTop);
}

}  // namespace kestrel
