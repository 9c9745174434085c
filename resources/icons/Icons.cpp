#include "resources/icons/Icons.h"

#include <cstring>
#include <new>

namespace kestrel::icons {

std::vector<Icon> AllIcons() {
    std::vector<Icon> all;
    for (const auto family : {ToneIcons(), NeighbourhoodIcons(), GeometryIcons(), CompositionIcons(), SystemIcons()})
        all.insert(all.end(), family.begin(), family.end());
    return all;
}

std::vector<std::uint32_t> Draw(const Icon& icon, const State& state, int side) {
    cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, side, side);
    cairo_t* cairo = cairo_create(surface);
    cairo_scale(cairo, side / Pen::kSide, side / Pen::kSide);
    Pen pen(cairo);
    if (state.alpha > 0) pen.Rect(0, 0, Pen::kSide, Pen::kSide, 4).Fill(state.plate, state.alpha);
    cairo_translate(cairo, 0, state.shift);
    icon.draw(pen);
    const bool drawn = cairo_status(cairo) == CAIRO_STATUS_SUCCESS;
    cairo_destroy(cairo);

    cairo_surface_flush(surface);
    const auto width = static_cast<std::size_t>(side);
    std::vector<std::uint32_t> pixels(width * width);
    const unsigned char* bytes = cairo_image_surface_get_data(surface);
    const auto stride = static_cast<std::size_t>(cairo_image_surface_get_stride(surface));
    if (drawn && bytes)
        for (std::size_t y = 0; y < width; ++y) std::memcpy(&pixels[y * width], bytes + y * stride, width * 4);
    cairo_surface_destroy(surface);
    if (!drawn || !bytes) throw std::bad_alloc();
    return pixels;
}

}  // namespace kestrel::icons
