#pragma once
#include <cstdint>

#include "kestrel/host/Rendering.h"

namespace kestrel::fuzz {

/// Sends a picture of many colours and masks through the chain, unless a text asks for so many pixels that few
/// inputs would be tried.
inline void RenderSmall(Rendering& rendering, int width, int height) {
    constexpr std::int64_t kMaximumPixels = 1 << 15;
    Picture picture = MakePicture(width, height);
    if (!picture.image) return;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const auto seed = static_cast<std::uint32_t>(y * width + x) * 2654435761U;
            for (int channel = 0; channel < 3; ++channel)
                DibRow(picture.image.get(), y)[3 * x + channel] = static_cast<std::uint8_t>(seed >> (8 * channel));
            DibRow(picture.mask.get(), y)[x] = seed % 3 == 0 ? 0 : static_cast<std::uint8_t>(seed >> 24);
        }
    if (rendering.SetPicture(std::move(picture)) != S_OK || rendering.LargestPixelCount() > kMaximumPixels) return;
    Picture result;
    // A chain may leave nothing of a picture; that it neither crashes nor reads beyond an end is what is asked here.
    static_cast<void>(rendering.Render(result));
    std::uint8_t color[4] = {10, 120, 230, 77};
    static_cast<void>(rendering.TransformColor(color));
}

}  // namespace kestrel::fuzz
