#include "kestrel/dialogs/HandleGeometry.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace kestrel {
namespace {

constexpr double kSmallest = 1;  // pixels

/// Turned counter-clockwise, rows counted upwards.
QPointF Turned(QPointF v, double degrees) {
    const double angle = degrees * std::numbers::pi / 180;
    return {v.x() * std::cos(angle) - v.y() * std::sin(angle), v.x() * std::sin(angle) + v.y() * std::cos(angle)};
}

double Degrees(QPointF v) { return std::atan2(v.y(), v.x()) * 180 / std::numbers::pi; }

/// One axis of a frame, in the frame's own direction, from its middle.
struct Extent {
    double low, high;
    double Size() const { return high - low; }
};

/// Moves the side that is held; the other stays.
Extent Dragged(Extent extent, int side, double by) {
    if (side > 0) extent.high = std::max(extent.high + by, extent.low + kSmallest);
    if (side < 0) extent.low = std::min(extent.low + by, extent.high - kSmallest);
    return extent;
}

/// How large an axis may become when the side that is not held stays, or, with none held, the middle.
double Room(Extent extent, int side, Extent limit) {
    if (side > 0) return limit.high - extent.low;
    if (side < 0) return extent.high - limit.low;
    const double middle = (extent.low + extent.high) / 2;
    return 2 * std::min(middle - limit.low, limit.high - middle);
}

Extent WithSize(Extent extent, int side, double size) {
    if (side > 0) return {extent.low, extent.low + size};
    if (side < 0) return {extent.high - size, extent.high};
    const double middle = (extent.low + extent.high) / 2;
    return {middle - size / 2, middle + size / 2};
}

HandleFrame Resized(HandleFrame frame, const Handle& handle, QPointF by, const QRectF& bounds) {
    const QPointF middle = frame.area.center(), own = Turned(by, -frame.angle);
    const double halfWidth = frame.area.width() / 2, halfHeight = frame.area.height() / 2;
    Extent x = Dragged({-halfWidth, halfWidth}, handle.x, own.x());
    Extent y = Dragged({-halfHeight, halfHeight}, handle.y, own.y());

    constexpr double kFree = std::numeric_limits<double>::infinity();
    double roomX = kFree, roomY = kFree;
    if (frame.angle == 0) {
        roomX = Room(x, handle.x, {bounds.left() - middle.x(), bounds.right() - middle.x()});
        roomY = Room(y, handle.y, {bounds.top() - middle.y(), bounds.bottom() - middle.y()});
    }
    double width = x.Size(), height = y.Size();
    if (frame.aspect > 0) {
        // A side decides its own axis, a corner the axis that was dragged further.
        const bool byWidth = handle.y == 0 || (handle.x != 0 && width >= height * frame.aspect);
        width = byWidth ? width : height * frame.aspect;
        width = std::max({std::min({width, roomX, roomY * frame.aspect}), kSmallest, kSmallest * frame.aspect});
        height = width / frame.aspect;
    } else {
        width = std::max(std::min(width, roomX), kSmallest);
        height = std::max(std::min(height, roomY), kSmallest);
    }
    x = WithSize(x, handle.x, width);
    y = WithSize(y, handle.y, height);
    const QPointF moved = middle + Turned({(x.low + x.high) / 2, (y.low + y.high) / 2}, frame.angle);
    frame.area = QRectF(moved - QPointF(width / 2, height / 2), QSizeF(width, height));
    return frame;
}

HandleFrame Moved(HandleFrame frame, QPointF by, const QRectF& bounds) {
    const double marginX = frame.angle == 0 ? std::min(frame.area.width(), bounds.width()) / 2 : 0;
    const double marginY = frame.angle == 0 ? std::min(frame.area.height(), bounds.height()) / 2 : 0;
    const QPointF middle = frame.area.center() + by;
    frame.area.moveCenter({std::clamp(middle.x(), bounds.left() + marginX, bounds.right() - marginX),
                           std::clamp(middle.y(), bounds.top() + marginY, bounds.bottom() - marginY)});
    return frame;
}

}  // namespace

QPointF HandlePlace(const HandleFrame& frame, const Handle& handle, double reach) {
    QPointF own(handle.x * frame.area.width() / 2, handle.y * frame.area.height() / 2);
    if (handle.turns) own = {0, frame.area.height() / 2 + 3 * reach};
    return frame.area.center() + Turned(own, frame.angle);
}

std::array<QPointF, 4> FrameCorners(const HandleFrame& frame) {
    return {HandlePlace(frame, {-1, -1}, 0), HandlePlace(frame, {1, -1}, 0), HandlePlace(frame, {1, 1}, 0),
            HandlePlace(frame, {-1, 1}, 0)};
}

std::optional<Handle> FindHandle(const HandleFrame& frame, QPointF point, double reach) {
    std::optional<Handle> nearest;
    double distance = reach;
    const auto consider = [&](const Handle& handle) {
        const QPointF away = HandlePlace(frame, handle, reach) - point;
        if (std::hypot(away.x(), away.y()) > distance) return;
        distance = std::hypot(away.x(), away.y());
        nearest = handle;
    };
    if (frame.rotates) consider({0, 0, true});
    for (int y = -1; frame.resizes && y <= 1; ++y)
        for (int x = -1; x <= 1; ++x)
            if (x != 0 || y != 0) consider({x, y});
    if (nearest) return nearest;
    const QPointF own = Turned(point - frame.area.center(), -frame.angle);
    const bool inside = std::abs(own.x()) <= frame.area.width() / 2 && std::abs(own.y()) <= frame.area.height() / 2;
    return inside ? std::optional(Handle{}) : std::nullopt;
}

HandleFrame DragHandle(const HandleFrame& frame, const Handle& handle, QPointF from, QPointF to, const QRectF& bounds) {
    if (!handle.turns) {
        const bool moves = handle.x == 0 && handle.y == 0;
        return moves ? Moved(frame, to - from, bounds) : Resized(frame, handle, to - from, bounds);
    }
    HandleFrame turned = frame;
    const QPointF middle = frame.area.center();
    turned.angle = std::remainder(frame.angle + Degrees(to - middle) - Degrees(from - middle), 360);
    return turned;
}

}  // namespace kestrel
