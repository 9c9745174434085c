// Renders every filter of the catalogue at its telling setting over a picture, reduced, into one labelled sheet.
#include <fmt/format.h>
#include <pango/pangocairo.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "kestrel/codec/ImageLoader.h"
#include "kestrel/host/Catalogue.h"
#include "kestrel/host/Rendering.h"
#include "tools/TellingSettings.h"

namespace kestrel {
namespace {

constexpr int kColumns = 7;
constexpr int kTileWidth = 330;
constexpr int kTileHeight = 220;
constexpr int kGap = 16;
constexpr int kLabelHeight = 50;

struct CairoDeleter {
    void operator()(cairo_t* cairo) const { cairo_destroy(cairo); }
    void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
    void operator()(PangoLayout* layout) const { g_object_unref(layout); }
    void operator()(PangoFontDescription* font) const { pango_font_description_free(font); }
};
template <class T>
using Cairo = std::unique_ptr<T, CairoDeleter>;

struct Tile {
    std::string name;
    std::string text;
    Picture picture;
};

Picture Copy(const Picture& picture) {
    Picture copy = MakePicture(picture.Width(), picture.Height());
    if (!copy.image) throw std::bad_alloc();
    for (int y = 0; y < picture.Height(); ++y) {
        std::memcpy(DibRow(copy.image.get(), y), DibRow(picture.image.get(), y), DibRowSize(picture.image.get()));
        std::memcpy(DibRow(copy.mask.get(), y), DibRow(picture.mask.get(), y), DibRowSize(picture.mask.get()));
    }
    return copy;
}

/// The picture with transparent surroundings: an ellipse with a soft edge stays.
void CutOut(Picture& picture) {
    const int width = picture.Width(), height = picture.Height();
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const double u = (2.0 * x + 1 - width) / (0.72 * width), v = (2.0 * y + 1 - height) / (0.72 * height);
            DibRow(picture.mask.get(), y)[x] =
                static_cast<std::uint8_t>(std::clamp((u * u + v * v - 0.9) * 1275, 0.0, 255.0));
        }
}

/// The picture over a board of light and dark squares, so that transparent places show.
Cairo<cairo_surface_t> Surface(const Picture& picture) {
    const int width = picture.Width(), height = picture.Height();
    Cairo<cairo_surface_t> surface(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height));
    cairo_surface_flush(surface.get());
    std::uint8_t* bytes = cairo_image_surface_get_data(surface.get());
    const int stride = cairo_image_surface_get_stride(surface.get());
    for (int y = 0; y < height; ++y) {
        const std::uint8_t* from = DibRow(picture.image.get(), height - 1 - y);
        const std::uint8_t* masks = picture.mask ? DibRow(picture.mask.get(), height - 1 - y) : nullptr;
        for (int x = 0; x < width; ++x) {
            const int mask = masks ? masks[x] : 0;
            const int board = (x / 8 + y / 8) % 2 ? 208 : 240;
            std::uint32_t pixel = 0;
            for (int channel = 2; channel >= 0; --channel)
                pixel = pixel << 8 |
                        static_cast<std::uint32_t>((from[3 * x + channel] * (255 - mask) + board * mask) / 255);
            std::memcpy(bytes + std::ptrdiff_t{y} * stride + std::ptrdiff_t{x} * 4, &pixel, sizeof pixel);
        }
    }
    cairo_surface_mark_dirty(surface.get());
    return surface;
}

void Write(cairo_t* cairo, const std::string& text, const char* font, int x, int y, int lines) {
    const Cairo<PangoLayout> layout(pango_cairo_create_layout(cairo));
    const Cairo<PangoFontDescription> description(pango_font_description_from_string(font));
    pango_layout_set_font_description(layout.get(), description.get());
    pango_layout_set_text(layout.get(), text.c_str(), -1);
    pango_layout_set_width(layout.get(), kTileWidth * PANGO_SCALE);
    pango_layout_set_height(layout.get(), -lines);
    pango_layout_set_wrap(layout.get(), PANGO_WRAP_WORD_CHAR);
    pango_layout_set_ellipsize(layout.get(), PANGO_ELLIPSIZE_END);
    cairo_move_to(cairo, x, y);
    pango_cairo_show_layout(cairo, layout.get());
}

