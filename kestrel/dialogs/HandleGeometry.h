#pragma once
#include <QPointF>
#include <QRectF>
#include <array>
#include <optional>

#include "kestrel/dialogs/FilterPanel.h"
#include "kestrel/foundation/Export.h"

namespace kestrel {

/// A place where a frame over a picture can be taken hold of: its inside, a corner or a side, or the handle that turns
/// it. All points are in the picture's pixels, rows counted upwards.
struct Handle {
    int x = 0;  ///< -1 left, 0 middle, 1 right
    int y = 0;  ///< -1 bottom, 0 middle, 1 top; both 0: the inside, which moves the frame
    bool turns = false;
    bool operator==(const Handle&) const = default;
};

/// Where a handle is drawn; the one that turns stands `reach` × 3 over the upper side.
KESTREL_API QPointF HandlePlace(const HandleFrame& frame, const Handle& handle, double reach);
/// The corners of the frame: lower left, lower right, upper right, upper left.
KESTREL_API std::array<QPointF, 4> FrameCorners(const HandleFrame& frame);
/// The nearest handle that is no further than `reach` away, the inside where there is none; none outside.
KESTREL_API std::optional<Handle> FindHandle(const HandleFrame& frame, QPointF point, double reach);
/// The frame after a handle was dragged from one point to another. It keeps its aspect and a size of at least a pixel;
/// one that is not turned stays within `bounds`, and the middle of any other does.
KESTREL_API HandleFrame DragHandle(const HandleFrame& frame, const Handle& handle, QPointF from, QPointF to,
                                   const QRectF& bounds);

}  // namespace kestrel
