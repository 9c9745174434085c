#include "kestrel/passes/SharpenReduced.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <vector>

#include "kestrel/kernels/SharpenRow.h"

namespace kestrel::passes {
namespace {

/// A row of unsharpened bytes with a pixel of padding at each end. The padding is not there, so that an edge and a
/// hidden pixel are one case.
class PaddedRow {
public:
    PaddedRow(int width, std::size_t channels)
        : channels_(channels), bytes_((static_cast<std::size_t>(width) + 2) * channels), hidden_(bytes_.size(), 255) {}

    /// Takes a row; without a mask every pixel is there.
    void Load(const std::uint8_t* row, const std::uint8_t* mask) {
        const std::size_t size = bytes_.size() - 2 * channels_;
        std::memcpy(bytes_.data() + channels_, row, size);
        std::uint8_t* const hidden = hidden_.data() + channels_;
        for (std::size_t i = 0; mask && i < size; i += channels_)
            std::fill_n(hidden + i, channels_, mask[i / channels_] == 255 ? std::uint8_t{255} : std::uint8_t{0});
        if (!mask) std::fill_n(hidden, size, std::uint8_t{0});
    }
    void LoadNothing() { std::fill(hidden_.begin(), hidden_.end(), std::uint8_t{255}); }

    operator kernels::HiddenRow() const { return {bytes_, hidden_}; }

private:
    std::size_t channels_;
    std::vector<std::uint8_t> bytes_;
    std::vector<std::uint8_t> hidden_;
};

}  // namespace

bool SharpenReduced(const Planes& picture, double scaleX, double scaleY, const AbortFlag& abort) {
    const double a = (2 - scaleX - scaleY) * 0.125;  // 0..0.25
    const kernels::SharpenWeights weights{static_cast<std::int32_t>(65536 * (1 + 4 * a)),
                                          static_cast<std::int32_t>(65536 * -a)};
    const std::size_t channels = picture.rows ? 3 : 1;
    std::uint8_t* const* const plane = picture.rows ? picture.rows : picture.maskRows;
    const auto maskOf = [&](int y) { return picture.rows && picture.maskRows ? picture.maskRows[y] : nullptr; };

    std::vector<PaddedRow> held(3, PaddedRow(picture.width, channels));
    const auto row = [&held](int y) -> PaddedRow& { return held[static_cast<std::size_t>(y % 3)]; };
    row(2).LoadNothing();  // stands for the row below the first
    row(0).Load(plane[0], maskOf(0));
    for (int y = 0; y < picture.height; ++y) {
        if (abort.IsSet()) return false;
        if (y + 1 < picture.height)
            row(y + 1).Load(plane[y + 1], maskOf(y + 1));
        else
            row(y + 1).LoadNothing();
        kernels::SharpenRow(weights, row(y + 2), row(y), row(y + 1), channels,
                            {plane[y], static_cast<std::size_t>(picture.width) * channels});
    }
    return true;
}

}  // namespace kestrel::passes
