#pragma once
#include <cstdint>
#include <cstdio>
#include <span>
#include <string>
#include <vector>

#include "kestrel/codec/CodecError.h"
#include "kestrel/codec/ImageFormat.h"
#include "kestrel/codec/ImageMetadata.h"
#include "kestrel/foundation/Export.h"
#include "kestrel/image/Dib.h"

namespace kestrel {

/// Bounds for files that may be made to do harm. They are checked before memory or time is spent.
struct LoadOptions {
    std::uint64_t pixelLimit = 400'000'000;             ///< width times height
    std::uint64_t expansionLimit = 2000;                ///< pixels for each byte of the file, from `kFreePixels` on
    int scanLimit = 100;                                ///< scans of a progressive JPEG file
    std::uint64_t inputLimit = std::uint64_t{1} << 30;  ///< bytes that are taken from a pipe or a device

    /// Pictures up to this size may be as empty as they like.
    static constexpr std::uint64_t kFreePixels = 64'000'000;
};

/// How much of a file's picture could be read.
enum class Condition {
    Nothing,  ///< there is no picture
    Damaged,  ///< some pixels could not be read; the others are there
    Whole     ///< every pixel is there, whatever else is wrong with the file
};

/// A picture, or why there is none.
struct LoadResult {
    DibPtr image;  ///< 24 bits; null after an error
    DibPtr mask;   ///< 8 bits of transparency; null when the file has no alpha
    ImageFormat format = ImageFormat::Unknown;
    ImageMetadata metadata;  ///< to hand on to `SaveOptions`
    Condition condition = Condition::Nothing;
    std::vector<std::string> warnings;  ///< one line each, without the path; a whole picture may have some
    CodecError error;                   ///< set when there is no image

    explicit operator bool() const { return image != nullptr; }
};

struct SaveOptions {
    ImageFormat format = ImageFormat::Unknown;  ///< unknown: by the extension of the path
    int jpegQuality = 92;                       ///< 1..100; from 90 on colour is kept at full resolution
    int pngCompression = 6;                     ///< 0 (none) to 9 (smallest)
    const ImageMetadata* metadata = nullptr;    ///< blocks that the format cannot take are left out (`BlocksLeftOut`)
};

/// Picture files to packed blocks and back. Pixels are decoded into the rows of a 24-bit block and encoded from them;
/// transparency (255 - alpha) lives in a mask block beside it, colours under alpha 0 are kept. Nothing is shared: any
/// thread may load and save its own pictures.
class KESTREL_API ImageLoader {
public:
    /// Loads a file, whose content decides the format. The orientation of EXIF data is applied. What could be read of a
    /// damaged file is returned, with a warning. A path that is no regular file (a pipe, a device) is read to its end,
    /// but not before its first bytes have shown a format.
    static LoadResult Load(const std::string& path, const LoadOptions& options = {});
    /// The same from an open stream, such as standard input, from its position on.
    static LoadResult Load(std::FILE* stream, const LoadOptions& options = {});
    static LoadResult Load(std::span<const std::uint8_t> bytes, const LoadOptions& options = {});

    /// Writes a file that appears whole or not at all. The mask may be null; a mask with a byte that is not 0 needs a
    /// format that holds alpha (`FormatHoldsAlpha`).
    [[nodiscard]] static CodecError Save(const std::string& path, const Dib* image, const Dib* mask,
                                         const SaveOptions& options = {});
    /// Appends the file's bytes to `bytes`; the options name the format.
    [[nodiscard]] static CodecError Save(std::vector<std::uint8_t>& bytes, const Dib* image, const Dib* mask,
                                         const SaveOptions& options);
    /// Writes the file's bytes to an open stream, such as standard output; the options name the format.
    [[nodiscard]] static CodecError Save(std::FILE* stream, const Dib* image, const Dib* mask,
                                         const SaveOptions& options);
};

/// Whether any byte of the mask is not 0; false for null.
KESTREL_API bool MaskHidesAnything(const Dib* mask);

/// Lays the picture over a colour, in place: what the mask hides becomes the background, partly hidden pixels are
/// mixed and rounded. Null or another size of the mask leaves the picture as it is.
KESTREL_API void Flatten(Dib* image, const Dib* mask, std::uint8_t red, std::uint8_t green, std::uint8_t blue);

}  // namespace kestrel
