#pragma once
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "kestrel/kernels/Row.h"

namespace kestrel::kernels {

/// When a pixel is a speck of dust: its window of `kDustWindow` × `kDustWindow` pixels, itself in the middle, holds at
/// most `maxRegion` pixels whose brightness is less than `tolerance` away. Both may be any number.
struct DustRule {
    std::int32_t maxRegion;  ///< pixels
    std::int32_t tolerance;  ///< units of red + green + blue, 0..765
};

inline constexpr int kDustReach = 5;
inline constexpr int kDustWindow = 2 * kDustReach + 1;
/// Brightness of what lies outside the picture: no tolerance reaches it.
inline constexpr std::int16_t kDustOutside = 0x4000;
/// The same in quarters of brightness.
inline constexpr std::uint8_t kDustOutsideQuarter = 224;
/// Pixels beyond the end of a row that `FindSpecks` may read, for vectors that reach over it.
inline constexpr int kDustSlack = 64;

/// The brightness (red + green + blue) of a row's pixels, framed by what is outside: by the reach of the window, and on
/// the right by the slack as well. Made with nothing but what is outside.
struct DustRow {
    /// Throws `std::bad_alloc`.
    explicit DustRow(int width)
        : sums(static_cast<std::size_t>(width) + 2 * kDustReach + kDustSlack, kDustOutside),
          quarters(sums.size(), kDustOutsideQuarter) {}
    /// Measures a row of as many pixels.
    void Measure(ConstRow row);
    int Width() const { return static_cast<int>(sums.size()) - 2 * kDustReach - kDustSlack; }

    std::vector<std::int16_t> sums;
    std::vector<std::uint8_t> quarters;  ///< of the sums, cut
};

/// The rows of a window, the lowest first.
using DustWindow = std::array<const DustRow*, kDustWindow>;

/// Columns of a row, one for each speck, in any order.
using SpeckPlaces = std::span<const std::int32_t>;

/// Finds the specks of the middle row. Returns the first part of `room`, which is one longer than the row; the rest of
/// it is undefined. The same specks on every CPU.
SpeckPlaces FindSpecks(const DustWindow& rows, DustRule rule, std::span<std::int32_t> room);
/// The rule pixel by pixel, which defines what `FindSpecks` finds.
SpeckPlaces FindSpecksPlain(const DustWindow& rows, DustRule rule, std::span<std::int32_t> room);

/// The mean of the nine pixels around each speck in the three `rows`, the lowest first, cut: three bytes after the
/// other in `means`, which has `kMeansSlack` places more. The first and the last pixel of a row stay as they are.
inline constexpr std::size_t kMeansSlack = 5;
void MeanAroundSpecks(const std::array<ConstRow, 3>& rows, SpeckPlaces specks, Row means);
/// Puts these in place of the specks.
void ReplaceSpecks(SpeckPlaces specks, ConstRow means, Row out);

}  // namespace kestrel::kernels
