#pragma once
#include <array>
#include <cstdint>

#include "kestrel/kernels/ByteTable.h"

namespace kestrel {

/// Exponent of a tone curve from a slider of -100..100: brighter above 0, darker below, by the larger a step the
/// smaller the divisor of that side.
double ToneExponent(std::int32_t slider, double brighter = 150.0, double darker = 50.0);

/// pow(i / 255, exponent) * 255 for each tone i, not cut.
std::array<double, 256> PowerCurve(double exponent);

/// The same cut to integers, of which the low byte is kept.
kernels::ByteTable PowerTable(double exponent);

}  // namespace kestrel
