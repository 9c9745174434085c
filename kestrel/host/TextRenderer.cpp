#include "kestrel/host/TextRenderer.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/foundation/CodePage.h"
#include "kestrel/host/CharSets.h"
#include "kestrel/host/TextLibrary.h"
#include "kestrel/kernels/Composite.h"

namespace kestrel {
namespace {

struct Unref {
    void operator()(gpointer object) const { Pango().g_object_unref(object); }
    void operator()(cairo_t* context) const { Pango().cairo_destroy(context); }
    void operator()(cairo_surface_t* surface) const { Pango().cairo_surface_destroy(surface); }
    void operator()(cairo_font_options_t* options) const { Pango().cairo_font_options_destroy(options); }
    void operator()(PangoFontDescription* description) const { Pango().pango_font_description_free(description); }
    void operator()(PangoAttrList* list) const { Pango().pango_attr_list_unref(list); }
};
template <class T>
using Owned = std::unique_ptr<T, Unref>;

// Words ---------------------------------------------------------------------------------------------------------------

/// Line feeds and tabs stay of the control characters; a carriage return belongs to the line feed after it.
std::string WithoutControls(std::string_view text) {
    std::string plain;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if ((byte >= 32 && byte != 127) || c == '\n' || c == '\t') plain += c;
    }
    return plain;
}

// Layout --------------------------------------------------------------------------------------------------------------

/// The family with what stands in for it when the machine lacks it, from the bits for pitch and family.
std::string Families(const FontProperty& font) {
    const int family = font.GetPitchAndFamily() & 0xF0;
    const bool fixed = (font.GetPitchAndFamily() & 3) == 1 || family == 0x30;
    return Utf8From1252(font.GetFontName()) + ',' + (fixed ? "monospace" : family == 0x10 ? "serif" : "sans-serif");
}

/// Pixels of a font size: the height, whatever its sign, up to the largest.
int PixelSize(const FontProperty& font) {
    return static_cast<int>(std::min<std::int64_t>(std::llabs(font.GetFontSize()), TextRenderer::kMaxFontSize));
}

Owned<PangoContext> MakeContext() {
    Owned<PangoContext> context(Pango().pango_font_map_create_context(Pango().pango_cairo_font_map_get_default()));
    // Grey coverage without hints and whole-pixel places: a text looks alike at every size and in every direction, so
    // that a preview shows what the full size will be.
    const Owned<cairo_font_options_t> options(Pango().cairo_font_options_create());
    Pango().cairo_font_options_set_antialias(options.get(), CAIRO_ANTIALIAS_GRAY);
    Pango().cairo_font_options_set_hint_style(options.get(), CAIRO_HINT_STYLE_NONE);
    Pango().cairo_font_options_set_hint_metrics(options.get(), CAIRO_HINT_METRICS_OFF);
    Pango().pango_cairo_context_set_font_options(context.get(), options.get());
    Pango().pango_context_set_round_glyph_positions(context.get(), FALSE);
    return context;
}

Owned<PangoFontDescription> Describe(const FontProperty& font) {
    Owned<PangoFontDescription> description(Pango().pango_font_description_new());
    Pango().pango_font_description_set_family(description.get(), Families(font).c_str());
    Pango().pango_font_description_set_absolute_size(description.get(), double{PANGO_SCALE} * PixelSize(font));
    Pango().pango_font_description_set_weight(description.get(),
                                              font.IsBold() ? PANGO_WEIGHT_BOLD : PANGO_WEIGHT_NORMAL);
    Pango().pango_font_description_set_style(description.get(),
                                             font.IsItalic() ? PANGO_STYLE_ITALIC : PANGO_STYLE_NORMAL);
    return description;
}

Owned<PangoLayout> MakeLayout(const FontProperty& font, const std::string& words) {
    Owned<PangoLayout> layout(Pango().pango_layout_new(MakeContext().get()));
    Pango().pango_layout_set_font_description(layout.get(), Describe(font).get());
    Pango().pango_layout_set_text(layout.get(), words.data(), static_cast<int>(words.size()));
    if (font.IsUnderline()) {
        const Owned<PangoAttrList> attributes(Pango().pango_attr_list_new());
        Pango().pango_attr_list_insert(attributes.get(), Pango().pango_attr_underline_new(PANGO_UNDERLINE_SINGLE));
        Pango().pango_layout_set_attributes(layout.get(), attributes.get());
    }
    return layout;
}

/// Where the lines of a text lie flush, along their own direction: 0 at the left, 1 in the middle, 2 at the right. It
/// is the side of the anchor, so that a turned text has it from the anchor's row.
int Flush(std::int32_t pos, std::int32_t direction) {
    const TextPoint place = TextAnchor(pos, 0, 3, 3);
    if (direction == 90) return static_cast<int>(place.y);  // upward: the right end is above
    if (direction == 270) return static_cast<int>(2 - place.y);
    return static_cast<int>(place.x);
}

/// A rectangle of pixels, rows counted from the top.
struct Box {
    int x = 0, y = 0, width = 0, height = 0;
};

/// What `box` and `other` share; empty boxes have a width and height of 0.
Box Intersection(const Box& box, const Box& other) {
    const int x = std::max(box.x, other.x);
    const int y = std::max(box.y, other.y);
    const int width = std::min(box.x + box.width, other.x + other.width) - x;
    const int height = std::min(box.y + box.height, other.y + other.height) - y;
    return width > 0 && height > 0 ? Box{x, y, width, height} : Box{};
}

/// The lines of a text below each other. They are placed here and not by the layout, which takes "left" for the side
/// where a line's script begins.
class TextBlock {
public:
    TextBlock(const FontProperty& font, const std::string& words, int flush) : layout_(MakeLayout(font, words)) {
        const std::unique_ptr<PangoLayoutIter, decltype(&pango_layout_iter_free)> at(
            Pango().pango_layout_get_iter(layout_.get()), Pango().pango_layout_iter_free);
        int width = 0;
        do {
            PangoLayoutLine* const line = Pango().pango_layout_iter_get_line_readonly(at.get());
            lines_.push_back({line, 0, Pango().pango_layout_iter_get_baseline(at.get())});
            width = std::max(width, LogicalWidth(line));
        } while (Pango().pango_layout_iter_next_line(at.get()));
        for (Line& line : lines_) line.x = (width - LogicalWidth(line.line)) * flush / 2;
        Measure();
    }

