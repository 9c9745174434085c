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
/// Pixels beyond the end of a row that `FindSpecks` may read and write, for vectors that reach over it.
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

    std::vector<std::int16_t> sums;
    std::vector<std::uint8_t> quarters;  ///< of the sums, cut
};

/// The rows of a window, the lowest first.
using DustWindow = std::array<const DustRow*, kDustWindow>;

/// Tells for each pixel of the middle row whether it is a speck (1) or not (0). `specks` has `kDustSlack` places more
/// than pixels. Same bytes on every CPU.
void FindSpecks(const DustWindow& rows, DustRule rule, Row specks);
/// The rule pixel by pixel, which defines the bytes of `FindSpecks`.
void FindSpecksPlain(const DustWindow& rows, DustRule rule, Row specks);

/// Replaces each speck in `out` by the mean of the nine pixels around it in the three `rows`, the lowest first. The
/// first and the last pixel stay.
void RepairSpecks(const std::array<ConstRow, 3>& rows, ConstRow specks, Row out);

}  // namespace kestrel::kernels
