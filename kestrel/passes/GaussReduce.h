#pragma once
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "kestrel/passes/Planes.h"

namespace kestrel::passes {

/// Exponents above this weigh 1, the least weight there is.
inline constexpr std::int32_t kGaussLimit = 10646;

/// Weights of a reduction by exponent in 1/1024: exp(-i / 1024) in units of 1/65535 below `kGaussLimit`, 1 from there
/// on. Two exponents up to the limit may be added, so that a weight in two dimensions is one look-up. Never 0.
const std::array<std::uint32_t, 2 * kGaussLimit + 1>& GaussTable();

/// One axis of a change of size.
struct ScaleAxis {
    int inSize = 0;     ///< source pixels, above 0
    int outSize = 0;    ///< result pixels; 0 when rounding left none, the result then has one
    int origin = 0;     ///< place of the picture's own origin in the source
    double factor = 0;  ///< takes the place of outSize / inSize when `outSize` is 0; above 0 then
};

/// Place of the picture's own origin in the result.
int OutOrigin(const ScaleAxis& axis);

/// The source pixels that one result column or row is made of.
struct ScaleTap {
    std::int64_t Start = 0;        ///< source index of the first tap, possibly outside the picture
    std::int64_t FirstInside = 0;  ///< taps before the first one inside the picture
    std::int64_t EndInside = 0;    ///< index of the tap just past the last one inside
    std::int64_t TapCount = 0;
    const std::int32_t* Exponents = nullptr;  ///< `TapCount` values, squared distance in units of the Gaussian
};

/// The taps of an axis, one record for each result pixel, and the exponents that they point to.
struct TapTable {
    std::vector<ScaleTap> taps;
    std::vector<std::int32_t> exponents;
};

/// Makes the taps. The kernel reaches one result pixel beyond the pixel's own span on either side; `lambda` is the
/// fall of the Gaussian per squared result pixel. Throws `std::bad_alloc` when the table is beyond memory.
TapTable BuildTaps(const ScaleAxis& axis, double lambda);

/// Throws `std::bad_alloc` when a reduction with these tables would take beyond reason. Only pictures of extreme
/// proportions do, where almost all taps lie outside.
void CheckWork(const TapTable& columns, const TapTable& rows);

/// Where a picture without transparency drops the fraction of its sums when a pixel has more than 255 taps.
enum class OpaqueSums { ShiftRows, ShiftProducts };

/// True when a mask byte is not 0.
bool HasTransparency(const ConstPlanes& picture);

/// Averages `source` down into `target`, whose sizes are those of the tables. Where there is transparency the mask
/// weighs the colours, mask 255 gives none, and what lies outside the picture is transparent; without it the outside
/// counts for nothing and the result's mask is 0. Pixels that nothing visible reaches keep their colour.
/// False when aborted, which is looked for before each row.
[[nodiscard]] bool ReduceGauss(const ConstPlanes& source, const Planes& target, const TapTable& columns,
                               const TapTable& rows, OpaqueSums sums, const AbortFlag& abort);

/// Sharpens a reduced picture in place, the more the further it was reduced. Neighbours outside or of mask 255 count
/// as the pixel itself; pixels of mask 255 and the mask stay. A mask alone is sharpened like a colour. False when
/// aborted. Throws `std::bad_alloc`.
[[nodiscard]] bool SharpenReduced(const Planes& picture, double scaleX, double scaleY, const AbortFlag& abort);

}  // namespace kestrel::passes
