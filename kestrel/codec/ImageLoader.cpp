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
#include "kestrel/codec/Exif.h"
#include "kestrel/codec/XmpPacket.h"
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
        const Codec* const codec = FindCodec(result.format);
        if (!codec)
            result.error = UnknownFormat();
        else if (options.trustedOnly && !FindFormat(result.format)->trusted)
            result.error = {CodecFault::Untrusted, std::string("files of the format ") + FormatName(result.format) +
                                                       " need a decoder that is not among the trusted ones"};
        else if (FindFormat(result.format)->pages || HasPage(options, result))
            codec->load(source, options, result);
    } catch (const std::bad_alloc&) {
        result.error = NoMemory();
    } catch (const std::runtime_error& error) {  // from a decoder that would otherwise end the program
        result.error = {CodecFault::Broken, error.what()};
    }
    if (result.image && result.fullWidth == 0) {
        result.fullWidth = result.image->biWidth;
        result.fullHeight = result.image->biHeight;
    }
    if (result.image) result.hasAlpha = result.mask != nullptr;
    if (result.metadata.density.unit == Density::Unit::None)
        result.metadata.density = ExifDensity(result.metadata.exif);
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
        const Codec* const codec = FindCodec(options.format);
        if (codec && !codec->save)
            return {CodecFault::NotSupported,
                    std::string("files of the format ") + FormatName(options.format) + " are not written"};
        SaveOptions about = options;
        ImageMetadata metadata;
        if (options.metadata) {
            metadata = *options.metadata;
            UpdateExif(metadata.exif, image->biWidth, image->biHeight);
            UpdateXmp(metadata.xmp);
            about.metadata = &metadata;
        }
        if (codec) return codec->save(target, image, mask, about);
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

}  // namespace kestrel
