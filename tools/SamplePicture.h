#pragma once
// The sample picture as a packed DIB: the scene seen through a lens and on a sensor.
#include <cstdint>
#include <thread>
#include <vector>

#include "kestrel/image/Dib.h"
#include "tools/SampleScene.h"

namespace kestrel::sample {

/// One pixel: two rays, or four where they differ; darker corners, a little grain.
inline void Expose(int x, int yFromTop, int width, int height, std::uint8_t* pixel) {
    const double h = height;
    const auto ray = [&](double dx, double dy) { return Seen((x + dx) / h, (yFromTop + dy) / h, width / h); };
    const Color first = ray(0.25, 0.25), second = ray(0.75, 0.75), apart = first - second;
    Color light = (first + second) * 0.5;
    if (Dot(apart, apart) > 0.002 * Dot(light, light))
        light = (light + (ray(0.75, 0.25) + ray(0.25, 0.75)) * 0.5) * 0.5;
    const double fromMiddleX = (x + 0.5) / width - 0.5, fromMiddleY = (yFromTop + 0.5) / h - 0.5;
    light = light * (1 - 0.55 * (fromMiddleX * fromMiddleX + fromMiddleY * fromMiddleY));
    const double grain = 3 * (Random(x, yFromTop, 7) + Random(x, yFromTop, 8) - 1);
    const double channels[] = {light.z, light.y, light.x};
    for (const double channel : channels)
        *pixel++ = static_cast<std::uint8_t>(std::clamp(Develop(channel) + grain + 0.5, 0.0, 255.0));
}

/// A 24-bit picture; the same bytes for the same size. Null when memory does not suffice.
inline DibPtr Render(int width, int height) {
    DibPtr dib(DibCreate(24, width, height));
    if (!dib) return dib;
    const unsigned threads = std::max(1u, std::thread::hardware_concurrency());
    const auto rows = [&](unsigned first) {
        for (int row = static_cast<int>(first); row < height; row += static_cast<int>(threads))
            for (int x = 0; x < width; ++x) Expose(x, height - 1 - row, width, height, DibRow(dib.get(), row) + x * 3);
    };
    std::vector<std::thread> workers;
    for (unsigned i = 1; i < threads; ++i) workers.emplace_back(rows, i);
    rows(0);
    for (auto& worker : workers) worker.join();
    return dib;
}

}  // namespace kestrel::sample
