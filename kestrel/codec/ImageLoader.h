#pragma once
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "kestrel/codec/ImageFormat.h"
#include "kestrel/foundation/Export.h"
#include "kestrel/image/Dib.h"

namespace kestrel {

struct LoadOptions {
    std::uint64_t pixelLimit = 400'000'000;  ///< width times height; checked before memory is taken
};

/// A picture, or why there is none.
struct LoadResult {
    DibPtr image;  ///< 24 bits; null after an error
    DibPtr mask;   ///< 8 bits of transparency; null when the file has no alpha
    ImageFormat format = ImageFormat::Unknown;
    std::vector<std::string> warnings;  ///< one line each, without the path
    std::string error;                  ///< one line without the path; empty when there is an image

    explicit operator bool() const { return image != nullptr; }
};

struct SaveOptions {
    ImageFormat format = ImageFormat::Unknown;  ///< unknown: by the extension of the path
    int jpegQuality = 92;                       ///< 1..100; from 90 on colour is kept at full resolution
    int pngCompression = 6;                     ///< 0 (none) to 9 (smallest)
};

/// Picture files to packed blocks and back. Pixels are decoded into the rows of a 24-bit block and encoded from them;
/// transparency (255 - alpha) lives in a mask block beside it, colours under alpha 0 are kept. Nothing is shared: any
/// thread may load and save its own pictures.
class KESTREL_API ImageLoader {
public:
    /// Loads a file, whose content decides the format. The orientation of EXIF data is applied. A JPEG file that ends
    /// early gives a warning and what could be read of it.
    static LoadResult Load(const std::string& path, const LoadOptions& options = {});
    static LoadResult Load(std::span<const std::uint8_t> bytes, const LoadOptions& options = {});

    /// Writes a file that appears whole or not at all. Gives what went wrong without the path, or an empty text. The
    /// mask may be null; a mask with a byte that is not 0 needs a format that holds alpha (`FormatHoldsAlpha`).
    [[nodiscard]] static std::string Save(const std::string& path, const Dib* image, const Dib* mask,
                                          const SaveOptions& options = {});
    /// Appends the file's bytes to `bytes`; the options name the format.
    [[nodiscard]] static std::string Save(std::vector<std::uint8_t>& bytes, const Dib* image, const Dib* mask,
                                          const SaveOptions& options);
    /// Writes the file's bytes to an open stream, such as standard output; the options name the format.
    [[nodiscard]] static std::string Save(std::FILE* stream, const Dib* image, const Dib* mask,
                                          const SaveOptions& options);
};

/// Whether any byte of the mask is not 0; false for null.
KESTREL_API bool MaskHidesAnything(const Dib* mask);

/// Lays the picture over a colour, in place: what the mask hides becomes the background, partly hidden pixels are
/// mixed and rounded. Null or another size of the mask leaves the picture as it is.
KESTREL_API void Flatten(Dib* image, const Dib* mask, std::uint8_t red, std::uint8_t green, std::uint8_t blue);

}  // namespace kestrel
