#include "tests/support/Eyes.h"

#include <algorithm>
#include <cmath>
#include <random>

namespace kestrel::test {
namespace {

struct Color {
    double red, green, blue;
};

Color Mixed(Color a, Color b, double share) {
    return {a.red + (b.red - a.red) * share, a.green + (b.green - a.green) * share, a.blue + (b.blue - a.blue) * share};
}

Color PupilColor(Reflection reflection) {
    switch (reflection) {
        case Reflection::Red:
            return {205, 32, 40};
        case Reflection::Green:
            return {60, 160, 70};
        case Reflection::Blue:
            return {60, 80, 180};
        case Reflection::Cat:
            return {130, 250, 235};
        case Reflection::White:
            return {252, 251, 250};
    }
    return {};
}

/// The eye's own colour at a point, or the skin behind it.
Color Over(const Eye& eye, double x, double y, Color skin) {
    const double dx = (x - eye.x) / eye.pupil;
    const double dy = (y - eye.y) / eye.pupil;
    const double r = std::hypot(dx, dy);
    const double almond = std::hypot(dx / 4.0, dy / 2.3);
    const double rim = std::hypot(dx / 6.5, dy / 5.0);
    if (std::hypot(dx - 0.4, dy - 0.4) < 0.25) return {255, 255, 255};
    if (r < 1) {
        const Color pupil = PupilColor(eye.reflection);
        return eye.reflection == Reflection::White ? pupil : Mixed(pupil, {20, 10, 10}, 0.12 * r);
    }
    if (r < 1.9 && almond < 1) return Mixed({60, 78, 58}, {30, 40, 32}, r - 1);
    if (almond < 1) return {222, 224, 226};
    if (almond < 1.1) return {70, 48, 40};
    if (eye.glasses && rim > 0.94 && rim < 1) return {25, 24, 28};
    if (eye.glasses && rim < 0.94) return Mixed(skin, {235, 240, 250}, 0.15);
    return skin;
}

std::uint8_t Byte(double value) { return static_cast<std::uint8_t>(std::clamp(value, 0.0, 255.0)); }

}  // namespace

double RadiiFrom(const Eye& eye, int x, int y) { return std::hypot(x + 0.5 - eye.x, y + 0.5 - eye.y) / eye.pupil; }

Picture Face(int width, int height, const std::vector<Eye>& eyes, unsigned seed) {
    std::mt19937 random(seed);
    constexpr int kSamples = 4;  // along each side of a pixel
    return Picture(width, height, [&](int column, int row) {
        const Color skin = Mixed({226, 176, 148}, {188, 136, 110}, static_cast<double>(column) / width);
        Color sum{};
        for (int i = 0; i < kSamples * kSamples; ++i) {
            const double x = column + (i % kSamples + 0.5) / kSamples;
            const double y = row + (i / kSamples + 0.5) / kSamples;
            Color c = skin;
            for (const Eye& eye : eyes) c = Over(eye, x, y, c);
            sum = {sum.red + c.red, sum.green + c.green, sum.blue + c.blue};
        }
        const double grain = static_cast<double>(random() % 5) - 2;
        const double n = kSamples * kSamples;
        return Pixel{Byte(sum.blue / n + grain), Byte(sum.green / n + grain), Byte(sum.red / n + grain), 0};
    });
}

}  // namespace kestrel::test
