#include "kestrel/passes/DustRepair.h"

#include <algorithm>
#include <cstddef>
#include <span>

namespace kestrel::passes {

DustRepair::DustRepair(const Planes& picture, kernels::DustRule rule)
    : picture_(picture),
      rule_(rule),
      brightness_(kernels::kDustWindow + 1, kernels::DustRow(picture.width)),
      old_(static_cast<std::size_t>(picture.width) * 6),
      specks_(static_cast<std::size_t>(picture.width) + kernels::kDustSlack) {}

bool DustRepair::Continue(int end, const AbortFlag& abort) {
    const int height = picture_.height;
    const int complete = end < height ? end - kernels::kDustReach : height;
    for (; done_ < complete; ++done_) {
        if (abort.IsSet()) return false;
        for (const int top = std::min(done_ + kernels::kDustReach, height - 1); measured_ <= top; ++measured_)
            BrightnessOf(measured_).Measure(picture_.Pixels(measured_));
        std::copy_n(picture_.rows[done_], picture_.width * 3, OldRow(done_).data());
        if (done_ > 0 && done_ < height - 1) Repair(done_);
    }
    return true;
}

void DustRepair::Repair(int y) {
    kernels::DustWindow window;
    for (int i = 0; i < kernels::kDustWindow; ++i)
        window[static_cast<std::size_t>(i)] = &BrightnessOf(y - kernels::kDustReach + i);
    kernels::FindSpecks(window, rule_, specks_);
    kernels::RepairSpecks({OldRow(y - 1), OldRow(y), picture_.Pixels(y + 1)}, specks_, picture_.Pixels(y));
}

kernels::DustRow& DustRepair::BrightnessOf(int y) {
    const bool outside = y < 0 || y >= picture_.height;
    return brightness_[static_cast<std::size_t>(outside ? kernels::kDustWindow : y % kernels::kDustWindow)];
}

kernels::Row DustRepair::OldRow(int y) {
    const std::size_t size = old_.size() / 2;
    return std::span(old_).subspan(y % 2 ? size : 0, size);
}

}  // namespace kestrel::passes
