#include <vips/vips.h>

#include <stdexcept>

#include "bench/Bench.h"

namespace kestrel::bench {
namespace {

// `make` gives the operation's result; writing it to memory is what makes libvips compute it.
template <class Make>
void AddVips(const char* name, const Make& make, const char* like) {
    Add(
        name,
        [make] {
            const Dib* dib = BenchPicture();
            const std::size_t size = DibRowSize(dib) * static_cast<std::size_t>(dib->biHeight);
            VipsImage* in = vips_image_new_from_memory(DibRow(dib, 0), size, static_cast<int>(DibRowSize(dib) / 3),
                                                       dib->biHeight, 3, VIPS_FORMAT_UCHAR);
            VipsImage* out = nullptr;
            std::size_t written = 0;
            void* bytes = in && make(in, &out) == 0 ? vips_image_write_to_memory(out, &written) : nullptr;
            g_free(bytes);
            if (out) g_object_unref(out);
            if (in) g_object_unref(in);
            if (!bytes) throw std::runtime_error(vips_error_buffer());
        },
        like);
}

VipsImage* Mask3x3(const double (&weights)[9], double scale) {
    VipsImage* mask = vips_image_new_matrix_from_array(3, 3, weights, 9);
    vips_image_set_double(mask, "scale", scale);
    return mask;
}

int Convolve(VipsImage* in, VipsImage** out, const double (&weights)[9], double scale) {
    VipsImage* mask = Mask3x3(weights, scale);
    const int result = vips_conv(in, out, mask, "precision", VIPS_PRECISION_INTEGER, nullptr);
    g_object_unref(mask);
    return result;
}

void AddAllVips() {
    if (VIPS_INIT("kestrel_bench")) throw std::runtime_error(vips_error_buffer());
    vips_concurrency_set(1);
    vips_cache_set_max(0);

    AddVips(
        "libvips/invert", [](auto* in, auto** out) { return vips_invert(in, out, nullptr); }, "filter/Invert");
    AddVips(
        "libvips/colourspace grey",
        [](auto* in, auto** out) { return vips_colourspace(in, out, VIPS_INTERPRETATION_B_W, nullptr); },
        "filter/BlackWhiteness");
    AddVips(
        "libvips/conv 3x3",
        [](auto* in, auto** out) {
            return Convolve(in, out, {1, 2, 1, 2, 4, 2, 1, 2, 1}, 16);
        },
        "filter/Blur");
    AddVips(
        "libvips/conv sharpen",
        [](auto* in, auto** out) {
            return Convolve(in, out, {0, -1, 0, -1, 5, -1, 0, -1, 0}, 1);
        },
        "filter/Sharpen");
    AddVips(
        "libvips/shrink", [](auto* in, auto** out) { return vips_shrink(in, out, 2, 2, nullptr); }, "scale/half");
    AddVips(
        "libvips/rotate", [](auto* in, auto** out) { return vips_rotate(in, out, 25, nullptr); }, "filter/Rotate");
}

const Peer kVips(AddAllVips);

}  // namespace
}  // namespace kestrel::bench
