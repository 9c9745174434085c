#pragma once
#include <string>
#include <vector>

#include "kestrel/codec/ImageLoader.h"
#include "kestrel/foundation/ByteReader.h"
#include "kestrel/foundation/ByteWriter.h"

// The formats behind `ImageLoader`, one file each. Not installed. Loading reads from the source's position on and fills
// image, mask and warnings, or the error, and lowers the condition from whole where pixels are missing; saving returns
// the error. Blocks are known to be 24-bit and 8-bit and of one size, and the mask to be null where nothing is hidden.
namespace kestrel {

using LoadFunction = void(ByteReader& source, const LoadOptions& options, LoadResult& result);
using SaveFunction = CodecError(ByteWriter& target, const Dib* image, const Dib* mask, const SaveOptions& options);

LoadFunction LoadBmp, LoadHeif, LoadJpeg, LoadJpeg2000, LoadMagick, LoadPng, LoadPsd, LoadRaw, LoadTiff, LoadWebP;
SaveFunction SaveBmp, SaveJpeg, SaveJpeg2000, SaveMagick, SavePng, SavePsd, SaveTiff, SaveWebP;

/// What reads and writes a format. `LoadMagick` and `LoadHeif` look at the format that the result has.
struct Codec {
    ImageFormat format;
    LoadFunction* load;
    SaveFunction* save;  ///< null where nothing is written
};
/// Null for the unknown format.
const Codec* FindCodec(ImageFormat format);

/// Sets the error for a page that the file does not have. True when it has it.
bool HasPage(const LoadOptions& options, LoadResult& result);

/// Where the first directory of a TIFF file is, by its first 8 bytes.
std::uint32_t TiffDirectory(std::span<const std::uint8_t> start);
/// Whether the directory is one that cameras write: with the version of DNG, with pixels of a colour filter array, or
/// with a maker and a reduced picture that has the real one in a directory of its own.
bool IsCameraDirectory(std::span<const std::uint8_t> bytes, bool bigEndian);

/// Whether the limits allow a picture of this size in a file of so many bytes; otherwise sets the error.
bool SizeIsAllowed(std::int64_t width, std::int64_t height, std::uint64_t fileBytes, const LoadOptions& options,
                   LoadResult& result);
/// Makes image and mask (with `alpha`) of this size, if limits and memory allow it; otherwise sets the error. False
/// without an error when only the size was asked for.
bool MakePlanes(std::int64_t width, std::int64_t height, bool alpha, std::uint64_t fileBytes,
                const LoadOptions& options, LoadResult& result);
/// All bytes from the source's position on. Throws `std::runtime_error` when they cannot be read.
std::vector<std::uint8_t> ReadRest(ByteReader& source);
/// Sets every byte of a mask to 255.
void HideAll(Dib* mask);
bool MaskHidesAll(const Dib* mask);

/// What fits into one marker of a JPEG file with the words before it, in bytes.
inline constexpr std::size_t kLargestJpegExif = 65533 - 6;
inline constexpr std::size_t kLargestJpegProfile = 255 * (65533 - 14);  // in as many markers as there may be
inline constexpr std::size_t kLargestJpegXmp = 65533 - 29;
inline constexpr std::size_t kLargestJpegIptc = 65532 - 14 - 12;

/// "3 of 7 lines could be read".
std::string LinesText(std::int64_t read, std::int64_t all);

/// What the last system call said.
CodecError SystemError();
/// The same for a write.
CodecError WriteError();
CodecError NoMemory();

}  // namespace kestrel
