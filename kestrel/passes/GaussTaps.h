#pragma once
#include <cstdint>
#include <vector>

namespace kestrel::passes {

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

/// The taps of one result pixel, without their exponents: where they lie.
ScaleTap PlaceOfTaps(const ScaleAxis& axis, std::int64_t pixel);

/// Makes the taps. The kernel reaches one result pixel beyond the pixel's own span on either side; `lambda` is the
/// fall of the Gaussian per squared result pixel. Throws `std::bad_alloc` when the table is beyond memory.
TapTable BuildTaps(const ScaleAxis& axis, double lambda);

/// Throws `std::bad_alloc` when a reduction with these tables would take beyond reason. Only pictures of extreme
/// proportions do, where almost all taps lie outside.
void CheckWork(const TapTable& columns, const TapTable& rows);

}  // namespace kestrel::passes
