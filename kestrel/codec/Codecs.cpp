#include "kestrel/codec/Codecs.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <stdexcept>
#include <system_error>

namespace kestrel {
namespace {

constexpr Codec kCodecs[] = {
    {ImageFormat::Avif, LoadHeif, nullptr},         {ImageFormat::Bmp, LoadBmp, SaveBmp},
    {ImageFormat::Gif, LoadMagick, SaveMagick},     {ImageFormat::Heic, LoadHeif, nullptr},
    {ImageFormat::Jpeg, LoadJpeg, SaveJpeg},        {ImageFormat::Jpeg2000, LoadJpeg2000, SaveJpeg2000},
    {ImageFormat::PhotoCd, LoadMagick, SaveMagick}, {ImageFormat::Png, LoadPng, SavePng},
    {ImageFormat::Pnm, LoadMagick, SaveMagick},     {ImageFormat::Psd, LoadPsd, SavePsd},
    {ImageFormat::Raw, LoadRaw, nullptr},           {ImageFormat::SunRaster, LoadMagick, SaveMagick},
    {ImageFormat::Tiff, LoadTiff, SaveTiff},        {ImageFormat::WebP, LoadWebP, SaveWebP},
};

}  // namespace

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
CodecError NoMemory() { return {CodecFault::NoMemory, "not enough memory"}; }

}  // namespace kestrel
