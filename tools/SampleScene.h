#pragma once
// The scene behind the sample picture: three peg dolls and two balls on a table before a lake, towards evening. Chosen
// for what filters need to show: smooth sky, skin in three tones, leaves and grass down to single pixels, small bright
// lights, soft shadows, straight edges. Square roots and the four operations only, so that it is the same everywhere.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

namespace kestrel::sample {

struct Vec {
    double x = 0, y = 0, z = 0;
    constexpr Vec operator+(Vec o) const { return {x + o.x, y + o.y, z + o.z}; }
    constexpr Vec operator-(Vec o) const { return {x - o.x, y - o.y, z - o.z}; }
    constexpr Vec operator*(Vec o) const { return {x * o.x, y * o.y, z * o.z}; }
    constexpr Vec operator*(double s) const { return {x * s, y * s, z * s}; }
};
using Color = Vec;  ///< red, green, blue in linear light, 1 is white

inline double Dot(Vec a, Vec b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
inline Vec Unit(Vec v) { return v * (1 / std::sqrt(Dot(v, v))); }
inline Color Mix(Color a, Color b, double t) { return a * (1 - t) + b * t; }
inline double Clamp(double v) { return std::clamp(v, 0.0, 1.0); }
inline double Smooth(double from, double to, double v) {
    const double t = Clamp((v - from) / (to - from));
    return t * t * (3 - 2 * t);
}
/// v to the power 2^doublings.
inline double Power(double v, int doublings) {
    for (; doublings > 0; --doublings) v *= v;
    return v;
}

// ---- noise ----------------------------------------------------------------------------------------------------------

inline std::uint32_t Hash(std::int64_t x, std::int64_t y, std::uint32_t seed) {
    auto h = static_cast<std::uint32_t>(x) * 0x85EBCA6Bu ^ static_cast<std::uint32_t>(y) * 0xC2B2AE35u ^
             (seed + 1) * 0x9E3779B1u;
    h = (h ^ (h >> 15)) * 0x2C1B3C6Du;
    h = (h ^ (h >> 12)) * 0x297A2D39u;
    return h ^ (h >> 15);
}
inline double Random(std::int64_t x, std::int64_t y, std::uint32_t seed) { return Hash(x, y, seed) / 4294967295.0; }

/// Smooth noise, 0..1, one feature a unit.
inline double Noise(double x, double y, std::uint32_t seed) {
    const double fx = std::floor(x), fy = std::floor(y);
    const auto ix = static_cast<std::int64_t>(fx), iy = static_cast<std::int64_t>(fy);
    const double tx = Smooth(0, 1, x - fx), ty = Smooth(0, 1, y - fy);
    const double low = Random(ix, iy, seed) * (1 - tx) + Random(ix + 1, iy, seed) * tx;
    const double high = Random(ix, iy + 1, seed) * (1 - tx) + Random(ix + 1, iy + 1, seed) * tx;
    return low * (1 - ty) + high * ty;
}
/// Noise on `octaves` scales, 0..1.
inline double Cloud(double x, double y, int octaves, std::uint32_t seed) {
    double sum = 0, weight = 0.5, total = 0;
    for (int i = 0; i < octaves; ++i) {
        sum += weight * Noise(x, y, seed + static_cast<std::uint32_t>(i));
        total += weight;
        weight *= 0.5;
        const double turned = 1.6 * x - 1.2 * y + 3.7;  // turned as well as doubled, so that no grid shows
        y = 1.2 * x + 1.6 * y + 1.3;
        x = turned;
    }
    return sum / total;
}

// ---- what is far away ----------------------------------------------------------------------------------------------

inline const Vec kSun = Unit({0.50, 0.36, 0.55});  ///< where the light of the table comes from
inline const Vec kGlow = Unit({0.42, 0.085, 1});   ///< where the sky is bright
constexpr Color kSunlight{2.5, 1.95, 1.35};

inline Color Sky(Vec d) {
    const double up = Clamp(d.y);
    const double bright = Clamp(Dot(d, kGlow));
    Color c = Mix({0.80, 0.60, 0.46}, {0.07, 0.19, 0.50}, Smooth(-0.04, 0.30, up));
    c = Mix(c, {1.0, 0.74, 0.42}, 0.75 * Power(bright, 4));
    c = c + Color{1.0, 0.80, 0.45} * (0.9 * Power(bright, 7)) + Color{3.5, 3.0, 2.2} * Smooth(0.99965, 0.99985, bright);
    if (d.y > 0.005) {  // a flat layer of clouds, seen from below
        const double u = d.x / (d.y + 0.10), v = d.z / (d.y + 0.10);
        const double cover = Cloud(u * 0.55 + 8.2, v * 0.85 + 1.3, 7, 11);
        const double beside = Cloud(u * 0.55 + 8.2 + 0.10, v * 0.85 + 1.3 - 0.05, 5, 11);  // towards the sun
        const double thick = Smooth(0.52, 0.70, cover) * Smooth(0.01, 0.10, d.y);
        const double lit = Clamp(0.55 + 4 * (cover - beside));
        const Color cloud = Mix({0.40, 0.36, 0.44}, {1.25, 1.0, 0.80}, lit) + Color{0.5, 0.3, 0.1} * Power(bright, 4);
        c = Mix(c, cloud, 0.90 * thick);
    }
    return c;
}

/// Three ranges of hills and a town with lit windows, as heights over the horizon; `blur` in units of those heights.
inline Color Distance(Vec d) {
    Color c = Sky(d);
    const double x = d.x / d.z, e = d.y / d.z;
    const Color haze = Mix({0.62, 0.50, 0.48}, {1.0, 0.70, 0.42}, Power(Clamp(Dot(d, kGlow)), 5));
    for (int range = 0; range < 3; ++range) {
        const double scale = 1.1 + 1.5 * range, peak = 0.19 - 0.055 * range;
        if (e > 1.25 * peak) continue;
        const double height = peak * (0.25 + Cloud(x * scale + 4.7 * range, 0.5, 7, 31));
        if (e > height) continue;
        const double slope = Cloud(x * 22 * scale, e * 60, 5, 41);
        const Color rock = Mix({0.05, 0.09, 0.10}, {0.20, 0.20, 0.14}, slope);
        c = Mix(rock, haze * 0.9, 0.66 - 0.24 * range);
    }
    const double block = std::floor(x * 46), along = x * 46 - block;
    const auto house = static_cast<std::int64_t>(block);
    if (x > 0.20 && x < 0.80) {
        const double height = 0.014 + 0.038 * Random(house, 0, 51) * Smooth(0.80, 0.55, x) * Smooth(0.18, 0.30, x);
        const double roof = Random(house, 1, 51) < 0.5 ? 0.012 * (1 - std::fabs(2 * along - 1)) : 0.0;
        if (e < height + roof) {
            const Color wall = Mix({0.32, 0.22, 0.17}, {0.62, 0.52, 0.42}, Random(house, 2, 51));
            c = Mix(e > height ? Color{0.26, 0.09, 0.06} : wall, haze, 0.25);
            const double wx = along * 5, wy = e / 0.0065;
            const auto column = static_cast<std::int64_t>(std::floor(wx)), floor = static_cast<std::int64_t>(wy);
            const bool window = wx - std::floor(wx) > 0.35 && wy - std::floor(wy) > 0.40 && e < height - 0.003;
            if (window && e > 0.004)
                c = Random(house * 8 + column, floor, 52) < 0.45 ? Color{2.4, 1.7, 0.7} : Color{0.07, 0.08, 0.10};
        }
    }
    return Mix(c, haze, 0.5 * Smooth(0.012, 0.0, e));
}

/// Meadow down to the shore, then the lake up to the horizon; `eye` is over the water's plane.
inline Color Below(Vec eye, Vec d) {
    constexpr double kWater = -1.3, kMeadow = -1.15;
    const double t = (kMeadow - eye.y) / d.y;
    const double gx = eye.x + t * d.x, gz = eye.z + t * d.z;
    const double shore = 10.5 + 5 * Cloud(gx * 0.22, 3, 4, 61) - 0.22 * gx;
    if (gz < shore) {
        const double blades = Cloud(gx * 26, gz * 7, 4, 62), patch = Cloud(gx * 0.7, gz * 0.7, 4, 63);
        Color c = Mix({0.03, 0.07, 0.012}, {0.26, 0.34, 0.06}, Clamp(0.75 * blades + 0.75 * patch - 0.28));
        c = c + Color{0.20, 0.14, 0.02} * Smooth(0.55, 0.85, blades);
        const auto fx = static_cast<std::int64_t>(std::floor(gx * 7)),
                   fz = static_cast<std::int64_t>(std::floor(gz * 3));
        const double ox = gx * 7 - std::floor(gx * 7) - 0.5, oz = gz * 3 - std::floor(gz * 3) - 0.5;
        if (Random(fx, fz, 64) < 0.10 * Smooth(0.4, 0.7, patch) + 0.02 && ox * ox + oz * oz < 0.05)
            c = Random(fx, fz, 65) < 0.5 ? Color{0.95, 0.80, 0.12} : Color{0.85, 0.16, 0.22};
        return Mix(c, {0.42, 0.33, 0.22}, Smooth(0.5, 0.0, shore - gz));
    }
    const double s = (kWater - eye.y) / d.y;
    const double wx = eye.x + s * d.x, wz = eye.z + s * d.z;
    const double calm = 1 / (1 + 0.015 * wz);
    const double tilt = 0.16 * calm;
    const Vec normal = Unit(
        {tilt * (Cloud(wx * 1.5, wz * 3.5, 4, 71) - 0.5), 1, tilt * (Cloud(wx * 1.5 + 40, wz * 3.5, 4, 72) - 0.5)});
    Vec mirrored = d - normal * (2 * Dot(d, normal));
    mirrored.y = std::fabs(mirrored.y);
    const double fresnel = 0.08 + 0.88 * Power(1 - Clamp(-Dot(d, normal)), 2);
    Color c = Mix({0.015, 0.06, 0.07}, Distance(Unit(mirrored)), Clamp(fresnel));
    const double glitter = Power(Clamp(Dot(Unit(mirrored), Unit({kGlow.x, 0.12, kGlow.z}))), 9);
    c = c + Color{3.0, 2.3, 1.3} * (glitter * Smooth(0.60, 0.80, Noise(wx * 9, wz * 16, 73)));
    return Mix(c, {0.30, 0.25, 0.18}, 0.6 * Smooth(0.35, 0.0, gz - shore));
}

// ---- what stands on the table ---------------------------------------------------------------------------------------

enum class Surface { kSkin, kCloth, kGloss, kMirror };

/// An ellipsoid with upright axes.
struct Solid {
    Vec center, radius;
    Color color;
    Surface surface = Surface::kCloth;
    int doll = -1;  ///< for a head: which face is painted on
};

constexpr double kTableBack = 2.1;

inline const std::array kSolids{
    Solid{{-1.42, 0.52, 0.35}, {0.46, 0.62, 0.46}, {0.10, 0.22, 0.55}},
    Solid{{-1.42, 1.33, 0.35}, {0.41, 0.43, 0.41}, {0.80, 0.52, 0.38}, Surface::kSkin, 0},
    Solid{{-0.28, 0.60, 0.75}, {0.50, 0.72, 0.50}, {0.62, 0.10, 0.10}},
    Solid{{-0.28, 1.53, 0.75}, {0.43, 0.45, 0.43}, {0.52, 0.27, 0.15}, Surface::kSkin, 1},
    Solid{{0.82, 0.48, 0.40}, {0.44, 0.58, 0.44}, {0.70, 0.50, 0.08}},
    Solid{{0.82, 1.24, 0.40}, {0.40, 0.42, 0.40}, {0.22, 0.10, 0.055}, Surface::kSkin, 2},
    Solid{{1.78, 0.42, 0.05}, {0.42, 0.42, 0.42}, {0.92, 0.92, 0.95}, Surface::kMirror},
    Solid{{0.28, 0.20, -0.62}, {0.20, 0.20, 0.20}, {0.70, 0.03, 0.03}, Surface::kGloss},
    Solid{{-0.72, 0.15, -0.75}, {0.15, 0.15, 0.15}, {0.05, 0.35, 0.10}, Surface::kGloss},
};

inline Vec Over(Vec a, Vec b) { return {a.x / b.x, a.y / b.y, a.z / b.z}; }

/// Distance along `d` to the solid, or a negative number.
inline double Hit(const Solid& s, Vec from, Vec d) {
    const Vec o = Over(from - s.center, s.radius), r = Over(d, s.radius);
    const double a = Dot(r, r), b = Dot(o, r), c = Dot(o, o) - 1;
    const double root = b * b - a * c;
    return root < 0 ? -1 : (-b - std::sqrt(root)) / a;
}

/// How much of a broad lamp in direction kSun is seen past the solids, 0..1.
inline double Light(Vec p, const Solid* self) {
    double seen = 1;
    for (const Solid& s : kSolids) {
        if (&s == self) continue;
        const Vec o = Over(p - s.center, s.radius), r = Unit(Over(kSun, s.radius));
        const double b = Dot(o, r);
        if (b > 0) continue;
        const double miss = std::sqrt(std::max(0.0, Dot(o, o) - b * b)) - 1;  // how far the ray passes by, in radii
        seen = std::min(seen, Smooth(-0.10, 0.10, miss / std::max(0.6, -b) * 1.4));
    }
    return seen;
}

/// How open the sky is over a point with normal `n`, 0..1.
inline double Open(Vec p, Vec n, const Solid* self) {
    double open = 1;
    for (const Solid& s : kSolids) {
        if (&s == self) continue;
        const Vec to = s.center - p;
        const double far = Dot(to, to), size = s.radius.x * s.radius.y;
        open *= 1 - Clamp(0.5 + Dot(n, to) / std::sqrt(far) * 0.5) * Clamp(size / far) * 0.8;
    }
    return open;
}

/// Wood with planks that run away from the eye.
inline Color Table(Vec p) {
    const double plank = std::floor(p.x / 0.62), along = p.x / 0.62 - plank;
    const auto number = static_cast<std::int64_t>(plank);
    const double grain = Cloud(p.x * 14 + 7 * Random(number, 0, 81), p.z * 0.9, 5, 82);
    const double rings = grain * 9 - std::floor(grain * 9);
    Color c = Mix({0.20, 0.105, 0.05}, {0.40, 0.235, 0.12}, 0.55 * grain + 0.45 * std::fabs(2 * rings - 1));
    c = c * (0.80 + 0.35 * Random(number, 1, 81));
    return c * (0.25 + 0.75 * Smooth(0.0, 0.018, std::min(along, 1 - along)));
}

/// What is painted on a head: hair, eyes, mouth, cheeks. `n` is the place on the unit sphere; the face looks at -z.
inline Color Face(const Solid& head, Vec n) {
    static constexpr Color kHair[] = {{0.30, 0.13, 0.04}, {0.03, 0.018, 0.012}, {0.012, 0.010, 0.010}};
    static constexpr Color kIris[] = {{0.06, 0.16, 0.30}, {0.10, 0.05, 0.02}, {0.05, 0.03, 0.02}};
    const auto at = [&](double x, double y, double w, double h) {
        const double u = (n.x - x) / w, v = (n.y - y) / h;
        return n.z < 0 ? std::sqrt(u * u + v * v) : 9.0;
    };
    Color c = head.color * (0.93 + 0.14 * Cloud(n.x * 30, n.y * 30, 3, 91));
    for (const double side : {-1.0, 1.0}) {
        c = Mix(c, c * Color{1.25, 0.62, 0.60}, 0.7 * Smooth(1.0, 0.2, at(side * 0.50, -0.22, 0.26, 0.20)));
        c = Mix(c, {0.85, 0.84, 0.82}, Smooth(1.05, 0.95, at(side * 0.33, 0.08, 0.145, 0.105)));
        c = Mix(c, kIris[head.doll], Smooth(1.08, 0.92, at(side * 0.33, 0.08, 0.085, 0.092)));
        const bool flash = head.doll == 2;  // caught by a flash: red pupils
        c = Mix(c, flash ? Color{0.95, 0.03, 0.03} : Color{0.004, 0.004, 0.004},
                Smooth(1.15, 0.85, at(side * 0.33, 0.08, flash ? 0.055 : 0.042, flash ? 0.060 : 0.046)));
        c = Mix(c, {1.4, 1.4, 1.4}, Smooth(1.3, 0.7, at(side * 0.33 + 0.03, 0.115, 0.016, 0.017)));
        c = Mix(c, kHair[head.doll], 0.8 * Smooth(1.15, 0.85, at(side * 0.34, 0.27 + 0.02 * n.x * side, 0.15, 0.026)));
    }
    const double smile = at(0, -0.38 + 0.8 * n.x * n.x, 0.26, 0.035);
    c = Mix(c, {0.42, 0.06, 0.06}, 0.9 * Smooth(1.2, 0.8, smile));
    const double line =
        0.46 - 0.9 * n.x * n.x + 0.06 * Cloud(n.x * 18, 2.0 * head.doll, 3, 92) + 1.6 * std::max(0.0, n.z);
    const double strands = Cloud(n.x * 42, n.y * 5 + n.z * 5, 4, 93);
    const Color hair = kHair[head.doll] * (0.5 + 1.6 * strands);
    return Mix(c, hair, Smooth(line - 0.03, line + 0.03, n.z > 0 ? n.y + 1.2 * n.z : n.y));
}

Color Trace(Vec from, Vec d, int mirrors);

/// Light on a surface of one colour. `wrap` lets light creep round the edge, as it does in skin.
inline Color Lit(Color base, Vec p, Vec n, const Solid* self, double wrap) {
    const double sun = Clamp((Dot(n, kSun) + wrap) / (1 + wrap)) * Light(p, self);
    const double open = Open(p, n, self);
    const Color fill = Mix({0.30, 0.20, 0.13}, {0.36, 0.45, 0.66}, 0.5 + 0.5 * n.y) * open;
    const Color front{0.20, 0.185, 0.17};  // a weak lamp behind the camera
    return base * (kSunlight * (0.62 * sun) + fill + front * (Clamp(-n.z) * open));
}

inline Color Shade(const Solid& s, Vec p, Vec d, int mirrors) {
    const Vec local = Over(p - s.center, s.radius);
    const Vec n = Unit(Over(local, s.radius));
    const Vec bounce = d - n * (2 * Dot(d, n));
    const double edge = Power(1 - Clamp(-Dot(d, n)), 2);
    const double shine = Clamp(Dot(bounce, kSun)) * 1.0;
    const double lamp = Clamp(Dot(bounce, Unit({-0.55, 0.65, -0.60})));
    switch (s.surface) {
        case Surface::kSkin: {
            Color c = Lit(Face(s, local), p, n, &s, 0.25);
            return c + Color{0.5, 0.45, 0.4} * (0.35 * Power(shine, 4) * Light(p, &s) + 0.30 * Power(lamp, 5)) +
                   Color{0.30, 0.16, 0.10} * (0.5 * edge * Clamp(n.x + 0.3));
        }
        case Surface::kCloth: {
            const double knit = Cloud(local.x * 40, local.y * 46, 2, 95);
            const double rows = local.y * 26 - std::floor(local.y * 26);
            Color c = s.color * (0.62 + 0.30 * knit + 0.30 * std::fabs(2 * rows - 1));
            if (std::fabs(local.y - 0.25) < 0.07) c = Color{0.75, 0.70, 0.62} * (0.75 + 0.4 * knit);  // a belt
            return Lit(c, p, n, &s, 0.1) + Color{0.10, 0.09, 0.09} * edge;
        }
        case Surface::kGloss: {
            const Color seen = mirrors > 0 ? Trace(p + n * 1e-6, bounce, mirrors - 1) : Color{0.3, 0.3, 0.3};
            return Lit(s.color, p, n, &s, 0) + seen * (0.05 + 0.70 * Power(edge, 1)) +
                   Color{6, 5.4, 4.6} * Power(shine, 9) + Color{4, 4, 4} * Power(lamp, 10);
        }
        case Surface::kMirror:
            break;
    }
    const Color seen = mirrors > 0 ? Trace(p + n * 1e-6, bounce, mirrors - 1) : Color{0.3, 0.3, 0.3};
    return seen * s.color * 0.9 + Color{8, 7, 6} * Power(shine, 10) + Color{5, 5, 5} * Power(lamp, 11);
}

inline Color Trace(Vec from, Vec d, int mirrors) {
    const Solid* nearest = nullptr;
    double t = 1e9;
    for (const Solid& s : kSolids) {
        const double hit = Hit(s, from, d);
        if (hit > 1e-4 && hit < t) {
            t = hit;
            nearest = &s;
        }
    }
    if (nearest) return Shade(*nearest, from + d * t, d, mirrors);
    if (d.y < 0) {
        const double down = -from.y / d.y;
        const Vec p = from + d * down;
        if (p.z < kTableBack) {
            const Vec up{0, 1, 0};
            const Vec bounce{d.x, -d.y, d.z};
            Color c = Lit(Table(p), p, up, nullptr, 0);
            const double varnish = 0.04 + 0.45 * Power(1 + d.y, 3);
            if (mirrors > 0) c = Mix(c, Trace(p + up * 1e-6, bounce, mirrors - 1), varnish);
            return c;
        }
        const Vec edge = from + d * ((kTableBack - from.z) / d.z);  // the board's thickness
        if (edge.y > -0.10 && edge.y < 0 && from.z > kTableBack) return {0.12, 0.07, 0.04};
        return Below(from, d);
    }
    return d.z > 0.05 ? Distance(d) : Sky(d);
}

// ---- leaves before the lens -----------------------------------------------------------------------------------------

/// Leaves that hang in from the upper left; u, v in picture heights from the upper left corner. Alpha in `cover`.
inline Color Leaves(double u, double v, double& cover) {
    Color c;
    cover = 0;
    const double farthest = 0.66 - 0.62 * (u - 0.08);  // no leaf's reach is above this
    if (farthest < 0 || v > farthest * farthest * 1.35 + 0.08) return c;
    for (std::uint32_t layer = 0; layer < 5; ++layer) {  // from the back to the front
        const double size = 0.020 + 0.005 * layer;
        const auto cx = static_cast<std::int64_t>(std::floor(u / size)),
                   cy = static_cast<std::int64_t>(std::floor(v / size));
        for (std::int64_t y = cy - 1; y <= cy + 1; ++y)
            for (std::int64_t x = cx - 1; x <= cx + 1; ++x) {
                const double px = (static_cast<double>(x) + Random(x, y, 101 + layer)) * size;
                const double py = (static_cast<double>(y) + Random(x, y, 111 + layer)) * size;
                const double reach = 0.50 - 0.62 * px + 0.16 * (Cloud(px * 5, py * 5 + layer, 3, 121) - 0.5) * 2;
                if (py > reach * reach * 1.35 - 0.02 || reach < 0) continue;
                if (Random(x, y, 131 + layer) < 0.22) continue;
                const double turn = Random(x, y, 141 + layer) * 2 - 1;  // direction of the leaf's spine
                const Vec spine = Unit({turn, 0.9, 0});
                const double a = (u - px) * spine.x + (v - py) * spine.y, b = (v - py) * spine.x - (u - px) * spine.y;
                const double l = a / size * 1.05;
                const double width = 0.36 * (1 - l * l) * (1.15 - 0.45 * l);
                const double off = std::fabs(b) / size;
                if (l < -1 || l > 1 || off > width) continue;
                const double back_lit = Random(x, y, 151 + layer);
                Color leaf = Mix({0.025, 0.075, 0.012}, {0.20, 0.34, 0.04}, 0.25 * layer * 0.7 + 0.3 * back_lit);
                leaf = Mix(leaf, {0.62, 0.60, 0.07}, 0.75 * Power(back_lit, 2) * Smooth(0.05, 0.75, u));
                leaf = leaf * (b > 0 ? 1.12 : 0.86) * (off < 0.022 ? 1.35 : 1.0);
                leaf = leaf * (0.85 + 0.3 * Noise(u * 900, v * 900, 161));
                c = leaf;
                cover = 1;
            }
    }
    return c;
}

// ---- the picture ---------------------------------------------------------------------------------------------------

/// The light that falls on the picture at (u, v): heights from the upper left corner, `aspect` the picture's width.
inline Color Seen(double u, double v, double aspect) {
    double cover = 0;
    const Color leaves = Leaves(u, v, cover);
    if (cover > 0) return leaves;
    const Vec eye{0, 1.75, -5.4};
    return Trace(eye, Unit({(u - aspect / 2) * 0.80, (0.36 - v) * 0.80, 1.0}), 2);
}

/// 0..255 of linear light, with a soft shoulder and close to the usual curve for displays.
inline double Develop(double light) {
    const double v = light * (0.42 + light * 0.95) / (0.46 + light * 0.80 + light * light * 0.26) * 0.98;
    const double root = std::sqrt(Clamp(v)), second = std::sqrt(root), third = std::sqrt(second);
    return 255 * Clamp(0.662002687 * root + 0.684122060 * second - 0.323583601 * third - 0.0225411470 * Clamp(v));
}

}  // namespace kestrel::sample
