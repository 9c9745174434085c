// libvips as its best users call it: one pipeline, written into memory at its end, which makes it compute.
// `bench_vips job NAME IN OUT` is the program that does a whole command.
#include <vips/vips.h>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <vector>

#include "bench/Worker.h"

namespace kestrel::bench {
namespace {

struct Unref {
    void operator()(VipsImage* image) const { g_object_unref(image); }
};
using Image = std::unique_ptr<VipsImage, Unref>;

void Require(bool good) {
    if (good) return;
    const std::string reason = vips_error_buffer();
    vips_error_clear();
    throw std::runtime_error(reason.substr(0, reason.find('\n')));
}

/// The result of an operation `call(&out)` of the library.
template <class Call>
Image Made(const Call& call) {
    VipsImage* out = nullptr;
    const bool good = call(&out) == 0;
    Image image(out);
    Require(good);
    return image;
}

Image Matrix(const std::vector<double>& weights, double scale) {
    Image matrix(vips_image_new_matrix_from_array(3, static_cast<int>(weights.size()) / 3, weights.data(),
                                                  static_cast<int>(weights.size())));
    vips_image_set_double(matrix.get(), "scale", scale);
    return matrix;
}

Image Convolved(VipsImage* in, const std::vector<double>& weights, double scale) {
    const Image matrix = Matrix(weights, scale);
    return Made(
        [&](auto** out) { return vips_conv(in, out, matrix.get(), "precision", VIPS_PRECISION_INTEGER, nullptr); });
}

Image Sharpened(VipsImage* in) { return Convolved(in, {0, -1, 0, -1, 5, -1, 0, -1, 0}, 1); }

Image Blurred(VipsImage* in) {
    const Image matrix = Matrix({1, 2, 1}, 4);
    return Made(
        [&](auto** out) { return vips_convsep(in, out, matrix.get(), "precision", VIPS_PRECISION_INTEGER, nullptr); });
}

Image Sepia(VipsImage* in) {
    const Image matrix = Matrix({0.393, 0.769, 0.189, 0.349, 0.686, 0.168, 0.272, 0.534, 0.131}, 1);
    const Image wide = Made([&](auto** out) { return vips_recomb(in, out, matrix.get(), nullptr); });
    return Made([&](auto** out) { return vips_cast_uchar(wide.get(), out, nullptr); });
}

/// Tables of 256 bytes, a band for each factor; -1 leaves a band as it is.
Image Tables(const std::vector<double>& factors) {
    std::vector<std::uint8_t> bytes;
    for (int i = 0; i < 256; ++i)
        for (const double factor : factors)
            bytes.push_back(static_cast<std::uint8_t>(factor < 0 ? i : std::clamp(i * factor + 5, 0.0, 255.0)));
    return Image(vips_image_new_from_memory_copy(bytes.data(), bytes.size(), 256, 1, static_cast<int>(factors.size()),
                                                 VIPS_FORMAT_UCHAR));
}

Image Mapped(VipsImage* in, VipsImage* tables) {
    return Made([&](auto** out) { return vips_maplut(in, out, tables, nullptr); });
}

Image Grey(VipsImage* in) {
    const Image grey = Made([&](auto** out) { return vips_colourspace(in, out, VIPS_INTERPRETATION_B_W, nullptr); });
    VipsImage* bands[] = {grey.get(), grey.get(), grey.get()};
    return Made([&](auto** out) { return vips_bandjoin(bands, out, 3, nullptr); });
}

Image Saturated(VipsImage* in) {
    const Image other = Made([&](auto** out) { return vips_sRGB2HSV(in, out, nullptr); });
    const Image mapped = Mapped(other.get(), Tables({-1, 1.2, 1.1}).get());
    return Made([&](auto** out) { return vips_HSV2sRGB(mapped.get(), out, nullptr); });
}

Image AutoLevels(VipsImage* in) {
    const Image counts = Made([&](auto** out) { return vips_hist_find(in, out, nullptr); });
    std::size_t size = 0;
    const std::unique_ptr<void, decltype(&g_free)> memory(vips_image_write_to_memory(counts.get(), &size), g_free);
    const auto* count = static_cast<const unsigned*>(memory.get());
    const double cut = static_cast<double>(in->Xsize) * in->Ysize / 200;
    std::vector<std::uint8_t> bytes(768);
    for (std::size_t c = 0; c < 3; ++c) {
        std::size_t low = 0, high = 255;
        for (double sum = 0; low < 254 && (sum += count[3 * low + c]) < cut;) ++low;
        for (double sum = 0; high > low + 1 && (sum += count[3 * high + c]) < cut;) --high;
        for (std::size_t i = 0; i < 256; ++i)
            bytes[3 * i + c] = static_cast<std::uint8_t>((std::clamp(i, low, high) - low) * 255 / (high - low));
    }
    const Image tables(vips_image_new_from_memory_copy(bytes.data(), 768, 256, 1, 3, VIPS_FORMAT_UCHAR));
    return Mapped(in, tables.get());
}

Image Rotated(VipsImage* in) {
    return Made([&](auto** out) { return vips_rotate(in, out, 7, nullptr); });
}

Image Loaded(const std::string& path) {
    const Image file(vips_image_new_from_file(path.c_str(), nullptr));
    Require(file != nullptr);
    return Image(vips_image_copy_memory(file.get()));
}

template <class Save>
void Encode(const Save& save) {
    void* bytes = nullptr;
    std::size_t size = 0;
    Require(save(&bytes, &size) == 0);
    g_free(bytes);
}

void AddAll(Worker& worker) {
    static const Image picture = Loaded(worker.Given().folder + "/picture.png");
    static const Image cutOut = Loaded(worker.Given().folder + "/cutout.png");
    static const Image halfPicture = Loaded(worker.Given().folder + "/half.png");
    VipsImage* const p = picture.get();
    VipsImage* const half = halfPicture.get();
    const auto compute = [](const Image& image) {
        std::size_t size = 0;
        void* bytes = vips_image_write_to_memory(image.get(), &size);
        g_free(bytes);
        Require(bytes != nullptr);
    };
    const auto add = [&](const char* row, const char* call, const std::function<Image()>& make) {
        worker.Add(std::string("line/") + row, call, [=] { compute(make()); });
    };
    add("invert", "invert", [=] { return Made([&](auto** out) { return vips_invert(p, out, nullptr); }); });
    add("sepia", "recomb, cast", [=] { return Sepia(p); });
    add("grey", "colourspace, bandjoin", [=] { return Grey(p); });
    add("brightness and contrast", "maplut", [=] { return Mapped(p, Tables({1.2}).get()); });
    add("curves", "maplut of three bands", [=] { return Mapped(p, Tables({1.1, 1.2, 0.9}).get()); });
    add("exposure and saturation", "sRGB2HSV, maplut", [=] { return Saturated(p); });
    add("auto levels", "hist_find, maplut", [=] { return AutoLevels(p); });
    add("blur 3x3", "convsep", [=] { return Blurred(p); });
    add("sharpen 3x3", "conv", [=] { return Sharpened(p); });
    add("dust", "median (another rule)",
        [=] { return Made([&](auto** out) { return vips_median(p, out, 3, nullptr); }); });
    add("reduce to 1600", "resize", [=] {
        return Made([&](auto** out) { return vips_resize(p, out, std::min(1.0, 1600.0 / p->Xsize), nullptr); });
    });
    add("enlarge 6 MP 2 x", "resize, cubic", [=] {
        return Made([&](auto** out) { return vips_resize(half, out, 2, "kernel", VIPS_KERNEL_CUBIC, nullptr); });
    });
    add("rotate 7 degrees", "rotate", [=] { return Rotated(p); });
    add("quarter turn", "rot90", [=] { return Made([&](auto** out) { return vips_rot90(p, out, nullptr); }); });
    add("flatten", "flatten", [] { return Made([](auto** out) { return vips_flatten(cutOut.get(), out, nullptr); }); });
    worker.Add("codec/encode jpeg", "jpegsave_buffer", [=] {
        Encode([&](auto** bytes, auto* size) {
            return vips_jpegsave_buffer(p, bytes, size, "Q", 92, "subsample_mode", VIPS_FOREIGN_SUBSAMPLE_ON, nullptr);
        });
    });
    worker.Add("codec/encode png", "pngsave_buffer", [=] {
        Encode([&](auto** bytes, auto* size) {
            return vips_pngsave_buffer(p, bytes, size, "compression", 6, "filter", VIPS_FOREIGN_PNG_FILTER_ALL,
                                       nullptr);
        });
    });
    worker.Add("codec/decode jpeg", "jpegload",
               [folder = worker.Given().folder] { Loaded(folder + "/chroma420.jpg"); });
}

void RunJob(const std::string& name, const std::string& in, const std::string& out) {
    Image picture;
    if (name == "reduce") {
        const Image small = Made([&](auto** made) {
            return vips_thumbnail(in.c_str(), made, 1600, "height", 1600, "size", VIPS_SIZE_DOWN, nullptr);
        });
        picture = Sharpened(Sepia(small.get()).get());
    } else {
        const bool streams = name != "rotate";
        const auto access = streams ? VIPS_ACCESS_SEQUENTIAL : VIPS_ACCESS_RANDOM;
        picture.reset(vips_image_new_from_file(in.c_str(), "access", access, nullptr));
        Require(picture != nullptr);
        if (name == "rotate") picture = Rotated(picture.get());
        if (name == "start") picture = Made([&](auto** made) { return vips_invert(picture.get(), made, nullptr); });
        for (int i = 0; name == "tones" && i < 10; ++i)
            picture = i % 2 ? Sepia(picture.get()) : Mapped(picture.get(), Tables({1.1, 1.2, 0.9}).get());
    }
    Require(vips_image_write_to_file(picture.get(), name == "start" ? out.c_str() : (out + "[Q=92]").c_str(),
                                     nullptr) == 0);
}

}  // namespace
}  // namespace kestrel::bench

int main(int argc, char** argv) try {
    using namespace kestrel::bench;
    Require(VIPS_INIT(argv[0]) == 0);
    if (argc == 5) {
        vips_concurrency_set(1);
        RunJob(argv[2], argv[3], argv[4]);
        return 0;
    }
    Worker worker(Worker::Read(argc, argv));
    vips_concurrency_set(worker.Given().threads);
    vips_cache_set_max(0);  // an operation is computed each time
    AddAll(worker);
    return worker.Run(std::string("libvips ") + VIPS_VERSION);
} catch (const std::exception& error) {
    std::cerr << "bench_vips: " << error.what() << "\n";
    return 1;
}
