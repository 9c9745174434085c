#pragma once
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kestrel/codec/ImageLoader.h"
#include "kestrel/foundation/ByteReader.h"
#include "kestrel/foundation/ByteWriter.h"

// The formats behind `ImageLoader`, one file each. Not installed. Loading reads from the source's position on and fills
// image, mask and warnings, or the error, and lowers the condition from whole where pixels are missing; saving returns
// the error. Blocks are known to be 24-bit and 8-bit and of one size, and the mask to be null where nothing is hidden.
namespace kestrel {

/// The lines of a file that is being decoded, from the top, as they lie in the file.
class LineDecoder {
public:
    LineDecoder() = default;
    virtual ~LineDecoder() = default;
    LineDecoder(const LineDecoder&) = delete;
    LineDecoder& operator=(const LineDecoder&) = delete;

    virtual int Width() const = 0;
    virtual int Height() const = 0;
    virtual bool HasAlpha() const = 0;
    /// Bytes that are kept while lines are decoded, where it is more than a few of them.
    virtual std::uint64_t Memory() const { return 0; }
    /// Decodes the next line, and its mask where the file has alpha. False when it cannot be read, nor any later one;
    /// its bytes are then of no meaning.
    virtual bool Read(std::uint8_t* pixels, std::uint8_t* mask) = 0;
    /// Says after the last call of `Read` what was wrong: condition and warnings, or the error when no line was read.
    virtual void Finish(LoadResult& result) = 0;
};

struct PictureForm {
    int width = 0;
    int height = 0;
    bool alpha = false;
};

/// A file that is being encoded from lines, from the top.
class LineEncoder {
public:
    LineEncoder() = default;
    virtual ~LineEncoder() = default;
    LineEncoder(const LineEncoder&) = delete;
    LineEncoder& operator=(const LineEncoder&) = delete;

    /// Encodes the next line, with its mask where the form has alpha. False: nothing more can be written.
    virtual bool Write(const std::uint8_t* pixels, const std::uint8_t* mask) = 0;
    /// Ends the file after its last line, or says why a line could not be written.
    virtual CodecError Finish() = 0;
};

using LoadFunction = void(ByteReader& source, const LoadOptions& options, LoadResult& result);
using SaveFunction = CodecError(ByteWriter& target, const Dib* image, const Dib* mask, const SaveOptions& options);
/// Reads the header, checks the limits and fills all of the result that is known without pixels. Null with the error
/// set, and null without an error for a file whose lines do not come one after the other.
using OpenFunction = std::unique_ptr<LineDecoder>(ByteReader& source, const LoadOptions& options, LoadResult& result);
/// Writes the header. Null with the error set.
using CreateFunction = std::unique_ptr<LineEncoder>(ByteWriter& target, PictureForm form, const SaveOptions& options,
                                                    CodecError& error);

LoadFunction LoadBmp, LoadHeif, LoadJpeg2000, LoadMagick, LoadPng, LoadRaw, LoadWebP;
SaveFunction SaveBmp, SaveJpeg2000, SaveMagick, SavePsd, SaveWebP;
OpenFunction OpenBmp, OpenJpeg, OpenPng, OpenPsd, OpenTiff;
CreateFunction CreateBmp, CreateJpeg, CreatePng, CreateTiff;

/// What reads and writes a format. `LoadMagick` and `LoadHeif` look at the format that the result has.
struct Codec {
    ImageFormat format;
    LoadFunction* load;                ///< null where every file is read by lines
    SaveFunction* save;                ///< null where nothing is written, or only lines are
    OpenFunction* open = nullptr;      ///< null where a file is only read as a whole
    CreateFunction* create = nullptr;  ///< null where a file is only written as a whole
};

/// Options with the metadata as a file with a picture of a certain size has them.
struct FileOptions : SaveOptions {
    FileOptions(const SaveOptions& from, int width, int height);
    FileOptions(const FileOptions&) = delete;
    FileOptions& operator=(const FileOptions&) = delete;

private:
    ImageMetadata own_;
};

/// Null for the unknown format.
const Codec* FindCodec(ImageFormat format);
/// Reads a file as a whole.
void LoadWith(const Codec& codec, ByteReader& source, const LoadOptions& options, LoadResult& result);

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
/// Reads all lines of a decoder into the image and the mask, which it makes, and finishes it. `fileBytes` is the size
/// of the file.
void LoadLines(LineDecoder& decoder, std::uint64_t fileBytes, const LoadOptions& options, LoadResult& result);
/// Makes a line what it is without pixels: black, and hidden where there is a mask.
void ClearLine(std::uint8_t* pixels, std::uint8_t* mask, int width);
/// Writes all lines of a picture and finishes the encoder.
CodecError SaveLines(LineEncoder& encoder, const Dib* image, const Dib* mask);
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
/// Its text is twice as long, and no text of over 16 MiB is read.
inline constexpr std::size_t kLargestPngIptc = 4 << 20;

/// "3 of 7 lines could be read".
std::string LinesText(std::int64_t read, std::int64_t all);

/// What the last system call said.
CodecError SystemError();
/// The same for a write.
CodecError WriteError();
/// What a write of the target failed with, whatever has been called since and by whichever thread; none if all is well.
CodecError WriteErrorOf(ByteWriter& target);
CodecError NoMemory();

}  // namespace kestrel
