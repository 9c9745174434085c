// Draws every icon of the built-in storage at both sizes, on light and on dark ground, into one labelled sheet.
#include <cairo.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>

#include "resources/icons/Icons.h"

namespace kestrel::icons {
namespace {

constexpr int kColumns = 4;
constexpr int kCellWidth = 272;
constexpr int kCellHeight = 112;
constexpr int kMargin = 6;

struct CairoDeleter {
    void operator()(cairo_t* cairo) const { cairo_destroy(cairo); }
    void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
};

void Ground(cairo_t* cairo, int x, int y, int width, double gray) {
    cairo_set_source_rgb(cairo, gray, gray, gray);
    cairo_rectangle(cairo, x, y, width, kCellHeight / 2.0 - kMargin - 5);
    cairo_fill(cairo);
}

void Show(cairo_t* cairo, const Icon& icon, const State& state, int side, int x, int y) {
    auto pixels = Draw(icon, state, side);
    const std::unique_ptr<cairo_surface_t, CairoDeleter> surface(cairo_image_surface_create_for_data(
        reinterpret_cast<unsigned char*>(pixels.data()), CAIRO_FORMAT_ARGB32, side, side, 4 * side));
    cairo_set_source_surface(cairo, surface.get(), x, y);
    cairo_paint(cairo);
}

/// One icon: on each ground at 44 pixels, and at 22 pixels in its four states.
void ShowCell(cairo_t* cairo, const Icon& icon, int x, int y) {
    cairo_set_source_rgb(cairo, 0.1, 0.1, 0.1);
    cairo_move_to(cairo, x, y + 9);
    cairo_show_text(cairo, icon.name);
    for (int ground = 0; ground < 2; ++ground) {
        const int top = y + 13 + ground * (kCellHeight / 2 - kMargin - 5);
        Ground(cairo, x, top, kCellWidth - kMargin, ground == 0 ? 1.0 : 0.13);
        Show(cairo, icon, kStates[0], 44, x + 4, top);
        int left = x + 60;
        for (const State& state : kStates) {
            Show(cairo, icon, state, 22, left, top + 11);
            left += 34;
        }
    }
}

}  // namespace
}  // namespace kestrel::icons

int main(int argc, char** argv) {
    using namespace kestrel::icons;
    if (argc != 2) {
        std::fputs("usage: icon_sheet SHEET.png\n", stderr);
        return 2;
    }
    const auto icons = AllIcons();
    const int rows = (static_cast<int>(icons.size()) + kColumns - 1) / kColumns;
    const std::unique_ptr<cairo_surface_t, CairoDeleter> sheet(
        cairo_image_surface_create(CAIRO_FORMAT_RGB24, kMargin + kColumns * kCellWidth, kMargin + rows * kCellHeight));
    const std::unique_ptr<cairo_t, CairoDeleter> cairo(cairo_create(sheet.get()));
    cairo_set_source_rgb(cairo.get(), 0.86, 0.86, 0.87);
    cairo_paint(cairo.get());
    cairo_select_font_face(cairo.get(), "DejaVu Sans", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(cairo.get(), 10);
    for (int i = 0; i < static_cast<int>(icons.size()); ++i)
        ShowCell(cairo.get(), icons[static_cast<std::size_t>(i)], kMargin + i % kColumns * kCellWidth,
                 kMargin + i / kColumns * kCellHeight);
    if (cairo_surface_write_to_png(sheet.get(), argv[1]) != CAIRO_STATUS_SUCCESS) {
        std::fprintf(stderr, "icon_sheet: %s: cannot be written\n", argv[1]);
        return 1;
    }
    return 0;
}
