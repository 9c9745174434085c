#include "kestrel/codec/ImageLoader.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>
#include <system_error>

#include "kestrel/codec/Codecs.h"
#include "kestrel/foundation/FileReplacement.h"

namespace kestrel {
namespace {

struct Closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, Closer>;

LoadResult Failed(CodecError error) {
    LoadResult result;
    result.error = std::move(error);
    return result;
}

CodecError UnknownFormat() { return {CodecFault::UnknownFormat, "the file is no picture of a known format"}; }

/// `named` is the format of the extension: a raw file may look like a plain TIFF file.
LoadResult LoadFrom(ByteReader source, const LoadOptions& options, ImageFormat named) {
    std::uint8_t start[kFormatBytes];
    const std::uint64_t position = source.Position();
    const std::size_t size = source.Read(start, sizeof start);
    if (size == 0) return Failed({CodecFault::UnknownFormat, "the file is empty"});
    LoadResult result;
    result.condition = Condition::Whole;
    result.format = FormatOfContent({start, size});
    if (result.format == ImageFormat::Tiff && source.Seek(position + TiffDirectory({start, size}))) {
        std::uint8_t directory[kFormatBytes];
        const std::size_t known = source.Read(directory, sizeof directory);
        if (IsCameraDirectory({directory, known}, start[0] == 'M')) result.format = ImageFormat::Raw;
    }
    const bool vague = result.format == ImageFormat::Tiff || result.format == ImageFormat::Unknown;
    if (vague && named == ImageFormat::Raw) result.format = named;
    if (!source.Seek(position)) return Failed(SystemError());
    try {
        switch (result.format) {
            case ImageFormat::Bmp:
                LoadBmp(source, options, result);
                break;
            case ImageFormat::Jpeg:
                LoadJpeg(source, options, result);
                break;
            case ImageFormat::Png:
                LoadPng(source, options, result);
                break;
            case ImageFormat::Psd:
                LoadPsd(source, options, result);
                break;
            case ImageFormat::Raw:
                LoadRaw(source, options, result);
                break;
            case ImageFormat::Tiff:
                LoadTiff(source, options, result);
                break;
            case ImageFormat::Gif:
            case ImageFormat::PhotoCd:
            case ImageFormat::Pnm:
            case ImageFormat::SunRaster:
                LoadMagick(source, options, result);
                break;
            case ImageFormat::Unknown:
                result.error = UnknownFormat();
        }
    } catch (const std::bad_alloc&) {
        result.error = NoMemory();
    } catch (const std::runtime_error& error) {  // from a decoder that would otherwise end the program
        result.error = {CodecFault::Broken, error.what()};
    }
    if (result.image && result.fullWidth == 0) {
        result.fullWidth = result.image->biWidth;
        result.fullHeight = result.image->biHeight;
    }
    if (options.sizeOnly && !result.error) result.condition = Condition::Nothing;
    if (result.error) {
        result.condition = Condition::Nothing;
        result.image.reset();
        result.mask.reset();
    }
    return result;
}

/// All bytes of a pipe or another file that has no size, unless its first ones are those of no picture.
CodecError ReadStream(std::FILE* file, std::uint64_t limit, std::vector<std::uint8_t>& bytes) {
    std::uint8_t buffer[1 << 16];
    std::size_t size;
    while ((size = std::fread(buffer, 1, sizeof buffer, file)) > 0) {
        const bool first = bytes.empty();
        if (bytes.size() + size > limit)
            return {CodecFault::InputLimit, "the input is longer than " + std::to_string(limit) + " bytes"};
        bytes.insert(bytes.end(), buffer, buffer + size);
        if (first && FormatOfContent(bytes) == ImageFormat::Unknown) return UnknownFormat();
    }
    return std::ferror(file) ? SystemError() : CodecError();
}

bool SameSize(const Dib* a, const Dib* b) { return a->biWidth == b->biWidth && a->biHeight == b->biHeight; }

CodecError SaveTo(ByteWriter& target, const Dib* image, const Dib* mask, const SaveOptions& options) {
    if (!image || image->biBitCount != 24 || image->biWidth < 1 || image->biHeight < 1)
        return {CodecFault::NoPicture, "there is no 24-bit picture to save"};
    if (mask && (DibBitsPerPixel(mask) != 8 || !SameSize(image, mask)))
        return {CodecFault::NoPicture, "the mask does not fit the picture"};
    if (!MaskHidesAnything(mask)) mask = nullptr;
    if (mask && !FormatHoldsAlpha(options.format))
        return {CodecFault::CannotHold,
                std::string("files of the format ") + FormatName(options.format) + " hold no transparency"};
    try {
        switch (options.format) {
            case ImageFormat::Bmp:
                return SaveBmp(target, image, options);
            case ImageFormat::Jpeg:
                return SaveJpeg(target, image, options);
            case ImageFormat::Png:
                return SavePng(target, image, mask, options);
            case ImageFormat::Psd:
                return SavePsd(target, image, mask, options);
            case ImageFormat::Tiff:
                return SaveTiff(target, image, mask, options);
            case ImageFormat::Gif:
            case ImageFormat::PhotoCd:
            case ImageFormat::Pnm:
            case ImageFormat::SunRaster:
                return SaveMagick(target, image, options);
            case ImageFormat::Raw:
                return {CodecFault::NotSupported, "raw files are not written"};
            case ImageFormat::Unknown:
                break;
        }
    } catch (const std::bad_alloc&) {
        return NoMemory();
    }
    return {CodecFault::UnknownFormat, "the format to save in is unknown"};
}

}  // namespace

LoadResult ImageLoader::Load(const std::string& path, const LoadOptions& options) {
    const File file(std::fopen(path.c_str(), "rbe"));
    if (!file) return Failed(SystemError());
    struct stat status;
    if (fstat(fileno(file.get()), &status) != 0) return Failed(SystemError());
    if (S_ISDIR(status.st_mode)) {
        errno = EISDIR;
        return Failed(SystemError());
    }
    if (S_ISREG(status.st_mode))
        return LoadFrom(ByteReader(file.get()), options,
                        options.named == ImageFormat::Unknown ? FormatOfPath(path) : options.named);
    return Load(file.get(), options);
}

LoadResult ImageLoader::Load(std::FILE* stream, const LoadOptions& options) {
    struct stat status;
    const int descriptor = fileno(stream);  // a stream in memory has none and can seek
    if (descriptor < 0 || (fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)))
        return LoadFrom(ByteReader(stream), options, options.named);
    std::vector<std::uint8_t> bytes;
    try {
        CodecError error = ReadStream(stream, options.inputLimit, bytes);
        if (error) return Failed(std::move(error));
    } catch (const std::bad_alloc&) {
        return Failed(NoMemory());
    }
    return LoadFrom(ByteReader(bytes), options, options.named);
}

