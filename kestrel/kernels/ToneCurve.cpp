#include "kestrel/kernels/ToneCurve.h"

#include <algorithm>
#include <array>

#include "kestrel/foundation/Truncate.h"
#include "kestrel/kernels/ColourRows.h"

namespace kestrel::kernels {
namespace {

std::uint8_t RoundToByte(double value) { return ClampToByte(TruncateToInt(value + 0.5)); }

/// The part of the spline's correction that a second derivative at one end of a segment has at the share `a`.
double Bend(double a) { return a * a * a - a; }

}  // namespace

bool SplineTable(std::span<const CurveNode> nodes, ByteTable& table) {
    const std::size_t n = nodes.size();
    if (n < 2 || n > kMostCurveNodes) return false;
    std::array<double, kMostCurveNodes> x{};
    std::array<double, kMostCurveNodes> y{};
    for (std::size_t i = 0; i < n; ++i) x[i] = nodes[i].x, y[i] = nodes[i].y;

    // The tridiagonal system of the second derivatives: diagonal d, neighbours u, right side w, solution p, which is 0
    // at both ends.
    std::array<double, kMostCurveNodes> d{};
    std::array<double, kMostCurveNodes> u{};
    std::array<double, kMostCurveNodes> w{};
    std::array<double, kMostCurveNodes> p{};
    for (std::size_t i = 0; i + 1 < n; ++i) {
        u[i] = x[i + 1] - x[i];
        if (u[i] == 0.0) return false;
    }
    for (std::size_t i = 1; i + 1 < n; ++i) {
        d[i] = 2.0 * (x[i + 1] - x[i - 1]);
        if (d[i] == 0.0) return false;
        w[i] = 6.0 * ((y[i + 1] - y[i]) / u[i] - (y[i] - y[i - 1]) / u[i - 1]);
    }
    for (std::size_t i = 1; i + 2 < n; ++i) {
        w[i + 1] -= w[i] * u[i] / d[i];
        d[i + 1] -= u[i] * u[i] / d[i];
    }
    for (std::size_t i = n - 2; i > 0; --i) p[i] = (w[i] - u[i] * p[i + 1]) / d[i];

    const int first = nodes.front().x;
    const int last = nodes.back().x;
    for (int v = 0; v < 256; ++v) {
        std::uint8_t& entry = table[static_cast<std::size_t>(v)];
        if (v >= last) {
            entry = ClampToByte(nodes.back().y);
        } else if (v < first) {
            entry = ClampToByte(nodes.front().y);
        } else {
            std::size_t i = 0;
            while (v > nodes[i + 1].x) ++i;  // ends at the last segment, since v is below its end
            const double t = (v - x[i]) / u[i];
            entry = RoundToByte(t * y[i + 1] + (1 - t) * y[i] +
                                (Bend(t) * p[i + 1] + Bend(1 - t) * p[i]) * (u[i] * u[i]) / 6);
        }
    }
    return true;
}

bool LinearTable(std::span<const CurveNode> nodes, ByteTable& table) {
    if (nodes.size() < 2) return false;
    const auto inTable = [](int x) { return static_cast<std::size_t>(std::clamp(x, 0, 256)); };
    std::fill(table.begin(), table.begin() + static_cast<std::ptrdiff_t>(inTable(nodes.front().x)),
              ClampToByte(nodes.front().y));
    for (std::size_t i = 0; i + 1 < nodes.size(); ++i) {
        const CurveNode from = nodes[i];
        const CurveNode to = nodes[i + 1];
        const double run = static_cast<double>(to.x) - from.x;
        // Between two nodes at one place lies one tone, whatever the slope.
        const double slope = run == 0.0 ? 0.9999 : (static_cast<double>(to.y) - from.y) / run;
        for (int x = std::max(from.x, 0); x <= std::min(to.x, 255); ++x)
            table[static_cast<std::size_t>(x)] = RoundToByte(from.y + (static_cast<double>(x) - from.x) * slope);
    }
    std::fill(table.begin() + static_cast<std::ptrdiff_t>(std::min<std::size_t>(inTable(nodes.back().x), 256)),
              table.end(), ClampToByte(nodes.back().y));
    return true;
}

ByteTable CurveTable(std::span<const CurveNode> nodes, bool linear) {
    ByteTable table = kIdentityTable;
    constexpr CurveNode kStraight[] = {{0, 0}, {255, 255}};  // most curves of a set
    if (std::ranges::equal(nodes, kStraight)) return table;
    if (linear)
        LinearTable(nodes, table);
    else
        SplineTable(nodes, table);
    return table;
}

}  // namespace kestrel::kernels
