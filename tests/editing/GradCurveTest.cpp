// The curve of the gradation editor: its commands, what holds a node, and the log.
#include "kestrel/editing/GradCurve.h"

#include <gtest/gtest.h>

#include <string>

#include "kestrel/diagnostics/LogSink.h"

namespace kestrel {

void PrintTo(const CGradCurve::Node& node, std::ostream* out) { *out << node.x << ',' << node.y; }

namespace {

using Nodes = std::vector<CGradCurve::Node>;
using Flip = CGradCurve::Flip;
std::string logged;

CGradCurve Curve(const Nodes& nodes, int selected = 0) {
    CGradCurve curve;
    curve.SetCount(static_cast<int>(nodes.size()));
    for (std::size_t i = 0; i < nodes.size(); ++i) curve.SetNode(static_cast<int>(i), nodes[i].x, nodes[i].y);
    curve.Select(selected);
    return curve;
}

struct GradCurve : testing::Test {
    GradCurve() {
        logged.clear();
        SetLogSink([](int level, const char*, int, const std::string& text) {
            EXPECT_EQ(level, -1);
            logged += text;
        });
    }
    ~GradCurve() override { SetLogSink(nullptr); }
};

TEST_F(GradCurve, InsertsIntoTheLargestGap) {
    struct Case {
        Nodes before;
        Nodes after;
        int selected;
        const char* log;
    };
    const Case cases[] = {
        {{{0, 0}, {255, 255}},
         {{0, 0}, {127, 127}, {255, 255}},
         1,
         "Largest Spacing = 130050 after node  0 (zero based)\nNode 1 inserted @ x = 127, y = 127\n"},
        // The first of equal gaps, y falling: halves are cut off toward the left node.
        {{{0, 255}, {100, 100}, {200, 255}},
         {{0, 255}, {50, 178}, {100, 100}, {200, 255}},
         1,
         "Largest Spacing = 34025 after node  0 (zero based)\nNode 1 inserted @ x = 50, y = 178\n"},
        // The distance counts in both directions.
        {{{0, 0}, {150, 0}, {170, 255}, {255, 255}},
         {{0, 0}, {150, 0}, {160, 127}, {170, 255}, {255, 255}},
         2,
         "Largest Spacing = 65425 after node  1 (zero based)\nNode 2 inserted @ x = 160, y = 127\n"},
        // No place between neighbours.
        {{{100, 0}, {101, 255}}, {{100, 0}, {101, 255}}, 0, "Largest Spacing = 65026 after node  0 (zero based)\n"},
    };
    for (const Case& c : cases) {
        logged.clear();
        CGradCurve curve = Curve(c.before);
        EXPECT_EQ(curve.InsertAuto(), c.before != c.after);
        EXPECT_EQ(curve.Nodes(), c.after);
        EXPECT_EQ(curve.GetSelected(), c.selected);
        EXPECT_EQ(logged, c.log);
    }
    CGradCurve full;
    for (int i = 2; i < 12; ++i) EXPECT_TRUE(full.InsertAuto());
    EXPECT_FALSE(full.InsertAuto());
    EXPECT_FALSE(full.InsertAt(1, 0));
    EXPECT_EQ(full.GetCount(), 12);
}

TEST_F(GradCurve, RemovesOnlyInnerNodes) {
    const Nodes four = {{0, 0}, {10, 50}, {100, 100}, {255, 255}};
    struct Case {
        int remove;  // -2: the closest
        int selected;
        Nodes after;
        int selectedAfter;
        const char* log;
    };
    const Case cases[] = {
        {1, 3, {{0, 0}, {100, 100}, {255, 255}}, 2, "Node 1 removed @ x = 10, y = 50\n"},
        {0, 0, {{0, 0}, {100, 100}, {255, 255}}, 0, "Node 1 removed @ x = 10, y = 50\n"},
        {9, 1, {{0, 0}, {10, 50}, {255, 255}}, 1, "Node 2 removed @ x = 100, y = 100\n"},
        {-2,
         2,
         {{0, 0}, {100, 100}, {255, 255}},
         2,
         "Smallest Spacing = 2600 after node  0\nNode 1 removed @ x = 10, y = 50\n"},
    };
    for (const Case& c : cases) {
        logged.clear();
        CGradCurve curve = Curve(four, c.selected);
        EXPECT_TRUE(c.remove == -2 ? curve.RemoveAuto() : curve.RemoveNode(c.remove));
        EXPECT_EQ(curve.Nodes(), c.after);
        EXPECT_EQ(curve.GetSelected(), c.selectedAfter);
        EXPECT_EQ(logged, c.log);
    }
    // The smallest gap lies before the last node: its neighbour goes.
    CGradCurve end = Curve({{0, 0}, {100, 100}, {250, 250}, {255, 255}});
    EXPECT_TRUE(end.RemoveAuto());
    EXPECT_EQ(end.Nodes(), (Nodes{{0, 0}, {100, 100}, {255, 255}}));

    CGradCurve two;
    EXPECT_FALSE(two.RemoveAuto());
    EXPECT_FALSE(two.RemoveNode(0));
    EXPECT_EQ(two, CGradCurve());
}

TEST_F(GradCurve, InsertsWhereAsked) {
    struct Case {
        int x, y;
        int at;  // -1: refused
        CGradCurve::Node node;
    };
    const Case cases[] = {{30, 7, 0, {30, 7}},     {-9, -9, 0, {0, 0}},     {50, 90, -1, {}},
                          {51, 300, 1, {51, 255}}, {149, 20, 1, {149, 20}}, {150, 20, -1, {}},
                          {199, 20, 2, {199, 20}}, {200, 20, -1, {}},       {201, 0, 3, {201, 0}},
                          {999, 99, 3, {255, 99}}};
    for (const Case& c : cases) {
        logged.clear();
        CGradCurve curve = Curve({{50, 50}, {150, 150}, {200, 200}}, 2);
        EXPECT_EQ(curve.InsertAt(c.x, c.y), c.at >= 0) << c.x;
        EXPECT_EQ(curve.GetSelected(), c.at < 0 ? 2 : c.at);
        if (c.at < 0) {
            EXPECT_EQ(curve.GetCount(), 3);
            EXPECT_EQ(logged, "");
            continue;
        }
        EXPECT_EQ(curve.Nodes()[static_cast<std::size_t>(c.at)], c.node);
        EXPECT_EQ(logged, "Node " + std::to_string(c.at + 1) + " (base 1) inserted @ x = " + std::to_string(c.node.x) +
                              ", y = " + std::to_string(c.node.y) + "\n");
    }
}

TEST_F(GradCurve, HitsTheNearestNodeWithinForty) {
    const CGradCurve curve = Curve({{50, 50}, {60, 50}, {200, 200}});
    struct Case {
        int x, y, hit;
    };
    for (const Case c : {Case{52, 50, 0},
                         {55, 50, 0},
                         {56, 50, 1},
                         {50, 90, 0},
                         {50, 91, -1},
                         {176, 168, 2},
                         {176, 167, -1},
                         {-2000000000, 2000000000, -1}})
        EXPECT_EQ(curve.HitTest(c.x, c.y), c.hit) << c.x << ' ' << c.y;
}

TEST_F(GradCurve, NeighboursAndLimitsHoldTheSelectedNode) {
    struct Case {
        int selected;
        int x, y;
        CGradCurve::Node held;
    };
    const Case cases[] = {{0, 99, 300, {99, 255}},  // free below the next one, y to the limit
                          {0, 100, 5, {99, 5}},      {0, -1, -1, {0, 0}},  {1, 150, 7, {150, 7}},
                          {1, 200, 7, {199, 7}},     {1, 0, 7, {1, 7}},    {2, 100, 255, {101, 255}},
                          {2, 400, 256, {255, 255}}, {2, 101, 3, {101, 3}}};
    for (const Case& c : cases) {
        CGradCurve curve = Curve({{0, 0}, {100, 100}, {200, 200}}, c.selected);
        EXPECT_EQ(curve.MoveSelected(c.x, c.y), c.held != (CGradCurve::Node{c.x, c.y})) << c.selected << ' ' << c.x;
        EXPECT_EQ(curve.Nodes()[static_cast<std::size_t>(c.selected)], c.held) << c.selected << ' ' << c.x;
    }
    CGradCurve none = Curve({{0, 0}, {100, 100}}, CGradCurve::kNone);
    EXPECT_FALSE(none.MoveSelected(50, 50));
    EXPECT_EQ(none.Nodes(), (Nodes{{0, 0}, {100, 100}}));
}

TEST_F(GradCurve, MirrorsAndSorts) {
    const Nodes three = {{0, 10}, {100, 30}, {255, 200}};
    EXPECT_EQ(CGradCurve::Flip::Diagonal, static_cast<Flip>(3));
    struct Case {
        Flip flip;
        Nodes after;
    };
    for (const Case& c : {Case{Flip::Y, {{0, 245}, {100, 225}, {255, 55}}},
                          {Flip::X, {{0, 200}, {155, 30}, {255, 10}}},
                          {Flip::Antidiagonal, {{55, 0}, {225, 155}, {245, 255}}},
                          {Flip::Diagonal, {{10, 0}, {30, 100}, {200, 255}}}}) {
        CGradCurve curve = Curve(three);
        curve.Mirror(c.flip);
        EXPECT_EQ(curve.Nodes(), c.after);
        curve.Mirror(c.flip);
        EXPECT_EQ(curve.Nodes(), three);
    }
}

TEST_F(GradCurve, RepairMakesACurveOfAnything) {
    struct Case {
        Nodes before;
        Nodes after;
    };
    for (const Case& c : {Case{{}, {{0, 0}, {255, 255}}},
                          {{{7, 7}}, {{0, 0}, {255, 255}}},
                          {{{300, -5}, {20, 999}}, {{20, 255}, {255, 0}}},
                          {{{9, 1}, {9, 2}, {9, 3}}, {{9, 1}, {10, 2}, {11, 3}}},
                          {{{255, 1}, {255, 2}, {254, 3}}, {{253, 3}, {254, 1}, {255, 2}}}}) {
        CGradCurve curve = Curve(c.before, 1);
        curve.Repair();
        EXPECT_EQ(curve.Nodes(), c.after);
        EXPECT_LT(curve.GetSelected(), curve.GetCount());
    }
    CGradCurve curve;
    curve.SetCount(999);
    EXPECT_EQ(curve.GetCount(), 12);
    curve.Select(11);
    curve.SetCount(-3);
    EXPECT_EQ(curve.GetSelected(), CGradCurve::kNone);
    CGradCurve::Node node{1, 2};
    EXPECT_EQ(curve.GetNode(0, &node), -1);
    EXPECT_EQ(node, (CGradCurve::Node{1, 2}));
    EXPECT_EQ(curve.LargestSpacing(), CGradCurve::kNone);
    EXPECT_EQ(curve.HitTest(0, 0), CGradCurve::kNone);
    EXPECT_EQ(curve.Table()[77], 77);  // no table can be made
}

}  // namespace
}  // namespace kestrel
