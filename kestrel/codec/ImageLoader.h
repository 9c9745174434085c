#pragma once
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/codec/CodecError.h"
#include "kestrel/codec/ImageFormat.h"
#include "kestrel/codec/ImageMetadata.h"
#include "kestrel/foundation/Export.h"
#include "kestrel/image/Dib.h"

namespace kestrel {

/// How the raw file of a camera becomes a picture.
struct RawDevelopment {
    bool cameraWhiteBalance = true;
    bool automaticWhiteBalance = false;  ///< where the camera recorded none
    bool automaticBrightness = true;     ///< stretches the tones so that the brightest hundredth becomes white
    double brightness = 1;
    double multipliers[4] = {-1, -1, -1, -1};  ///< white balance by hand: red, green, blue, second green; or below 0
};

/// How a file is read, and bounds for files that may be made to do harm, which are checked before memory or
/// time is spent.
struct LoadOptions {
    std::uint64_t pixelLimit = 400'000'000;             ///< width times height
    std::uint64_t expansionLimit = 2000;                ///< pixels for each byte of the file, from `kFreePixels` on
    int scanLimit = 100;                                ///< scans of a progressive JPEG file
    std::uint64_t inputLimit = std::uint64_t{1} << 30;  ///< bytes that are taken from a pipe or a device

    int preferredWidth = 0;    ///< with both above 0, decoders that can may return a picture of 1/2, 1/4 or 1/8 of the
    int preferredHeight = 0;   ///< size that is still as large as this
    int page = 0;              ///< of a file with several pictures, from 0
    bool trustedOnly = false;  ///< only formats whose decoder is trusted (`FormatInfo`) are read
    bool sizeOnly = false;     ///< only format, size and metadata are wanted; there will be no image
    ImageFormat named = ImageFormat::Unknown;  ///< `Raw` counts where the content shows no format or TIFF
    RawDevelopment raw{};

    /// `expansionLimit` does not apply to pictures up to this size.
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
    std::int64_t fullWidth = 0, fullHeight = 0;  ///< of the file's picture, upright, whatever size was decoded
    bool hasAlpha = false;                       ///< also when only the size was asked for
    int orientation = 1;                         ///< of EXIF, 1 to 8, as the file says; it has been applied
    int pages = 1;                               ///< pictures of the file; counted when only the size was asked for
    ImageMetadata metadata;                      ///< to hand on to `SaveOptions`
    Condition condition = Condition::Nothing;
    std::vector<std::string> warnings;  ///< one line each, without the path; a whole picture may have some
    CodecError error;                   ///< set when there is no image

    explicit operator bool() const { return image != nullptr; }
};

/// How many pixels of a JPEG file share a color: none, two or four beside each other, two by two. Brightness is always
/// kept for each pixel.
enum class ChromaSampling {
    Auto,  ///< 4:4:4 from `kFullChromaQuality` on, otherwise 4:2:0
    S444,
    S422,
    S420,
    S411
};
/// "444" or "4:4:4", likewise the others, or "auto"; nothing for other texts.
KESTREL_API std::optional<ChromaSampling> ChromaSamplingOfName(std::string_view name);

struct SaveOptions {
    /// Edges between colors stay sharp with 4:4:4, and the file becomes about a fifth larger.
    static constexpr int kFullChromaQuality = 90;

    ImageFormat format = ImageFormat::Unknown;     ///< unknown: by the extension of the path
    int jpegQuality = 92;                          ///< 1..100
    ChromaSampling chroma = ChromaSampling::Auto;  ///< of a JPEG file
    int pngCompression = 6;                        ///< 0 (none) to 9 (smallest)
    bool lossless = false;                         ///< for WebP, which else takes the quality of JPEG
    /// Blocks that the format cannot take are left out (`BlocksLeftOut`). Sizes in EXIF data are set to those of the
    /// picture, and what shows or describes the file that they came from, such as a thumbnail, goes.
    const ImageMetadata* metadata = nullptr;
};

/// Picture files to packed blocks and back. Pixels are decoded into the rows of a 24-bit block and encoded from them;
/// transparency (255 - alpha) lives in a mask block beside it, colours under alpha 0 are kept. Nothing is shared: any
/// thread may load and save its own pictures.
///
/// `Load` and `Save` do all in one call. An object is the same for a picture box, which sets options one by one, asks
/// for a picture's parts and hands the parts of another one over; numbers for formats are those of `ImageFormat`.
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

