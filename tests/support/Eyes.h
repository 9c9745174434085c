#pragma once
#include <vector>

#include "tests/support/Picture.h"

namespace kestrel::test {

/// How a pupil throws the flash back.
enum class Reflection { Red, Green, Blue, Cat, White };

/// One eye, its centre and the radius of its pupil in pixels.
struct Eye {
    double x;
    double y;
    double pupil;
    Reflection reflection = Reflection::Red;
    bool glasses = false;
};

/// Skin with a little grain, and eyes in it: lid line, white of the eye, iris, a pupil that is paler at its middle with
/// a glint to its upper right, perhaps the rim of glasses around. Edges are soft over a pixel.
Picture Face(int width, int height, const std::vector<Eye>& eyes, unsigned seed = 1);

/// Distance of a pixel's middle from the eye's centre, in radii of its pupil.
double RadiiFrom(const Eye& eye, int x, int y);

}  // namespace kestrel::test
