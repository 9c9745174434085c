#include "kestrel/codec/ImageLoader.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <new>
#include <system_error>

#include "kestrel/codec/Codecs.h"
#include "kestrel/foundation/FileReplacement.h"

namespace kestrel {
namespace {

struct Closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, Closer>;

LoadResult Failed(const char* error) {
    LoadResult result;
    result.error = error;
    return result;
}

LoadResult LoadFrom(ByteReader source, const LoadOptions& options) {
    std::uint8_t start[16];
    const std::uint64_t position = source.Position();
    const std::size_t size = source.Read(start, sizeof start);
    if (size == 0) return Failed("the file is empty");
    LoadResult result;
    result.format = FormatOfContent({start, size});
    if (!source.Seek(position)) return Failed("the file cannot be read");
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
            case ImageFormat::Unknown:
                result.error = "the file is no picture of a known format";
        }
    } catch (const std::bad_alloc&) {
        result.error = "not enough memory";
    }
    if (!result.error.empty()) {
        result.image.reset();
        result.mask.reset();
    }
    return result;
}

/// All bytes of a pipe or another file that has no size.
bool ReadAll(std::FILE* file, std::vector<std::uint8_t>& bytes) {
    std::uint8_t buffer[1 << 16];
    std::size_t size;
    while ((size = std::fread(buffer, 1, sizeof buffer, file)) > 0) bytes.insert(bytes.end(), buffer, buffer + size);
    return !std::ferror(file);
}

bool SameSize(const Dib* a, const Dib* b) { return a->biWidth == b->biWidth && a->biHeight == b->biHeight; }

std::string SaveTo(ByteWriter& target, const Dib* image, const Dib* mask, const SaveOptions& options) {
    if (!image || image->biBitCount != 24 || image->biWidth < 1 || image->biHeight < 1)
        return "there is no 24-bit picture to save";
    if (mask && (DibBitsPerPixel(mask) != 8 || !SameSize(image, mask))) return "the mask does not fit the picture";
    if (!MaskHidesAnything(mask)) mask = nullptr;
    if (mask && !FormatHoldsAlpha(options.format))
        return std::string("files of the format ") + FormatName(options.format) + " hold no transparency";
    try {
        switch (options.format) {
            case ImageFormat::Bmp:
                return SaveBmp(target, image);
            case ImageFormat::Jpeg:
                return SaveJpeg(target, image, std::clamp(options.jpegQuality, 1, 100));
            case ImageFormat::Png:
                return SavePng(target, image, mask, std::clamp(options.pngCompression, 0, 9));
            case ImageFormat::Unknown:
                break;
        }
    } catch (const std::bad_alloc&) {
        return "not enough memory";
    }
    return "the format to save in is unknown";
}

}  // namespace

LoadResult ImageLoader::Load(const std::string& path, const LoadOptions& options) {
    const File file(std::fopen(path.c_str(), "rbe"));
    if (!file) return Failed(SystemError().c_str());
    struct stat status;
    if (fstat(fileno(file.get()), &status) != 0) return Failed(SystemError().c_str());
    if (S_ISDIR(status.st_mode)) {
        errno = EISDIR;
        return Failed(SystemError().c_str());
    }
    if (S_ISREG(status.st_mode)) return LoadFrom(ByteReader(file.get()), options);
    std::vector<std::uint8_t> bytes;
    try {
        if (!ReadAll(file.get(), bytes)) return Failed(SystemError().c_str());
    } catch (const std::bad_alloc&) {
        return Failed("not enough memory");
    }
    return LoadFrom(ByteReader(bytes), options);
}

LoadResult ImageLoader::Load(std::span<const std::uint8_t> bytes, const LoadOptions& options) {
    return LoadFrom(ByteReader(bytes), options);
}

std::string ImageLoader::Save(const std::string& path, const Dib* image, const Dib* mask, const SaveOptions& options) {
    SaveOptions known = options;
    if (known.format == ImageFormat::Unknown) known.format = FormatOfPath(path);
    if (known.format == ImageFormat::Unknown) return "the format to save in is unknown";
    FileReplacement file(path);
    if (!file.Stream()) return file.Error();
    ByteWriter target(file.Stream());
    std::string error = SaveTo(target, image, mask, known);
    if (!error.empty()) return error;
    return file.Commit() ? std::string() : file.Error();
}

std::string ImageLoader::Save(std::vector<std::uint8_t>& bytes, const Dib* image, const Dib* mask,
                              const SaveOptions& options) {
    const std::size_t before = bytes.size();
    ByteWriter target(bytes);
    std::string error = SaveTo(target, image, mask, options);
    if (!error.empty()) bytes.resize(before);
    return error;
}

std::string ImageLoader::Save(std::FILE* stream, const Dib* image, const Dib* mask, const SaveOptions& options) {
    ByteWriter target(stream);
    std::string error = SaveTo(target, image, mask, options);
    if (error.empty() && std::fflush(stream) != 0) error = "cannot write: " + SystemError();
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

bool MakePlanes(std::int64_t width, std::int64_t height, bool alpha, const LoadOptions& options, LoadResult& result) {
    const std::string size = std::to_string(width) + " x " + std::to_string(height) + " pixels";
    if (width < 1 || height < 1 || width > INT32_MAX || height > INT32_MAX) {
        result.error = "the picture has " + size;
        return false;
    }
    // 62 bits hold the product.
    if (static_cast<std::uint64_t>(width * height) > options.pixelLimit) {
        result.error = "the picture has " + size + ", the limit is " + std::to_string(options.pixelLimit);
        return false;
    }
    result.image.reset(DibCreate(24, static_cast<int>(width), static_cast<int>(height)));
    if (alpha) result.mask.reset(DibCreate(8, static_cast<int>(width), static_cast<int>(height)));
    if (result.image && (result.mask || !alpha)) return true;
    result.error = "not enough memory for " + size;
    return false;
}

std::string SystemError() { return std::generic_category().message(errno); }

}  // namespace kestrel
