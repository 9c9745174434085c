#include "kestrel/passes/DustRepair.h"

#include <algorithm>
#include <cstddef>
#include <span>
#include <vector>

namespace kestrel::passes {
namespace {

/// The brightness of the rows of one window, each at its number modulo the window's size, and a row of what is outside
/// the picture.
class BrightnessWindow {
public:
    explicit BrightnessWindow(const ConstPlanes& picture)
        : picture_(picture),
          length_(kernels::DustRowLength(picture.width)),
          brightness_(length_ * (kernels::kDustWindow + 1), kernels::kDustOutside) {
        for (int y = 0; y < std::min(picture.height, kernels::kDustReach); ++y) Measure(y);
    }

    /// The window around row `y`; rows are asked for one after the other.
    kernels::DustWindow Around(int y) {
        Measure(y + kernels::kDustReach);
        kernels::DustWindow rows;
        for (int i = 0; i < kernels::kDustWindow; ++i)
            rows[static_cast<std::size_t>(i)] = RowOf(y - kernels::kDustReach + i);
        return rows;
    }

private:
    void Measure(int y) {
        if (y < picture_.height) kernels::MeasureBrightness(picture_.Pixels(y), RowOf(y));
    }
    std::span<std::int16_t> RowOf(int y) {
        const bool outside = y < 0 || y >= picture_.height;
        const int slot = outside ? kernels::kDustWindow : y % kernels::kDustWindow;
        return std::span(brightness_).subspan(length_ * static_cast<std::size_t>(slot), length_);
    }

    const ConstPlanes picture_;
    const std::size_t length_;
    std::vector<std::int16_t> brightness_;
};

}  // namespace

bool RepairDust(const ConstPlanes& source, const Planes& target, kernels::DustRule rule, const AbortFlag& abort) {
    for (int y = 0; y < source.height; ++y) {
        if (abort.IsSet()) return false;
        std::ranges::copy(source.Pixels(y), target.rows[y]);
        std::ranges::copy(source.Mask(y), target.maskRows[y]);
    }
    BrightnessWindow window(source);
    std::vector<std::uint8_t> specks(static_cast<std::size_t>(source.width) + kernels::kDustSlack);
    for (int y = 0; y < source.height - 1; ++y) {
        const kernels::DustWindow rows = window.Around(y);
        if (y == 0) continue;  // has no row below it
        if (abort.IsSet()) return false;
        kernels::FindSpecks(rows, rule, specks);
        kernels::RepairSpecks({source.Pixels(y - 1), source.Pixels(y), source.Pixels(y + 1)}, specks, target.Pixels(y));
    }
    return true;
}

}  // namespace kestrel::passes
