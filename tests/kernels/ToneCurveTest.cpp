// The natural spline against a solve of the whole system by another method, and curves worked out by hand.
#include "kestrel/kernels/ToneCurve.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <random>
#include <vector>

namespace kestrel::kernels {
namespace {

using Nodes = std::vector<CurveNode>;

/// Each segment as a cubic of four unknowns; the equations (values at both ends, equal slope and curvature where
/// segments meet, no curvature at the ends) are solved by elimination with pivoting.
std::vector<double> SplineByCubics(const Nodes& nodes) {
    const std::size_t segments = nodes.size() - 1;
    const std::size_t n = 4 * segments;
    std::vector<std::vector<double>> m;
    const auto equation = [&](double right) -> std::vector<double>& {
        m.emplace_back(n + 1, 0.0);
        m.back()[n] = right;
        return m.back();
    };
    const auto length = [&](std::size_t s) { return static_cast<double>(nodes[s + 1].x - nodes[s].x); };
    for (std::size_t s = 0; s < segments; ++s) {
        const double h = length(s);
        equation(nodes[s].y)[4 * s] = 1;
        auto& end = equation(nodes[s + 1].y);
        end[4 * s] = 1, end[4 * s + 1] = h, end[4 * s + 2] = h * h, end[4 * s + 3] = h * h * h;
        if (s + 1 == segments) continue;
        auto& slope = equation(0);
        slope[4 * s + 1] = 1, slope[4 * s + 2] = 2 * h, slope[4 * s + 3] = 3 * h * h, slope[4 * s + 5] = -1;
        auto& bend = equation(0);
        bend[4 * s + 2] = 2, bend[4 * s + 3] = 6 * h, bend[4 * s + 6] = -2;
    }
    equation(0)[2] = 2;
    auto& last = equation(0);
    last[n - 2] = 2, last[n - 1] = 6 * length(segments - 1);
    for (std::size_t c = 0; c < n; ++c) {
        std::size_t pivot = c;
        for (std::size_t r = c; r < n; ++r)
            if (std::abs(m[r][c]) > std::abs(m[pivot][c])) pivot = r;
        std::swap(m[c], m[pivot]);
        for (std::size_t r = 0; r < n; ++r) {
            if (r == c) continue;
            const double factor = m[r][c] / m[c][c];
            for (std::size_t k = c; k <= n; ++k) m[r][k] -= factor * m[c][k];
        }
    }
    std::vector<double> values(256);
    for (int v = 0; v < 256; ++v) {
        const int inside = std::clamp(v, nodes.front().x, nodes.back().x);
        std::size_t s = 0;
        while (s + 1 < segments && inside > nodes[s + 1].x) ++s;
        const double t = inside - nodes[s].x;
        const auto a = [&](std::size_t k) { return m[4 * s + k][n] / m[4 * s + k][4 * s + k]; };
        values[static_cast<std::size_t>(v)] = a(0) + t * (a(1) + t * (a(2) + t * a(3)));
    }
    return values;
}

TEST(SplineTable, AgreesWithCubicsSolvedTogether) {
    std::mt19937 random(4);
    for (int round = 0; round < 200; ++round) {
        const std::size_t count = 2 + random() % 11;
        Nodes nodes;
        std::vector<int> xs;
        while (xs.size() < count)
            if (const int x = static_cast<int>(random() % 256); std::find(xs.begin(), xs.end(), x) == xs.end())
                xs.push_back(x);
        std::sort(xs.begin(), xs.end());
        for (const int x : xs) nodes.push_back({x, static_cast<int>(random() % 256)});
        ByteTable table{};
        ASSERT_TRUE(SplineTable(nodes, table));
        const auto exact = SplineByCubics(nodes);
        for (std::size_t v = 0; v < 256; ++v)
            ASSERT_NEAR(table[v], std::clamp(exact[v], 0.0, 255.0), 0.5 + 1e-5) << "round " << round << " tone " << v;
    }
}

TEST(SplineTable, ValuesWorkedOutByHand) {
    // One inner node: its second derivative is 6 (63/127 - 192/128) / 510, and half way to it that adds 12.09 to 96.
    ByteTable table{};
    ASSERT_TRUE(SplineTable(Nodes{{0, 0}, {128, 192}, {255, 255}}, table));
    EXPECT_EQ(table[64], 108);
    EXPECT_EQ(table[128], 192);
    // Beyond both ends the curve is flat, and what overshoots is cut.
    ASSERT_TRUE(SplineTable(Nodes{{20, 30}, {60, 250}, {200, 255}, {240, 10}}, table));
    for (std::size_t v = 0; v <= 20; ++v) EXPECT_EQ(table[v], 30);
    for (std::size_t v = 240; v < 256; ++v) EXPECT_EQ(table[v], 10);
    EXPECT_EQ(table[130], 255);
    EXPECT_EQ(table[60], 250);
}

TEST(SplineTable, TwoNodesAreAStraightLine) {
    ByteTable table{};
    ASSERT_TRUE(SplineTable(Nodes{{0, 0}, {255, 255}}, table));
    EXPECT_EQ(table, kIdentityTable);
    ASSERT_TRUE(SplineTable(Nodes{{0, 255}, {255, 0}}, table));
    for (std::size_t v = 0; v < 256; ++v) EXPECT_EQ(table[v], 255 - v);
    ByteTable segments{};
    ASSERT_TRUE(SplineTable(Nodes{{50, 10}, {150, 210}}, table));
    ASSERT_TRUE(LinearTable(Nodes{{50, 10}, {150, 210}}, segments));
    EXPECT_EQ(table, segments);
}

TEST(SplineTable, RefusesWhatHasNoSplineAndLeavesTheTable) {
    const Nodes bad[] = {{},
                         {{5, 5}},
                         {{0, 0}, {100, 50}, {100, 90}, {255, 255}},
                         {{0, 0}, {100, 50}, {0, 90}, {255, 255}},
                         Nodes(kMostCurveNodes + 1, CurveNode{1, 1})};
    for (const Nodes& nodes : bad) {
        ByteTable table = kIdentityTable;
        table[7] = 99;
        const ByteTable before = table;
        EXPECT_FALSE(SplineTable(nodes, table));
        EXPECT_EQ(table, before);
    }
}

TEST(SplineTable, NodesOutOfOrderAndWildOnesFillTheWholeTable) {
    std::mt19937 random(9);
    for (unsigned round = 0; round < 500; ++round) {
        Nodes nodes;
        for (std::size_t i = 0; i < 2 + round % 11; ++i)
            nodes.push_back({static_cast<int>(random() % 256), static_cast<int>(random()) >> (round % 24)});
        ByteTable first = kIdentityTable;
        ByteTable second{};
        if (!SplineTable(nodes, first)) continue;
        ASSERT_TRUE(SplineTable(nodes, second));
        ASSERT_EQ(first, second);  // an entry that nobody wrote would keep what was there
    }
}

TEST(LinearTable, ValuesWorkedOutByHand) {
    ByteTable table{};
    ASSERT_TRUE(LinearTable(Nodes{{10, 0}, {128, 64}, {250, 255}}, table));
    EXPECT_EQ(table[0], 0);
    EXPECT_EQ(table[69], 32);
    EXPECT_EQ(table[128], 64);
    EXPECT_EQ(table[189], 160);  // 64 + 61 x 191 / 122 = 159.5, and a half rounds up
    EXPECT_EQ(table[251], 255);
    // The later of two nodes at one place wins there.
    ASSERT_TRUE(LinearTable(Nodes{{0, 0}, {100, 50}, {100, 90}, {255, 245}}, table));
    EXPECT_EQ(table[99], 50);  // 49.5
    EXPECT_EQ(table[100], 90);
    EXPECT_EQ(table[101], 91);
}

TEST(LinearTable, NodesOutOfOrderFillTheWholeTable) {
    const Nodes nodes = {{200, 10}, {100, 40}, {150, 80}, {120, 90}, {130, 250}};
    ByteTable first = kIdentityTable;
    ByteTable second{};
    ASSERT_TRUE(LinearTable(nodes, first));
    ASSERT_TRUE(LinearTable(nodes, second));
    EXPECT_EQ(first, second);
    EXPECT_EQ(first[0], 10);
    EXPECT_EQ(first[110], 48);
    EXPECT_EQ(first[255], 250);
    EXPECT_FALSE(LinearTable(Nodes{{3, 4}}, first));
    EXPECT_EQ(first, second);
}

TEST(CurveTable, StraightNodesChangeNothingByEitherRule) {
    const Nodes straight = {{0, 0}, {255, 255}};
    for (const auto form : {SplineTable, LinearTable}) {
        ByteTable table{};
        ASSERT_TRUE(form(straight, table));
        EXPECT_EQ(table, kIdentityTable);
    }
    EXPECT_EQ(CurveTable(straight, false), kIdentityTable);
    EXPECT_NE(CurveTable(Nodes{{0, 0}, {255, 254}}, true), kIdentityTable);
}

}  // namespace
}  // namespace kestrel::kernels
