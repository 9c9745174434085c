#pragma once
#include <array>
#include <cstdint>

#include "kestrel/kernels/ByteTable.h"
#include "kestrel/kernels/HslRows.h"
#include "kestrel/kernels/Row.h"

namespace kestrel::kernels {

/// Filters that change the luminance of a pixel and keep its two colour differences.

using Matrix3 = std::array<std::array<double, 3>, 3>;

/// Red, green, blue to luminance Y and the colour differences I and Q.
inline constexpr Matrix3 kRgbToYiq = {{{0.299, 0.587, 0.114}, {0.596, -0.275, -0.321}, {0.212, -0.523, 0.311}}};

/// Cofactors divided by the determinant, which is taken along the first row. The order decides the last bits.
constexpr Matrix3 Inverse(const Matrix3& m) {
    const auto cofactor = [&m](std::size_t row, std::size_t column) {
        const std::size_t r1 = (row + 1) % 3;
        const std::size_t r2 = (row + 2) % 3;
        const std::size_t c1 = (column + 1) % 3;
        const std::size_t c2 = (column + 2) % 3;
        return m[r1][c1] * m[r2][c2] - m[r1][c2] * m[r2][c1];
    };
    const double determinant = m[0][0] * cofactor(0, 0) + m[0][1] * cofactor(0, 1) + m[0][2] * cofactor(0, 2);
    Matrix3 inverse{};
    for (std::size_t row = 0; row < 3; ++row)
        for (std::size_t column = 0; column < 3; ++column) inverse[row][column] = cofactor(column, row) / determinant;
    return inverse;
}

inline constexpr Matrix3 kYiqToRgb = Inverse(kRgbToYiq);

/// The pixel with its luminance, the integer one, sent through a table, in double precision; channels are cut to bytes.
constexpr Bgr LuminancePixel(Bgr p, const ByteTable& luminance) {
    const double y = luminance[Luminance(p)];
    const double i = kRgbToYiq[1][0] * p.red + kRgbToYiq[1][1] * p.green + kRgbToYiq[1][2] * p.blue;
    const double q = kRgbToYiq[2][0] * p.red + kRgbToYiq[2][1] * p.green + kRgbToYiq[2][2] * p.blue;
    const auto channel = [&](std::size_t row) {
        const double value = kYiqToRgb[row][0] * y + kYiqToRgb[row][1] * i + kYiqToRgb[row][2] * q;
        return static_cast<std::uint8_t>(std::clamp(value, 0.0, 255.0));
    };
    return {channel(2), channel(1), channel(0)};
}
/// The pixel with its luminance sent through a table, in single precision with the inverse as six rounded figures.
constexpr Bgr OptimizePixel(Bgr p, const ByteTable& luminance) {
    const auto y = static_cast<float>(luminance[Luminance(p)]);
    const auto r = static_cast<float>(p.red);
    const auto g = static_cast<float>(p.green);
    const auto b = static_cast<float>(p.blue);
    const float i = 0.596f * r - 0.275f * g - 0.321f * b;
    const float q = 0.212f * r - 0.523f * g + 0.311f * b;
    const auto byte = [](float value) { return static_cast<std::uint8_t>(std::clamp(value, 0.0f, 255.0f)); };
    return {byte(y - 1.108177f * i + 1.705065f * q), byte(y - 0.271582f * i - 0.646874f * q),
            byte(y + 0.955688f * i + 0.619858f * q)};
}

using LuminanceRule = Bgr(Bgr, const ByteTable&);

/// A table for the luminance with one of the above rules, for rows.
struct LuminanceCurve {
    LuminanceCurve(const ByteTable& table, LuminanceRule* made);

    ByteTable tones;
    LuminanceRule* rule;
    std::array<ByteTable, 3> greys;  ///< what the rule makes of each grey: blue, green, red
};
void LuminanceRow(Row row, const LuminanceCurve& curve);

}  // namespace kestrel::kernels
