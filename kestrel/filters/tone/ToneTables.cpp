#include "kestrel/filters/tone/ToneTables.h"

#include <cmath>

namespace kestrel {

double ToneExponent(std::int32_t slider) { return slider >= 0 ? 1.0 - slider / 150.0 : 1.0 - slider / 50.0; }

std::array<double, 256> PowerCurve(double exponent) {
    std::array<double, 256> curve;
    for (int i = 0; i < 256; ++i) curve[static_cast<std::size_t>(i)] = std::pow(i / 255.0, exponent) * 255.0;
    return curve;
}

}  // namespace kestrel