    /// The lines and everything that letters draw beyond them.
    const Box& Extents() const { return extents_; }

    void Show(cairo_t* context) const {
        for (const Line& line : lines_) {
            Pango().cairo_move_to(context, Pango().pango_units_to_double(line.x),
                                  Pango().pango_units_to_double(line.baseline));
            Pango().pango_cairo_show_layout_line(context, line.line);
        }
    }

private:
    /// Places are in the layout's units.
    struct Line {
        PangoLayoutLine* line;  ///< the layout's
        int x;
        int baseline;
    };

    static int LogicalWidth(PangoLayoutLine* line) {
        PangoRectangle logical;
        Pango().pango_layout_line_get_extents(line, nullptr, &logical);
        return logical.width;
    }

    void Measure() {
        int left = INT_MAX, top = INT_MAX, right = INT_MIN, bottom = INT_MIN;
        for (const Line& line : lines_) {
            PangoRectangle parts[2];  // the ink, the line
            Pango().pango_layout_line_get_extents(line.line, &parts[0], &parts[1]);
            for (PangoRectangle& part : parts) {
                part.x += line.x;
                part.y += line.baseline;
            }
            Pango().pango_extents_to_pixels(&parts[0], nullptr);  // every pixel that is touched
            Pango().pango_extents_to_pixels(nullptr, &parts[1]);  // the nearest ones
            for (const PangoRectangle& part : parts) {
                left = std::min(left, part.x);
                top = std::min(top, part.y);
                right = std::max(right, part.x + part.width);
                bottom = std::max(bottom, part.y + part.height);
            }
        }
        extents_ = {left, top, right - left, bottom - top};
    }

