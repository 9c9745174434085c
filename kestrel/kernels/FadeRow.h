#pragma once
#include <algorithm>
#include <cstdint>
#include <span>

#include "kestrel/kernels/Row.h"

namespace kestrel::kernels {

/// One step of a fade towards transparency: a mask byte m becomes (base + keep × m) / 1000.
struct FadeStep {
    std::int32_t base;
    std::int32_t keep;
    constexpr std::uint8_t operator()(std::uint8_t mask) const {
        return static_cast<std::uint8_t>((base + keep * mask) / 1000);
    }
};

/// The step at `distance` pixels from the edge of a fade that is `width` pixels wide; 0 <= distance < width. Both parts
/// are cut to thousandths, so that a mask of 255 may come out as 254.
constexpr FadeStep FadeAt(std::int64_t distance, std::int64_t width) {
    // Beyond any picture the width no longer changes the step, and the products below stay within 64 bits.
    width = std::min(width, std::int64_t{1} << 50);
    return {static_cast<std::int32_t>((width - (distance + 1)) * 1000 / width * 255),
            static_cast<std::int32_t>((distance + 1) * 1000 / width)};
}

/// Fades all bytes alike.
void FadeRow(Row mask, FadeStep step);
/// Fades each byte by a step of its own.
void FadeColumns(Row mask, std::span<const FadeStep> steps);

}  // namespace kestrel::kernels
