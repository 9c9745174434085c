#include "kestrel/codec/Codecs.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <system_error>

#include "kestrel/codec/Exif.h"
#include "kestrel/codec/ScanlineOrienter.h"
#include "kestrel/codec/XmpPacket.h"

namespace kestrel {
namespace {

constexpr Codec kCodecs[] = {
    {ImageFormat::Avif, LoadHeif, nullptr},
    {ImageFormat::Bmp, LoadBmp, SaveBmp, OpenBmp, CreateBmp},
    {ImageFormat::Gif, LoadMagick, SaveMagick},
    {ImageFormat::Heic, LoadHeif, nullptr},
    {ImageFormat::Jpeg, nullptr, nullptr, OpenJpeg, CreateJpeg},
    {ImageFormat::Jpeg2000, LoadJpeg2000, SaveJpeg2000},
    {ImageFormat::PhotoCd, LoadMagick, SaveMagick},
    {ImageFormat::Png, LoadPng, nullptr, OpenPng, CreatePng},
    {ImageFormat::Pnm, LoadMagick, SaveMagick},
    {ImageFormat::Psd, nullptr, SavePsd, OpenPsd},
    {ImageFormat::Raw, LoadRaw, nullptr},
    {ImageFormat::SunRaster, LoadMagick, SaveMagick},
    {ImageFormat::Tiff, nullptr, nullptr, OpenTiff, CreateTiff},
    {ImageFormat::WebP, LoadWebP, SaveWebP},
};

}  // namespace

FileOptions::FileOptions(const SaveOptions& from, int width, int height) : SaveOptions(from) {
    if (!metadata) return;
    own_ = *metadata;
    UpdateExif(own_.exif, width, height);
    UpdateXmp(own_.xmp);
    metadata = &own_;
}

const Codec* FindCodec(ImageFormat format) {
    const auto* const found = std::ranges::find(kCodecs, format, &Codec::format);
    return found == std::end(kCodecs) ? nullptr : found;
}

bool HasPage(const LoadOptions& options, LoadResult& result) {
    if (options.page >= 0 && options.page < result.pages) return true;
    result.error = {CodecFault::NoPage, "there is no page " + std::to_string(options.page) + ": the file has " +
                                            (result.pages == 1 ? std::string("only page 0")
                                                               : "pages 0 to " + std::to_string(result.pages - 1))};
    return false;
}

bool SizeIsAllowed(std::int64_t width, std::int64_t height, std::uint64_t fileBytes, const LoadOptions& options,
                   LoadResult& result) {
    const std::string size = std::to_string(width) + " x " + std::to_string(height) + " pixels";
    if (width < 1 || height < 1 || width > INT32_MAX || height > INT32_MAX) {
        result.error = {CodecFault::Broken, "the picture has " + size};
        return false;
    }
    const auto pixels = static_cast<std::uint64_t>(width * height);  // 62 bits hold it
    if (pixels > options.pixelLimit) {
        result.error = {CodecFault::PixelLimit,
                        "the picture has " + size + ", the limit is " + std::to_string(options.pixelLimit)};
        return false;
    }
    if (pixels > LoadOptions::kFreePixels && pixels / std::max<std::uint64_t>(fileBytes, 1) > options.expansionLimit) {
        result.error = {CodecFault::ExpansionLimit, "the picture has " + size + ", too many for a file of " +
                                                        std::to_string(fileBytes) + " bytes; the limit is " +
                                                        std::to_string(options.expansionLimit) + " for each byte"};
        return false;
    }
    return true;
}

bool MakePlanes(std::int64_t width, std::int64_t height, bool alpha, std::uint64_t fileBytes,
                const LoadOptions& options, LoadResult& result) {
    if (!SizeIsAllowed(width, height, fileBytes, options, result)) return false;
    if (result.fullWidth == 0) {
        result.fullWidth = width;
        result.fullHeight = height;
    }
    result.hasAlpha = alpha;
    if (options.sizeOnly) return false;
    result.image.reset(DibCreate(24, static_cast<int>(width), static_cast<int>(height)));
    if (alpha) result.mask.reset(DibCreate(8, static_cast<int>(width), static_cast<int>(height)));
    if (result.image && (result.mask || !alpha)) return true;
    result.error = NoMemory();
    return false;
}

void LoadWith(const Codec& codec, ByteReader& source, const LoadOptions& options, LoadResult& result) {
    if (codec.load) return codec.load(source, options, result);
    const std::uint64_t bytes = source.Left();
    if (const auto decoder = codec.open(source, options, result)) LoadLines(*decoder, bytes, options, result);
}

void LoadLines(LineDecoder& decoder, std::uint64_t fileBytes, const LoadOptions& options, LoadResult& result) {
    const bool swaps = SwapsSides(result.orientation);
    const int width = decoder.Width(), height = decoder.Height();
    if (!MakePlanes(swaps ? height : width, swaps ? width : height, decoder.HasAlpha(), fileBytes, options, result))
        return;
    if (result.mask) HideAll(result.mask.get());  // pixels that cannot be read stay hidden
    ScanlineOrienter image(result.image.get(), result.orientation);
    std::optional<ScanlineOrienter> mask;
    if (result.mask) mask.emplace(result.mask.get(), result.orientation);
    int y = 0;
    for (; y < height; ++y) {
        std::uint8_t* const pixels = image.Line(y);
        std::uint8_t* const hidden = mask ? mask->Line(y) : nullptr;
        if (!decoder.Read(pixels, hidden)) {
            ClearLine(pixels, hidden, width);
            break;
        }
        image.Done(y);
        if (mask) mask->Done(y);
    }
    image.Finish(y);
    if (mask) mask->Finish(y);
    decoder.Finish(result);
}

void ClearLine(std::uint8_t* pixels, std::uint8_t* mask, int width) {
    std::memset(pixels, 0, 3 * static_cast<std::size_t>(width));
    if (mask) std::memset(mask, 255, static_cast<std::size_t>(width));
}

CodecError SaveLines(LineEncoder& encoder, const Dib* image, const Dib* mask) {
    for (int row = image->biHeight - 1; row >= 0; --row)
        if (!encoder.Write(DibRow(image, row), mask ? DibRow(mask, row) : nullptr)) break;
    return encoder.Finish();
}

std::vector<std::uint8_t> ReadRest(ByteReader& source) {
    std::vector<std::uint8_t> bytes(source.Left());
    if (source.Read(bytes.data(), bytes.size()) != bytes.size()) throw std::runtime_error(SystemError().text);
    return bytes;
}

bool MaskHidesAll(const Dib* mask) {
    for (int row = 0; row < mask->biHeight; ++row) {
        const std::uint8_t* bytes = DibRow(mask, row);
        if (!std::all_of(bytes, bytes + mask->biWidth, [](std::uint8_t byte) { return byte == 255; })) return false;
    }
    return true;
}

void HideAll(Dib* mask) {
    for (int row = 0; row < mask->biHeight; ++row)
        std::memset(DibRow(mask, row), 255, static_cast<std::size_t>(mask->biWidth));
}

std::string LinesText(std::int64_t read, std::int64_t all) {
    return std::to_string(read) + " of " + std::to_string(all) + " lines could be read";
}

CodecError SystemError() { return {CodecFault::System, std::generic_category().message(errno)}; }
CodecError WriteError() { return {CodecFault::System, "cannot write: " + SystemError().text}; }
CodecError WriteErrorOf(ByteWriter& target) {
    return target.Write(nullptr, 0) ? CodecError() : WriteError();  // which sets `errno` to the reason once more
}
CodecError NoMemory() { return {CodecFault::NoMemory, "not enough memory"}; }

}  // namespace kestrel