LoadResult ImageLoader::Load(std::span<const std::uint8_t> bytes, const LoadOptions& options) {
    return LoadFrom(ByteReader(bytes), options, options.named);
}

CodecError ImageLoader::Save(const std::string& path, const Dib* image, const Dib* mask, const SaveOptions& options) {
    SaveOptions known = options;
    if (known.format == ImageFormat::Unknown) known.format = FormatOfPath(path);
    if (known.format == ImageFormat::Unknown) return {CodecFault::UnknownFormat, "the format to save in is unknown"};
    FileReplacement file(path);
    if (!file.Stream()) return {CodecFault::System, file.Error()};
    ByteWriter target(file.Stream());
    CodecError error = SaveTo(target, image, mask, known);
    if (!error && !file.Commit()) error = {CodecFault::System, file.Error()};
    return error;
}

CodecError ImageLoader::Save(std::vector<std::uint8_t>& bytes, const Dib* image, const Dib* mask,
                             const SaveOptions& options) {
    const std::size_t before = bytes.size();
    ByteWriter target(bytes);
    CodecError error = SaveTo(target, image, mask, options);
    if (error) bytes.resize(before);
    return error;
}

CodecError ImageLoader::Save(std::FILE* stream, const Dib* image, const Dib* mask, const SaveOptions& options) {
    ByteWriter target(stream);
    CodecError error = SaveTo(target, image, mask, options);
    if (!error && std::fflush(stream) != 0) error = WriteError();
    return error;
}

bool MaskHidesAnything(const Dib* mask) {
    if (!mask || DibBitsPerPixel(mask) != 8) return false;
    for (int row = 0; row < mask->biHeight; ++row) {
        const std::uint8_t* bytes = DibRow(mask, row);
        std::uint8_t any = 0;
        for (int x = 0; x < mask->biWidth; ++x) any |= bytes[x];
        if (any) return true;
    }
    return false;
}

void Flatten(Dib* image, const Dib* mask, std::uint8_t red, std::uint8_t green, std::uint8_t blue) {
    if (!image || !mask || image->biBitCount != 24 || DibBitsPerPixel(mask) != 8 || !SameSize(image, mask)) return;
    const int background[3] = {blue, green, red};
    for (int y = 0; y < image->biHeight; ++y) {
        std::uint8_t* pixel = DibRow(image, y);
        const std::uint8_t* hidden = DibRow(mask, y);
        for (int x = 0; x < image->biWidth; ++x, pixel += 3) {
            const int m = hidden[x];
            for (int c = 0; c < 3 && m > 0; ++c)
                pixel[c] = static_cast<std::uint8_t>((pixel[c] * (255 - m) + background[c] * m + 127) / 255);
        }
    }
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