/// The sheet; true when the file was written.
bool WriteSheet(const std::vector<Tile>& tiles, const char* path) {
    const int rows = (static_cast<int>(tiles.size()) + kColumns - 1) / kColumns;
    const int width = kGap + kColumns * (kTileWidth + kGap);
    const int height = kGap + rows * (kTileHeight + kLabelHeight + kGap);
    const Cairo<cairo_surface_t> sheet(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height));
    const Cairo<cairo_t> cairo(cairo_create(sheet.get()));
    cairo_set_source_rgb(cairo.get(), 0.16, 0.16, 0.17);
    cairo_paint(cairo.get());
    for (int i = 0; i < static_cast<int>(tiles.size()); ++i) {
        const Tile& tile = tiles[static_cast<std::size_t>(i)];
        const int x = kGap + i % kColumns * (kTileWidth + kGap);
        const int y = kGap + i / kColumns * (kTileHeight + kLabelHeight + kGap);
        const auto surface = Surface(tile.picture);
        const double scale =
            std::min({1.0, double{kTileWidth} / tile.picture.Width(), double{kTileHeight} / tile.picture.Height()});
        cairo_save(cairo.get());
        cairo_translate(cairo.get(), x + (kTileWidth - scale * tile.picture.Width()) / 2,
                        y + (kTileHeight - scale * tile.picture.Height()) / 2);
        cairo_scale(cairo.get(), scale, scale);
        cairo_set_source_surface(cairo.get(), surface.get(), 0, 0);
        cairo_paint(cairo.get());
        cairo_restore(cairo.get());
        cairo_set_source_rgb(cairo.get(), 0.95, 0.95, 0.93);
        Write(cairo.get(), tile.name, "DejaVu Sans Bold 10", x, y + kTileHeight + 4, 1);
        cairo_set_source_rgb(cairo.get(), 0.68, 0.68, 0.66);
        Write(cairo.get(), tile.text, "DejaVu Sans 7", x, y + kTileHeight + 22, 2);
    }
    return cairo_surface_write_to_png(sheet.get(), path) == CAIRO_STATUS_SUCCESS;
}

/// The picture that the filters are shown on: as large as a tile, visible everywhere.
Picture LoadSample(const char* path) {
    LoadResult loaded = ImageLoader::Load(path);
    if (!loaded) throw std::runtime_error(fmt::format("{}: {}", path, loaded.error.text));
    const double scale =
        std::min(double{kTileWidth} / loaded.image->biWidth, double{kTileHeight} / loaded.image->biHeight);
    Picture sample = MakePicture(std::max(1, static_cast<int>(loaded.image->biWidth * scale)),
                                 std::max(1, static_cast<int>(loaded.image->biHeight * scale)));
    if (sample.image) sample.image.reset(DibScale(loaded.image.get(), sample.Width(), sample.Height()));
    if (!sample.image) throw std::bad_alloc();
    for (int y = 0; y < sample.Height(); ++y)
        std::memset(DibRow(sample.mask.get(), y), 0, DibRowSize(sample.mask.get()));
    return sample;
}

Tile Show(const Description& filter, const Picture& sample) {
    const TellingSetting* setting = FindTellingSetting(filter.progId);
    if (!setting) throw std::runtime_error(fmt::format("{} has no telling setting", filter.progId));
    Picture input = Copy(sample);
    if (setting->cutOut) CutOut(input);
    Rendering rendering;
    Tile tile{std::string(setting->filter), std::string(setting->text), {}};
    if (rendering.AddFilter(filter.progId, tile.text.c_str()) != S_OK ||
        rendering.SetPicture(std::move(input)) != S_OK || rendering.Render(tile.picture) != S_OK)
        throw std::runtime_error(fmt::format("{} could not be rendered", filter.progId));
    return tile;
}

}  // namespace
}  // namespace kestrel

int main(int argc, char** argv) {
    using namespace kestrel;
    if (argc != 3) {
        fmt::print(stderr, "usage: gallery PICTURE SHEET.png\n");
        return 2;
    }
    try {
        const Picture sample = LoadSample(argv[1]);
        std::vector<Tile> tiles;
        tiles.push_back({"the picture itself", "", Copy(sample)});
        for (const ClassRow* row : ListFilters()) tiles.push_back(Show(*row->description, sample));
        if (!WriteSheet(tiles, argv[2])) throw std::runtime_error(fmt::format("{}: cannot be written", argv[2]));
    } catch (const std::exception& error) {
        fmt::print(stderr, "gallery: {}\n", error.what());
        return 1;
    }
    return 0;
}
