#pragma once
#include <cstddef>
#include <cstdint>

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
/// Pixels beyond the end of a row that `FindSpecks` may read and write, for vectors that reach over it.
inline constexpr int kDustSlack = 32;

/// Length of a row of brightness: the reach of the window on the left, and on the right with the slack.
constexpr std::size_t DustRowLength(int width) { return static_cast<std::size_t>(width) + 2 * kDustReach + kDustSlack; }

/// The brightness (red + green + blue) of a row's pixels, framed by what is outside. `out` has `DustRowLength` places.
void MeasureBrightness(const std::uint8_t* row, int width, std::int16_t* out);

/// Tells for each of `width` pixels of the middle one of the rows whether it is a speck (1) or not (0). `rows` are made
/// by `MeasureBrightness`; rows outside the picture hold `kDustOutside`. `specks` has `kDustSlack` places more than
/// pixels. Same bytes on every CPU.
void FindSpecks(const std::int16_t* const rows[kDustWindow], int width, DustRule rule, std::uint8_t* specks);
/// The rule as it is told, pixel by pixel; `FindSpecks` gives these bytes.
void FindSpecksPlain(const std::int16_t* const rows[kDustWindow], int width, DustRule rule, std::uint8_t* specks);

/// Replaces each speck in `out` by the mean of the nine pixels around it in the three `rows`. The first and the last
/// pixel stay.
void RepairSpecks(const std::uint8_t* const rows[3], const std::uint8_t* specks, int width, std::uint8_t* out);

}  // namespace kestrel::kernels