    Owned<PangoLayout> layout_;
    std::vector<Line> lines_;
    Box extents_;
};

// Coverage ------------------------------------------------------------------------------------------------------------

/// Coverage 0..255 of a rectangle of pixels.
struct Coverage {
    Box box;
    std::vector<std::uint8_t> bytes;

    explicit Coverage(const Box& area)
        : box(area), bytes(static_cast<std::size_t>(area.width) * static_cast<std::size_t>(area.height)) {}
    std::uint8_t* Row(int row) { return bytes.data() + static_cast<std::ptrdiff_t>(row) * box.width; }
    /// Coverage at a pixel; 0 outside.
    std::uint8_t At(int x, int y) const {
        if (x < box.x || y < box.y || x >= box.x + box.width || y >= box.y + box.height) return 0;
        return bytes[static_cast<std::size_t>(y - box.y) * static_cast<std::size_t>(box.width) +
                     static_cast<std::size_t>(x - box.x)];
    }
};

/// How the text lies in the rectangle that it fills when it is turned; the letters' own rectangle begins at 0, 0.
cairo_matrix_t Turned(const Box& extents, std::int32_t direction) {
    cairo_matrix_t turned;
    const double x = extents.x;
    const double y = extents.y;
    if (direction == 90)  // upward: what was right is up
        Pango().cairo_matrix_init(&turned, 0, -1, 1, 0, -y, extents.width + x);
    else if (direction == 270)
        Pango().cairo_matrix_init(&turned, 0, 1, -1, 0, extents.height + y, -x);
    else
        Pango().cairo_matrix_init_translate(&turned, -x, -y);
    return turned;
}

/// Draws the part of the turned text that lies in `area`. Surfaces have a maximum size, so that it goes by tiles.
Coverage Draw(const TextBlock& text, const cairo_matrix_t& turned, const Box& area) {
    constexpr int kTile = 4096;
    Coverage coverage(area);
    for (int y = 0; y < area.height; y += kTile)
        for (int x = 0; x < area.width; x += kTile) {
            const int width = std::min(kTile, area.width - x);
            const int height = std::min(kTile, area.height - y);
            const Owned<cairo_surface_t> surface(Pango().cairo_image_surface_create(CAIRO_FORMAT_A8, width, height));
            const Owned<cairo_t> context(Pango().cairo_create(surface.get()));
            Pango().cairo_translate(context.get(), -area.x - x, -area.y - y);
            Pango().cairo_transform(context.get(), &turned);
            text.Show(context.get());
            Pango().cairo_surface_flush(surface.get());
            if (Pango().cairo_status(context.get()) != CAIRO_STATUS_SUCCESS) throw std::bad_alloc();
            const unsigned char* bytes = Pango().cairo_image_surface_get_data(surface.get());
            const std::ptrdiff_t stride = Pango().cairo_image_surface_get_stride(surface.get());
            for (int row = 0; row < height; ++row) std::copy_n(bytes + row * stride, width, coverage.Row(y + row) + x);
        }
    return coverage;
}

/// One pass of a box blur of `radius` pixels to each side over `n` bytes that lie `step` apart.
void BlurLine(std::uint8_t* line, int n, std::ptrdiff_t step, int radius, std::vector<std::uint8_t>& before) {
    for (int i = 0; i < n; ++i) before[static_cast<std::size_t>(i)] = line[i * step];
    const int size = 2 * radius + 1;
    int sum = 0;
    for (int i = 0; i < std::min(radius, n); ++i) sum += before[static_cast<std::size_t>(i)];
    for (int i = 0; i < n; ++i) {
        if (i + radius < n) sum += before[static_cast<std::size_t>(i + radius)];
        line[i * step] = static_cast<std::uint8_t>((sum + size / 2) / size);
        if (i >= radius) sum -= before[static_cast<std::size_t>(i - radius)];
    }
}

constexpr int kBlurPasses = 3;  ///< three boxes are close to a bell

void Blur(Coverage& coverage, int radius) {
    const Box& box = coverage.box;
    std::vector<std::uint8_t> before(static_cast<std::size_t>(std::max(box.width, box.height)));
    for (int pass = 0; pass < kBlurPasses; ++pass) {
        for (int y = 0; y < box.height; ++y) BlurLine(coverage.Row(y), box.width, 1, radius, before);
        for (int x = 0; x < box.width; ++x) BlurLine(coverage.bytes.data() + x, box.height, box.width, radius, before);
    }
}

/// A shadow to the lower right, soft in proportion to the letters.
struct Shadow {
    int shift = 0;   ///< pixels right and down
    int radius = 0;  ///< of each blur
    int density;     ///< percent; 0 is none

