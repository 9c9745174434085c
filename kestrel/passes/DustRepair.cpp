#include "kestrel/passes/DustRepair.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace kestrel::passes {
namespace {

/// The brightness of the rows of one window, each at its number modulo the window's size, and a row of what is outside
/// the picture.
class BrightnessWindow {
public:
    explicit BrightnessWindow(const Planes& picture)
        : picture_(picture),
          length_(kernels::DustRowLength(picture.width)),
          brightness_(length_ * (kernels::kDustWindow + 1), kernels::kDustOutside) {
        for (int y = 0; y < std::min(picture.height, kernels::kDustReach); ++y) Measure(y);
    }

    /// The window around row `y`; rows are asked for one after the other.
    void Around(int y, const std::int16_t* (&rows)[kernels::kDustWindow]) {
        Measure(y + kernels::kDustReach);
        for (int i = 0; i < kernels::kDustWindow; ++i) rows[i] = Row(y - kernels::kDustReach + i);
    }

private:
    void Measure(int y) {
        if (y < picture_.height) kernels::MeasureBrightness(picture_.rows[y], picture_.width, Row(y));
    }
    std::int16_t* Row(int y) {
        const bool outside = y < 0 || y >= picture_.height;
        const int slot = outside ? kernels::kDustWindow : y % kernels::kDustWindow;
        return brightness_.data() + length_ * static_cast<std::size_t>(slot);
    }

    const Planes& picture_;
    const std::size_t length_;
    std::vector<std::int16_t> brightness_;
};

}  // namespace

bool RepairDust(const Planes& source, const Planes& target, kernels::DustRule rule, const AbortFlag& abort) {
    const int width = source.width;
    for (int y = 0; y < source.height; ++y) {
        if (abort.IsSet()) return false;
        std::copy_n(source.rows[y], std::ptrdiff_t{width} * 3, target.rows[y]);
        std::copy_n(source.maskRows[y], width, target.maskRows[y]);
    }
    BrightnessWindow window(source);
    std::vector<std::uint8_t> specks(static_cast<std::size_t>(width) + kernels::kDustSlack);
    for (int y = 0; y < source.height - 1; ++y) {
        const std::int16_t* rows[kernels::kDustWindow];
        window.Around(y, rows);
        if (y == 0) continue;  // has no row below it
        if (abort.IsSet()) return false;
        kernels::FindSpecks(rows, width, rule, specks.data());
        kernels::RepairSpecks(source.rows + y - 1, specks.data(), width, target.rows[y]);
    }
    return true;
}

}  // namespace kestrel::passes
