#include "kestrel/dialogs/HandleGeometry.h"

#include <gtest/gtest.h>

#include <cmath>

namespace kestrel {
namespace {

const QRectF kBounds(0, 0, 100, 80);

HandleFrame Frame(QRectF area, double angle = 0, double aspect = 0) {
    HandleFrame frame;
    frame.area = area;
    frame.angle = angle;
    frame.aspect = aspect;
    frame.rotates = true;
    return frame;
}

void ExpectArea(const HandleFrame& frame, const QRectF& area) {
    const double differences[] = {frame.area.x() - area.x(), frame.area.y() - area.y(),
                                  frame.area.width() - area.width(), frame.area.height() - area.height()};
    for (const double difference : differences)
        EXPECT_NEAR(difference, 0, 1e-9) << frame.area.x() << " " << frame.area.y() << " " << frame.area.width() << " "
                                         << frame.area.height();
}

TEST(HandleGeometry, FindsTheNearestHandleOfATurnedFrame) {
    const HandleFrame flat = Frame({20, 10, 40, 20});
    HandleFrame turned = Frame({20, 10, 40, 20}, 90);  // stands upright: x 30..50, y 0..40
    const struct {
        const HandleFrame& frame;
        QPointF point;
        std::optional<Handle> handle;
    } cases[] = {{flat, {21, 29}, Handle{-1, 1}},      {flat, {60, 12}, Handle{1, -1}},
                 {flat, {40, 31}, Handle{0, 1}},       {flat, {40, 20}, Handle{}},
                 {flat, {40, 39}, Handle{0, 0, true}}, {flat, {70, 20}, std::nullopt},
                 {flat, {62.9, 32}, std::nullopt},     {turned, {30, 40}, Handle{1, 1}},
                 {turned, {50, 0}, Handle{-1, -1}},    {turned, {21, 20}, Handle{0, 0, true}},
                 {turned, {45, 35}, Handle{}},         {turned, {58, 20}, std::nullopt}};
    for (const auto& c : cases)
        EXPECT_EQ(FindHandle(c.frame, c.point, 3), c.handle) << c.point.x() << " " << c.point.y();
    turned.resizes = turned.rotates = false;
    EXPECT_EQ(FindHandle(turned, {31, 39}, 3), Handle{});
    EXPECT_EQ(FindHandle(turned, {21, 20}, 3), std::nullopt);
}

TEST(HandleGeometry, DragsWithinThePictureAndKeepsTheAspect) {
    const QRectF area(20, 10, 40, 20);
    const struct {
        double aspect;
        Handle handle;
        QPointF by;
        QRectF result;
    } cases[] = {{0, {}, {5, -4}, {25, 6, 40, 20}},
                 {0, {}, {500, 500}, {60, 60, 40, 20}},
                 {0, {}, {-500, -500}, {0, 0, 40, 20}},
                 {0, {1, 0}, {10, 99}, {20, 10, 50, 20}},
                 {0, {1, 0}, {500, 0}, {20, 10, 80, 20}},
                 {0, {-1, 0}, {500, 0}, {59, 10, 1, 20}},
                 {0, {-1, 1}, {-5, 7}, {15, 10, 45, 27}},
                 {0, {0, -1}, {0, -500}, {20, 0, 40, 30}},
                 {2, {1, 0}, {10, 0}, {20, 7.5, 50, 25}},  // the other axis grows from its middle
                 {2, {0, 1}, {0, 5}, {15, 10, 50, 25}},
                 {2, {1, 1}, {20, 0}, {20, 10, 60, 30}},  // a corner follows the axis dragged further
                 {2, {1, 1}, {0, 20}, {20, 10, 80, 40}},
                 {2, {-1, -1}, {-500, 0}, {0, 0, 60, 30}},  // as far as both axes have room
                 {2, {1, 1}, {-500, -500}, {20, 10, 2, 1}}};
    for (const auto& c : cases)
        ExpectArea(DragHandle(Frame(area, 0, c.aspect), c.handle, {7, 8}, QPointF(7, 8) + c.by, kBounds), c.result);
}

TEST(HandleGeometry, DragsTheSidesOfATurnedFrame) {
    // Its right side points up; the middle moves half of the way, the left side stays.
    const HandleFrame longer = DragHandle(Frame({20, 10, 40, 20}, 90), {1, 0}, {40, 40}, {55, 50}, kBounds);
    ExpectArea(longer, {15, 15, 50, 20});
    EXPECT_EQ(longer.angle, 90);
    const HandleFrame moved = DragHandle(Frame({20, 10, 40, 20}, 90), {}, {0, 0}, {-90, 0}, kBounds);
    ExpectArea(moved, {-20, 10, 40, 20});
    EXPECT_NEAR(DragHandle(Frame({20, 10, 40, 20}, 170), {0, 0, true}, {40, 60}, {0, 20}, kBounds).angle, -100, 1e-9);
}

}  // namespace
}  // namespace kestrel