    Shadow(const TextRenderRequest& request) : density(std::clamp(request.shd, 0, 100)) {
        if (density == 0) return;
        const int size = PixelSize(*request.font);
        shift = std::max(1, size / 16);
        radius = std::max(1, size / 32);
    }
    int Reach() const { return density == 0 ? 0 : kBlurPasses * radius; }
};

/// The shadow before it is shifted: the letters with room around them, blurred.
Coverage Softened(const Coverage& letters, const Shadow& shadow) {
    const Box& box = letters.box;
    const int reach = shadow.Reach();
    Coverage soft({box.x - reach, box.y - reach, box.width + 2 * reach, box.height + 2 * reach});
    for (int row = 0; row < box.height; ++row)
        std::copy_n(letters.bytes.data() + static_cast<std::ptrdiff_t>(row) * box.width, box.width,
                    soft.Row(row + reach) + reach);
    Blur(soft, shadow.radius);
    return soft;
}

// Answer --------------------------------------------------------------------------------------------------------------

/// What falls on the picture of a text, and where. The turned letters' rectangle begins at 0, 0.
struct Placement {
    Box area;     ///< of the text with its shadow, what lies on the picture; empty when nothing does
    Box letters;  ///< what has to be drawn for it: the shadow on the picture comes from letters that may lie beside it
    std::int32_t hotSpotX = 0;
    std::int32_t hotSpotY = 0;