    // A loader for one picture ---------------------------------------------------------------------------------------

    /// A loader to save with.
    explicit ImageLoader(bool forSave = true);
    /// A loader for a file: of the format `type`, or 0 for what its content says; `fromMemory` reads all its bytes at
    /// once. With `reduced` the preferred size may be met by a reduced decoding. The file is decoded when the first
    /// question about it is asked, so that options can be set before.
    ImageLoader(const char* path, long type, bool fromMemory, bool reduced);
    /// The same for an open file, from its position on, which stays open and has to outlive the loader.
    ImageLoader(std::FILE* file, bool reduced);
    /// The same for a file in memory, which has to outlive the loader.
    ImageLoader(std::span<const std::uint8_t> bytes, bool reduced);
    ~ImageLoader();
    ImageLoader(const ImageLoader&) = delete;
    ImageLoader& operator=(const ImageLoader&) = delete;

    // Options; once the file is decoded they change nothing.
    void PreferedLoadingSize(int width, int height);
    /// The four bounds of `limits`; its other fields do not count.
    void SetLimits(const LoadOptions& limits);
    /// There is one way of development, 1; other numbers are kept and mean the same.
    void SetRawVersion(int version);
    /// Three flags: the camera's white balance, an automatic one where there is none, automatic brightness. Four
    /// factors for red, green, blue and the second green; when the first is negative they are left to the flags.
    void RAW_SetWhitebalance(const std::uint8_t* flags, const double* multipliers);
    /// 0.6 leaves the brightness as it is; twice as much makes pictures twice as bright.
    void RAW_SetBrightness(double factor);
    /// Goes back to the development that the camera asks for.
    void RAW_Initialize();

    // Answers.
    /// 0 unless the last decoding or saving failed; `Error` says why.
    int HadError();
    const CodecError& Error() const;
    /// Whether pixels of the image could not be read, and lines about that and other faults of the file.
    bool Damaged();
    const std::vector<std::string>& Warnings();
    /// Size of the file's picture, upright, also when a reduced one was decoded.
    int Width();
    int Height();
    /// Number of the format; 0 for an unknown one.
    int GetType();
    static int GetType(const void* bytes, int size);
    /// The file's position stays.
    static int GetType(std::FILE* file);
    /// Whether a name has the extension of a picture file. The number is ignored; callers of the interface pass it.
    static bool IsImage(const char* name, long reserved = 0);
    /// Whether `PolyImagePro` decodes a reduced picture of the file faster; `fromMemory` says whether a file should be
    /// read into memory otherwise.
    static bool IsPolyViewFaster(const char* path, bool* fromMemory);
    /// 24-bit record and mask; null when absent. They belong to the loader and die with it.
    Dib* ImageDIB();
    Dib* MaskDIB();
    /// From now on the records belong to the caller, who frees them with `DibFree`.
    void KeepDibMemory();
    const ImageMetadata& Metadata();

    // Saving.
    /// The records have to outlive `Save`. An image of another depth is converted.
    void SetImage(Dib* image);
    void SetMask(const Dib* mask);
    void PutExifData(const void* bytes, std::size_t size);
    void PutIPTCData(const void* bytes, std::size_t size);
    void PutMetadata(const ImageMetadata& metadata);
    void SetJpgQuality(int quality);
    /// False when it failed. A mask that the format cannot take is left out.
    bool Save(std::FILE* file, int type);
    bool Save(std::vector<std::uint8_t>& bytes, int type);

private:
    struct State;
    std::unique_ptr<State> state_;
};

/// Whether any byte of the mask is not 0; false for null.
KESTREL_API bool MaskHidesAnything(const Dib* mask);
/// The same of a row of `width` pixels.
KESTREL_API bool MaskRowHidesAnything(const std::uint8_t* mask, int width);

/// Lays the picture over a colour, in place: what the mask hides becomes the background, partly hidden pixels are
/// mixed and rounded. Null or another size of the mask leaves the picture as it is.
KESTREL_API void Flatten(Dib* image, const Dib* mask, std::uint8_t red, std::uint8_t green, std::uint8_t blue);
/// The same for a row of so many pixels. True when the mask hides any of them.
KESTREL_API bool FlattenRow(std::uint8_t* pixels, const std::uint8_t* mask, int width, std::uint8_t red,
                            std::uint8_t green, std::uint8_t blue);

}  // namespace kestrel
