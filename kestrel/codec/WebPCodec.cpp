// WebP by libwebp, which decodes right into our rows.
#include <webp/decode.h>
#include <webp/demux.h>
#include <webp/encode.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "kestrel/codec/Codecs.h"
#include "kestrel/codec/Exif.h"
#include "kestrel/codec/IccProfile.h"
#include "kestrel/codec/ScanlineOrienter.h"
#include "kestrel/codec/WebPChunks.h"
#include "kestrel/foundation/SharedLibrary.h"

namespace kestrel {
namespace {

constexpr int kLosslessEffort = 75;
constexpr std::size_t kLargestChunk = UINT32_MAX / 4;

struct WebPLibrary : SharedLibrary {
    WebPLibrary() : SharedLibrary(KESTREL_WEBP_LIBRARY) {}
    KESTREL_LATE(WebPConfigInitInternal);
    KESTREL_LATE(WebPEncode);
    KESTREL_LATE(WebPGetFeaturesInternal);
    KESTREL_LATE(WebPIDecGetRGB);
    KESTREL_LATE(WebPIDecode);
    KESTREL_LATE(WebPIDelete);
    KESTREL_LATE(WebPIUpdate);
    KESTREL_LATE(WebPInitDecoderConfigInternal);
    KESTREL_LATE(WebPPictureAlloc);
    KESTREL_LATE(WebPPictureFree);
    KESTREL_LATE(WebPPictureInitInternal);

    /// Null when it is not installed.
    static const WebPLibrary* Get() {
        static const WebPLibrary library;
        return library.IsThere() ? &library : nullptr;
    }
};

/// For files of several frames.
struct FrameLibrary : SharedLibrary {
    FrameLibrary() : SharedLibrary(KESTREL_WEBPDEMUX_LIBRARY) {}
    KESTREL_LATE(WebPAnimDecoderDelete);
    KESTREL_LATE(WebPAnimDecoderGetInfo);
    KESTREL_LATE(WebPAnimDecoderGetNext);
    KESTREL_LATE(WebPAnimDecoderNewInternal);
    KESTREL_LATE(WebPAnimDecoderOptionsInitInternal);