    Placement(const TextRenderRequest& request, const Box& extents, const Shadow& shadow) {
        const bool upright = request.dir != 90 && request.dir != 270;
        const Box text{0, 0, upright ? extents.width : extents.height, upright ? extents.height : extents.width};
        const int before = std::max(shadow.Reach() - shadow.shift, 0);
        const int after = shadow.Reach() + shadow.shift;
        const int width = text.width + before + after;
        const int height = text.height + before + after;

        // Of the picture, rows count from the bottom.
        const TextPoint anchor = TextAnchor(request.pos, request.offset, request.width, request.height);
        const TextPoint hotSpot = TextAnchor(request.pos, 0, width, height);
        const Span columns = Visible(anchor.x - hotSpot.x, width, request.width);
        const Span rows = Visible(anchor.y - hotSpot.y, height, request.height);
        if (columns.size == 0 || rows.size == 0) return;
        area = {columns.first - before, height - before - rows.first - rows.size, columns.size, rows.size};
        letters = Intersection(
            text, {area.x - after, area.y - after, area.width + before + after, area.height + before + after});
        hotSpotX = static_cast<std::int32_t>(hotSpot.x - columns.first);
        hotSpotY = static_cast<std::int32_t>(hotSpot.y - rows.first);
    }

private:
    struct Span {
        int first;
        int size;
    };
    /// What of `size` pixels from `low` on lies in 0 to `room` - 1.
    static Span Visible(std::int64_t low, int size, int room) {
        const std::int64_t from = std::clamp<std::int64_t>(-low, 0, size);
        const std::int64_t to = std::clamp<std::int64_t>(room - low, from, size);
        return {static_cast<int>(from), static_cast<int>(to - from)};
    }
};

/// Writes the letters on their shadow into the two records, whose first row is the lowest of `area`.
void Compose(const TextRenderRequest& request, const Coverage& letters, const Coverage& soft, const Shadow& shadow,
             const Box& area, Dib* image, Dib* mask) {
    const auto color = static_cast<std::uint32_t>(request.font->GetFontColor());
    const std::uint8_t ink[3] = {static_cast<std::uint8_t>(color >> 16), static_cast<std::uint8_t>(color >> 8),
                                 static_cast<std::uint8_t>(color)};
    const int opacity = 100 - std::clamp(request.tr, 0, 100);
    for (int row = 0; row < area.height; ++row) {
        std::uint8_t* pixel = DibRow(image, area.height - 1 - row);
        std::uint8_t* masks = DibRow(mask, area.height - 1 - row);
        for (int column = 0; column < area.width; ++column, pixel += 3) {
            const int x = area.x + column;
            const int y = area.y + row;
            const int dark = soft.At(x - shadow.shift, y - shadow.shift) * shadow.density / 100;
            pixel[0] = request.shadowBlue;
            pixel[1] = request.shadowGreen;
            pixel[2] = request.shadowRed;
            auto both = static_cast<std::uint8_t>(255 - dark);
            kernels::OverPixel(pixel, both, ink, static_cast<std::uint8_t>(255 - letters.At(x, y)));
            masks[column] = static_cast<std::uint8_t>(255 - (255 - both) * opacity / 100);
        }
    }
}

}  // namespace

// Services ------------------------------------------------------------------------------------------------------------

bool TextRenderer::Offers(const char* dispatcher) { return std::string_view(dispatcher) == kTextFilterDispatcher; }

HRESULT TextRenderer::Dispatch(const char* dispatcher, std::int32_t code, void* record) {
    if (!Offers(dispatcher) || code != kRenderTextCode) return E_NOTIMPL;
    return RenderText(*static_cast<TextRenderRequest*>(record));
}

char* TextRenderer::TranslateText(const char*) { return nullptr; }

HRESULT TextRenderer::RenderText(TextRenderRequest& request) try {
    request.image = request.mask = nullptr;
    request.hotSpotX = request.hotSpotY = 0;
    request.release = &ReleaseText;
    const std::string words = WithoutControls(Utf8FromCharSet(request.text, request.font->GetCharSet()));
    if (words.find_first_not_of("\n\t ") == std::string::npos || PixelSize(*request.font) == 0) return S_OK;

    if (!Pango().IsThere()) return E_FAIL;
    const TextBlock block(*request.font, words, Flush(request.pos, request.dir));
    const Shadow shadow(request);
    const Placement placed(request, block.Extents(), shadow);
    if (placed.area.width == 0 || placed.area.height == 0) return S_OK;
    const Coverage letters = Draw(block, Turned(block.Extents(), request.dir), placed.letters);
    const Coverage soft = shadow.density > 0 ? Softened(letters, shadow) : Coverage(Box{});

    DibPtr image(DibCreate(24, placed.area.width, placed.area.height));
    DibPtr mask(DibCreate(8, placed.area.width, placed.area.height));
    if (!image || !mask) return E_OUTOFMEMORY;
    Compose(request, letters, soft, shadow, placed.area, image.get(), mask.get());
    request.hotSpotX = placed.hotSpotX;
    request.hotSpotY = placed.hotSpotY;
    request.image = image.release();
    request.mask = mask.release();
    return S_OK;
} catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
}

void TextRenderer::ReleaseText(TextRenderRequest* request) {
    DibFree(request->image);
    DibFree(request->mask);
    request->image = request->mask = nullptr;
}

}  // namespace kestrel
