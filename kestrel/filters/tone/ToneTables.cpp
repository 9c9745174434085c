#include "kestrel/filters/tone/ToneTables.h"

#include <cmath>

#include "kestrel/foundation/Truncate.h"

namespace kestrel {

double ToneExponent(std::int32_t slider, double brighter, double darker) {
    return 1.0 - slider / (slider >= 0 ? brighter : darker);
}

std::array<double, 256> PowerCurve(double exponent) {
    std::array<double, 256> curve;
    for (int i = 0; i < 256; ++i) curve[static_cast<std::size_t>(i)] = std::pow(i / 255.0, exponent) * 255.0;
    return curve;
}

kernels::ByteTable PowerTable(double exponent) {
    const auto curve = PowerCurve(exponent);
    kernels::ByteTable table;
    for (std::size_t i = 0; i < 256; ++i) table[i] = static_cast<std::uint8_t>(TruncateToInt(curve[i]));
    return table;
}

}  // namespace kestrel