    static const FrameLibrary* Get() {
        static const FrameLibrary library;
        return library.IsThere() ? &library : nullptr;
    }
};

CodecError Missing(const char* library) {
    return {CodecFault::NotSupported, std::string("WebP files need the library ") + library};
}

struct Deleter {
    void operator()(WebPIDecoder* decoder) const { WebPLibrary::Get()->WebPIDelete(decoder); }
    void operator()(WebPAnimDecoder* decoder) const { FrameLibrary::Get()->WebPAnimDecoderDelete(decoder); }
    void operator()(WebPPicture* picture) const { WebPLibrary::Get()->WebPPictureFree(picture); }
};

// Reading ------------------------------------------------------------------------------------------------------------

/// Blue, green, red, alpha of a line to the row that it belongs to.
void SplitLine(const std::uint8_t* from, int y, LoadResult& result) {
    const int row = result.image->biHeight - 1 - y;
    std::uint8_t* color = DibRow(result.image.get(), row);
    std::uint8_t* hidden = DibRow(result.mask.get(), row);
    for (int x = 0; x < result.image->biWidth; ++x, from += 4, color += 3) {
        std::memcpy(color, from, 3);
        hidden[x] = static_cast<std::uint8_t>(255 - from[3]);
    }
}

/// Moves the alpha of a 32-bit picture, of which so many lines from the top could be read, into the mask.
void SplitRead(int linesRead, LoadResult& result) {
    Dib* const image = result.image.get();
    for (int row = 0; row < image->biHeight; ++row) {
        std::uint8_t* const from = DibRow(image, row);
        std::uint8_t* const hidden = DibRow(result.mask.get(), row);
        if (row < image->biHeight - linesRead) std::memset(from, 0, 4 * static_cast<std::size_t>(image->biWidth));
        for (int x = 0; x < image->biWidth; ++x) hidden[x] = static_cast<std::uint8_t>(255 - from[4 * x + 3]);
    }
    DibDropFourthBytes(result.image);
}

/// Decodes a picture that does not move. Lines that could be read; 0 with an error.
int ReadStill(const WebPLibrary& library, std::span<const std::uint8_t> bytes, LoadResult& result) {
    WebPDecoderConfig config;
    if (!library.WebPInitDecoderConfigInternal(&config, WEBP_DECODER_ABI_VERSION)) return 0;
    const int height = result.image->biHeight;
    if (result.mask) {
        const int width = result.image->biWidth;
        result.image.reset();
        result.image.reset(DibCreate(32, width, height));
        if (!result.image) throw std::bad_alloc();
    }
    const std::size_t rowSize = DibRowSize(result.image.get());
    config.output.is_external_memory = 1;
    config.output.colorspace = result.mask ? MODE_BGRA : MODE_BGR;
    config.output.u.RGBA = {DibRow(result.image.get(), 0), static_cast<int>(rowSize),
                            rowSize * static_cast<std::size_t>(height)};
    config.options.flip = 1;  // the bottom line comes first
    const std::unique_ptr<WebPIDecoder, Deleter> decoder(library.WebPIDecode(nullptr, 0, &config));
    if (!decoder) throw std::bad_alloc();
    const VP8StatusCode status = library.WebPIUpdate(decoder.get(), bytes.data(), bytes.size());
    if (status == VP8_STATUS_OUT_OF_MEMORY) throw std::bad_alloc();
    int read = 0, across = 0, all = 0, stride = 0;
    if (status == VP8_STATUS_OK)
        read = height;
    else if (!library.WebPIDecGetRGB(decoder.get(), &read, &across, &all, &stride))
        read = 0;
    if (result.mask) SplitRead(read, result);
    return read;
}

/// Decodes the frame that is asked for, as it is seen: drawn over those before it.
void ReadFrame(std::span<const std::uint8_t> bytes, const LoadOptions& options, LoadResult& result) {
    const FrameLibrary* library = FrameLibrary::Get();
    if (!library) {
        result.error = Missing(KESTREL_WEBPDEMUX_LIBRARY);
        return;
    }
    WebPAnimDecoderOptions how;
    if (!library->WebPAnimDecoderOptionsInitInternal(&how, WEBP_DEMUX_ABI_VERSION)) throw std::bad_alloc();
    how.color_mode = MODE_BGRA;
    how.use_threads = 0;
    const WebPData data{bytes.data(), bytes.size()};
    const std::unique_ptr<WebPAnimDecoder, Deleter> decoder(
        library->WebPAnimDecoderNewInternal(&data, &how, WEBP_DEMUX_ABI_VERSION));
    WebPAnimInfo about{};
    if (!decoder || !library->WebPAnimDecoderGetInfo(decoder.get(), &about)) {
        result.error = {CodecFault::Broken, "the frames cannot be read"};
        return;
    }
    result.pages = static_cast<int>(std::min<std::uint32_t>(about.frame_count, INT32_MAX));
    if (!HasPage(options, result) ||
        !MakePlanes(about.canvas_width, about.canvas_height, true, bytes.size(), options, result))
        return;
    std::uint8_t* canvas = nullptr;
    int time = 0;
    for (int frame = 0; frame <= options.page; ++frame)
        if (!library->WebPAnimDecoderGetNext(decoder.get(), &canvas, &time)) {
            result.error = {CodecFault::Broken, "frame " + std::to_string(frame) + " cannot be read"};
            return;
        }
    const std::size_t lineSize = 4 * std::size_t{about.canvas_width};
    for (int y = 0; y < result.image->biHeight; ++y)
        SplitLine(canvas + static_cast<std::size_t>(y) * lineSize, y, result);
}

void TakeMetadata(std::span<const std::uint8_t> bytes, LoadResult& result) {
    WebPExtras extras = ReadWebPChunks(bytes);
    result.orientation = ExifOrientation(extras.exif);
    ResetExifOrientation(extras.exif);
    result.metadata.exif = std::move(extras.exif);
    result.metadata.xmp = std::move(extras.xmp);
    TakeProfile(extras.profile, result);
}

void Finish(int linesRead, LoadResult& result) {
    const int height = result.image->biHeight;
    if (linesRead == 0) {
        result.error = {CodecFault::Broken, "the file is damaged"};
    } else if (linesRead < height) {
        result.condition = Condition::Damaged;
        result.warnings.push_back("the file is damaged; " + LinesText(linesRead, height));
    }
}

// Writing ------------------------------------------------------------------------------------------------------------

int Collect(const std::uint8_t* bytes, std::size_t size, const WebPPicture* picture) {
    auto& to = *static_cast<std::vector<std::uint8_t>*>(picture->custom_ptr);
    try {
        to.insert(to.end(), bytes, bytes + size);
    } catch (const std::exception&) {
        return 0;
    }
    return 1;
}

void LayPixels(const Dib* image, const Dib* mask, WebPPicture& picture) {
    for (int y = 0; y < image->biHeight; ++y) {
        const int row = image->biHeight - 1 - y;
        const std::uint8_t* from = DibRow(image, row);
        const std::uint8_t* hidden = mask ? DibRow(mask, row) : nullptr;
        std::uint32_t* to = picture.argb + std::ptrdiff_t{y} * picture.argb_stride;
        for (int x = 0; x < image->biWidth; ++x, from += 3) {
            const std::uint32_t alpha = hidden ? 255u - hidden[x] : 255u;
            to[x] = alpha << 24 | std::uint32_t{from[2]} << 16 | std::uint32_t{from[1]} << 8 | from[0];
        }
    }
}

}  // namespace

void LoadWebP(ByteReader& source, const LoadOptions& options, LoadResult& result) {
    const WebPLibrary* library = WebPLibrary::Get();
    if (!library) {
        result.error = Missing(KESTREL_WEBP_LIBRARY);
        return;
    }
    const std::vector<std::uint8_t> bytes = ReadRest(source);
    WebPBitstreamFeatures features{};
    if (library->WebPGetFeaturesInternal(bytes.data(), bytes.size(), &features, WEBP_DECODER_ABI_VERSION) !=
        VP8_STATUS_OK) {
        result.error = {CodecFault::Broken, "the file ends in its header, or is damaged there"};
        return;
    }
    TakeMetadata(bytes, result);
    const bool swaps = SwapsSides(result.orientation);
    result.fullWidth = swaps ? features.height : features.width;
    result.fullHeight = swaps ? features.width : features.height;
    if (features.has_animation) {
        // Two canvases are made before the decoder says how many frames there are.
        if (!SizeIsAllowed(features.width, features.height, bytes.size(), options, result)) return;
        ReadFrame(bytes, options, result);
    } else {
        if (!HasPage(options, result) ||
            !MakePlanes(features.width, features.height, features.has_alpha != 0, bytes.size(), options, result))
            return;
        if (result.mask) HideAll(result.mask.get());
        Finish(ReadStill(*library, bytes, result), result);
    }
    if (!result.image || result.error) return;
    const bool alpha = result.mask != nullptr;
    result.image = Oriented(std::move(result.image), result.orientation);
    result.mask = Oriented(std::move(result.mask), result.orientation);
    if (!result.image || (alpha && !result.mask)) throw std::bad_alloc();
}

CodecError SaveWebP(ByteWriter& target, const Dib* image, const Dib* mask, const SaveOptions& options) {
    const WebPLibrary* library = WebPLibrary::Get();
    if (!library) return Missing(KESTREL_WEBP_LIBRARY);
    if (image->biWidth > WEBP_MAX_DIMENSION || image->biHeight > WEBP_MAX_DIMENSION)
        return {CodecFault::CannotHold,
                "a WebP file holds at most " + std::to_string(WEBP_MAX_DIMENSION) + " pixels a side"};
    WebPConfig config;
    WebPPicture picture;
    const float quality =
        options.lossless ? kLosslessEffort : static_cast<float>(std::clamp(options.jpegQuality, 1, 100));
    if (!library->WebPConfigInitInternal(&config, WEBP_PRESET_DEFAULT, quality, WEBP_ENCODER_ABI_VERSION) ||
        !library->WebPPictureInitInternal(&picture, WEBP_ENCODER_ABI_VERSION))
        return Missing(KESTREL_WEBP_LIBRARY);
    config.lossless = options.lossless;
    config.exact = 1;  // colours under alpha 0 stay
    picture.use_argb = 1;
    picture.width = image->biWidth;
    picture.height = image->biHeight;
    if (!library->WebPPictureAlloc(&picture)) return NoMemory();
    const std::unique_ptr<WebPPicture, Deleter> scope(&picture);
    LayPixels(image, mask, picture);
    std::vector<std::uint8_t> encoded;
    picture.writer = Collect;
    picture.custom_ptr = &encoded;
    if (!library->WebPEncode(&config, &picture))
        return picture.error_code == VP8_ENC_ERROR_OUT_OF_MEMORY || picture.error_code == VP8_ENC_ERROR_BAD_WRITE
                   ? NoMemory()
                   : CodecError{CodecFault::CannotHold, "the picture cannot be written as WebP (error " +
                                                            std::to_string(picture.error_code) + ")"};
    if (const ImageMetadata* metadata = options.metadata;
        metadata && metadata->exif.size() + metadata->xmp.size() + metadata->profile.size() > 0 &&
        metadata->exif.size() + metadata->xmp.size() + metadata->profile.size() < kLargestChunk)
        encoded = WithWebPChunks(encoded, static_cast<std::uint32_t>(image->biWidth),
                                 static_cast<std::uint32_t>(image->biHeight), mask != nullptr, *metadata);
    target.Write(encoded.data(), encoded.size());
    return WriteErrorOf(target);
}

}  // namespace kestrel
