#pragma once
#include <pango/pangocairo.h>

#include "kestrel/foundation/SharedLibrary.h"

namespace kestrel {

/// What draws text, with the functions that are needed of it and of the libraries that it brings.
/// Not installed.
struct TextLibrary : SharedLibrary {
    TextLibrary();

    KESTREL_LATE(cairo_create);
    KESTREL_LATE(cairo_destroy);
    KESTREL_LATE(cairo_font_options_create);
    KESTREL_LATE(cairo_font_options_destroy);
    KESTREL_LATE(cairo_font_options_set_antialias);
    KESTREL_LATE(cairo_font_options_set_hint_metrics);
    KESTREL_LATE(cairo_font_options_set_hint_style);
    KESTREL_LATE(cairo_image_surface_create);
    KESTREL_LATE(cairo_image_surface_get_data);
    KESTREL_LATE(cairo_image_surface_get_stride);
    KESTREL_LATE(cairo_matrix_init);
    KESTREL_LATE(cairo_matrix_init_translate);
    KESTREL_LATE(cairo_move_to);
    KESTREL_LATE(cairo_status);
    KESTREL_LATE(cairo_surface_destroy);
    KESTREL_LATE(cairo_surface_flush);
    KESTREL_LATE(cairo_transform);
    KESTREL_LATE(cairo_translate);
    KESTREL_LATE(g_object_unref);
    KESTREL_LATE(pango_attr_list_insert);
    KESTREL_LATE(pango_attr_list_new);
    KESTREL_LATE(pango_attr_list_unref);
    KESTREL_LATE(pango_attr_underline_new);
    KESTREL_LATE(pango_cairo_context_set_font_options);
    KESTREL_LATE(pango_cairo_font_map_get_default);
    KESTREL_LATE(pango_cairo_show_layout_line);
    KESTREL_LATE(pango_context_set_round_glyph_positions);
    KESTREL_LATE(pango_extents_to_pixels);
    KESTREL_LATE(pango_font_description_free);
    KESTREL_LATE(pango_font_description_new);
    KESTREL_LATE(pango_font_description_set_absolute_size);
    KESTREL_LATE(pango_font_description_set_family);
    KESTREL_LATE(pango_font_description_set_style);
    KESTREL_LATE(pango_font_description_set_weight);
    KESTREL_LATE(pango_font_map_create_context);
    KESTREL_LATE(pango_layout_get_iter);
    KESTREL_LATE(pango_layout_iter_free);
    KESTREL_LATE(pango_layout_iter_get_baseline);
    KESTREL_LATE(pango_layout_iter_get_line_readonly);
    KESTREL_LATE(pango_layout_iter_next_line);
    KESTREL_LATE(pango_layout_line_get_extents);
    KESTREL_LATE(pango_layout_new);
    KESTREL_LATE(pango_layout_set_attributes);
    KESTREL_LATE(pango_layout_set_font_description);
    KESTREL_LATE(pango_layout_set_text);
    KESTREL_LATE(pango_units_to_double);
};

/// The library, loaded by the first call. From any thread.
const TextLibrary& Pango();

}  // namespace kestrel
