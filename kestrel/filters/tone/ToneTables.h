#pragma once
#include <array>
#include <cstdint>

namespace kestrel {

/// Exponent of a tone curve from a slider of -100..100: brighter above 0, darker below.
double ToneExponent(std::int32_t slider);

/// pow(i / 255, exponent) * 255 for each tone i, not cut.
std::array<double, 256> PowerCurve(double exponent);

}  // namespace kestrel
