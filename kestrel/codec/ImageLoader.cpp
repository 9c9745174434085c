#include "kestrel/codec/ImageLoader.h"

#include <cstring>
#include <new>

#include "kestrel/codec/Codecs.h"
#include "kestrel/codec/PictureInput.h"
#include "kestrel/foundation/FileReplacement.h"

namespace kestrel {
namespace {

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
        if (codec && !codec->save && !codec->create)
            return {CodecFault::NotSupported,
                    std::string("files of the format ") + FormatName(options.format) + " are not written"};
        const FileOptions about(options, image->biWidth, image->biHeight);
        if (codec && codec->save) return codec->save(target, image, mask, about);
        if (codec) {
            CodecError error;
            const auto encoder =
                codec->create(target, {image->biWidth, image->biHeight, mask != nullptr}, about, error);
            return encoder ? SaveLines(*encoder, image, mask) : error;
        }
    } catch (const std::bad_alloc&) {
        return NoMemory();
    }
    return {CodecFault::UnknownFormat, "the format to save in is unknown"};
}

/// Where the bytes end that are those of `mask[x]`, up to `width`.
int AlikeUntil(const std::uint8_t* mask, int x, int width) {
    const std::uint8_t value = mask[x];
    const std::uint64_t eight = value * std::uint64_t{0x0101010101010101};
    std::uint64_t next = eight;
    for (; x + 8 <= width && next == eight; x += next == eight ? 8 : 0) std::memcpy(&next, mask + x, sizeof next);
    while (x < width && mask[x] == value) ++x;
    return x;
}

void FillPixels(std::uint8_t* pixels, int count, std::uint8_t blue, std::uint8_t green, std::uint8_t red) {
    const std::size_t size = 3 * static_cast<std::size_t>(count);
    pixels[0] = blue;
    pixels[1] = green;
    pixels[2] = red;
    for (std::size_t done = 3; done < size; done *= 2) std::memcpy(pixels + done, pixels, std::min(done, size - done));
}

}  // namespace

LoadResult ImageLoader::Load(const std::string& path, const LoadOptions& options) {
    return PictureInput(path, options).Load();
}

LoadResult ImageLoader::Load(std::FILE* stream, const LoadOptions& options) {
    return PictureInput(stream, options).Load();
}

LoadResult ImageLoader::Load(std::span<const std::uint8_t> bytes, const LoadOptions& options) {
    return PictureInput(bytes, options).Load();
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
    for (int row = 0; row < mask->biHeight; ++row)
        if (MaskRowHidesAnything(DibRow(mask, row), mask->biWidth)) return true;
    return false;
}

bool MaskRowHidesAnything(const std::uint8_t* mask, int width) {
    std::uint8_t any = 0;
    for (int x = 0; x < width; ++x) any |= mask[x];
    return any != 0;
}

void Flatten(Dib* image, const Dib* mask, std::uint8_t red, std::uint8_t green, std::uint8_t blue) {
    if (!image || !mask || image->biBitCount != 24 || DibBitsPerPixel(mask) != 8 || !SameSize(image, mask)) return;
    for (int y = 0; y < image->biHeight; ++y)
        FlattenRow(DibRow(image, y), DibRow(mask, y), image->biWidth, red, green, blue);
}

bool FlattenRow(std::uint8_t* pixels, const std::uint8_t* mask, int width, std::uint8_t red, std::uint8_t green,
                std::uint8_t blue) {
    const int background[3] = {blue, green, red};
    bool hides = false;
    for (int x = 0; x < width;) {
        const int m = mask[x];
        hides = hides || m > 0;
        const int end = AlikeUntil(mask, x, width);
        if (m == 255) FillPixels(pixels + 3 * std::ptrdiff_t{x}, end - x, blue, green, red);
        for (; m > 0 && m < 255 && x < end; ++x)
            for (int c = 0; c < 3; ++c) {
                std::uint8_t& byte = pixels[3 * std::ptrdiff_t{x} + c];
                byte = static_cast<std::uint8_t>((byte * (255 - m) + background[c] * m + 127) / 255);
            }
        x = end;
    }
    return hides;
}

}  // namespace kestrel
