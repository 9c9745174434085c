// Raw files of digital cameras by LibRaw, developed to sRGB of 8 bits.
#include <libraw/libraw.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "kestrel/codec/Codecs.h"
#include "kestrel/foundation/SharedLibrary.h"

namespace kestrel {
namespace {

struct RawLibrary : SharedLibrary {
    RawLibrary() : SharedLibrary(KESTREL_RAW_LIBRARY) {}
    KESTREL_LATE(libraw_init);
    KESTREL_LATE(libraw_close);
    KESTREL_LATE(libraw_strerror);
    KESTREL_LATE(libraw_open_buffer);
    KESTREL_LATE(libraw_unpack);
    KESTREL_LATE(libraw_dcraw_process);
    KESTREL_LATE(libraw_dcraw_make_mem_image);
    KESTREL_LATE(libraw_dcraw_clear_mem);

    /// Null when it is not installed.
    static const RawLibrary* Get() {
        static const RawLibrary library;
        return library.IsThere() ? &library : nullptr;
    }
};

struct Closer {
    void operator()(libraw_data_t* raw) const { RawLibrary::Get()->libraw_close(raw); }
    void operator()(libraw_processed_image_t* image) const { RawLibrary::Get()->libraw_dcraw_clear_mem(image); }
};

/// Does half the size have as many pixels as are asked for?
bool HalfIsEnough(const libraw_image_sizes_t& sizes, const LoadOptions& options) {
    const bool turned = sizes.flip >= 5;
    const int width = turned ? sizes.height : sizes.width;
    const int height = turned ? sizes.width : sizes.height;
    return options.preferredWidth > 0 && options.preferredHeight > 0 && width / 2 >= options.preferredWidth &&
           height / 2 >= options.preferredHeight;
}

void SetParameters(libraw_data_t* raw, const LoadOptions& options) {
    libraw_output_params_t& to = raw->params;
    const RawDevelopment& from = options.raw;
    to.output_bps = 8;
    to.output_color = 1;  // sRGB
    to.use_camera_wb = from.cameraWhiteBalance;
    to.use_auto_wb = from.automaticWhiteBalance;
    to.no_auto_bright = !from.automaticBrightness;
    to.bright = static_cast<float>(from.brightness);
    if (from.multipliers[0] >= 0)
        for (int i = 0; i < 4; ++i) to.user_mul[i] = static_cast<float>(std::max(from.multipliers[i], 0.0));
    to.half_size = HalfIsEnough(raw->sizes, options);
}

}  // namespace

void LoadRaw(ByteReader& source, const LoadOptions& options, LoadResult& result) {
    const RawLibrary* library = RawLibrary::Get();
    if (!library) {
        result.error = {CodecFault::NotSupported, "raw files need the library " KESTREL_RAW_LIBRARY};
        return;
    }
    std::vector<std::uint8_t> bytes = ReadRest(source);
    std::unique_ptr<libraw_data_t, Closer> raw(
        library->libraw_init(LIBRAW_OPIONS_NO_MEMERR_CALLBACK | LIBRAW_OPIONS_NO_DATAERR_CALLBACK));
    if (!raw) throw std::bad_alloc();
    const auto failed = [&](int code) {
        if (code == LIBRAW_SUCCESS) return false;
        result.error = {code == LIBRAW_UNSUFFICIENT_MEMORY ? CodecFault::NoMemory
                        : code == LIBRAW_FILE_UNSUPPORTED  ? CodecFault::NotSupported
                                                           : CodecFault::Broken,
                        std::string("the raw file cannot be developed: ") + library->libraw_strerror(code)};
        return true;
    };
    if (failed(library->libraw_open_buffer(raw.get(), bytes.data(), bytes.size()))) return;
    if (!SizeIsAllowed(std::max(raw->sizes.raw_width, raw->sizes.width),
                       std::max(raw->sizes.raw_height, raw->sizes.height), bytes.size(), options, result))
        return;
    const bool turned = raw->sizes.flip >= 5;
    result.fullWidth = turned ? raw->sizes.height : raw->sizes.width;
    result.fullHeight = turned ? raw->sizes.width : raw->sizes.height;
    if (options.sizeOnly) return;
    SetParameters(raw.get(), options);
    if (failed(library->libraw_unpack(raw.get())) || failed(library->libraw_dcraw_process(raw.get()))) return;
    int code = LIBRAW_SUCCESS;
    const std::unique_ptr<libraw_processed_image_t, Closer> developed(
        library->libraw_dcraw_make_mem_image(raw.get(), &code));
    if (!developed) {
        failed(code == LIBRAW_SUCCESS ? LIBRAW_UNSPECIFIED_ERROR : code);
        return;
    }
    raw.reset();  // it has 8 bytes for each pixel
    const int colors = developed->colors;
    if (developed->type != LIBRAW_IMAGE_BITMAP || developed->bits != 8 || (colors != 3 && colors != 1)) {
        result.error = {CodecFault::NotSupported, "raw files of this kind are not read"};
        return;
    }
    if (!MakePlanes(developed->width, developed->height, false, bytes.size(), options, result)) return;
    const std::uint8_t* from = developed->data;
    for (int row = result.image->biHeight - 1; row >= 0; --row) {
        std::uint8_t* to = DibRow(result.image.get(), row);
        for (int x = 0; x < result.image->biWidth; ++x, from += colors, to += 3)
            for (int c = 0; c < 3; ++c) to[2 - c] = from[colors == 3 ? c : 0];
    }
}

}  // namespace kestrel
