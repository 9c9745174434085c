#include "kestrel/passes/DustRepair.h"

#include <algorithm>
#include <cstddef>
#include <span>

namespace kestrel::passes {

DustRepair::DustRepair(const Planes& picture, kernels::DustRule rule, RowSpan wanted)
    : picture_(picture),
      rule_(rule),
      wanted_(wanted),
      brightness_(kernels::kDustWindow + 1, kernels::DustRow(picture.width)) {
    const auto width = static_cast<std::size_t>(picture.width);
    for (Specks& specks : specks_) {
        specks.room.resize(width + 1);
        specks.means.resize(width * 3 + kernels::kMeansSlack);
    }
}

bool DustRepair::Continue(int end, const AbortFlag& abort) {
    const int height = picture_.height;
    const int complete = end < height ? end - kernels::kDustReach : height;
    for (; found_ < complete; ++found_) {
        if (abort.IsSet()) return false;
        for (const int top = std::min(found_ + kernels::kDustReach, height - 1); measured_ <= top; ++measured_)
            BrightnessOf(measured_).Measure(picture_.Pixels(measured_));
        Find(found_);
        if (found_ > 0) Replace(found_ - 1);
    }
    return true;
}

void DustRepair::Find(int y) {
    Specks& specks = specks_[y % 2];
    specks.places = {};
    if (y == 0 || y == picture_.height - 1 || y < wanted_.first || y >= wanted_.End()) return;
    kernels::DustWindow window;
    for (int i = 0; i < kernels::kDustWindow; ++i)
        window[static_cast<std::size_t>(i)] = &BrightnessOf(y - kernels::kDustReach + i);
    specks.places = kernels::FindSpecks(window, rule_, specks.room);
    kernels::MeanAroundSpecks({picture_.Pixels(y - 1), picture_.Pixels(y), picture_.Pixels(y + 1)}, specks.places,
                              specks.means);
}

void DustRepair::Replace(int y) {
    const Specks& specks = specks_[y % 2];
    kernels::ReplaceSpecks(specks.places, specks.means, picture_.Pixels(y));
}

kernels::DustRow& DustRepair::BrightnessOf(int y) {
    const bool outside = y < 0 || y >= picture_.height;
    return brightness_[static_cast<std::size_t>(outside ? kernels::kDustWindow : y % kernels::kDustWindow)];
}

}  // namespace kestrel::passes
