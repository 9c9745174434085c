#pragma once
#include <cstdint>

namespace kestrel {

/// A picture as it passes one link. Two records are equal when all eight fields are.
struct FilterGeometry {
    std::int32_t Width = 0;  ///< picture content, pixels
    std::int32_t Height = 0;
    std::int32_t FullWidth = 0;  ///< frame that the content lies in, pixels
    std::int32_t FullHeight = 0;
    std::int32_t OffsetX = 0;  ///< position of the content within the frame
    std::int32_t OffsetY = 0;
    std::int32_t ViewWidth = -1;  ///< size the host wants to see; -1 means not said
    std::int32_t ViewHeight = -1;
    bool operator==(const FilterGeometry&) const = default;
};

}  // namespace kestrel
