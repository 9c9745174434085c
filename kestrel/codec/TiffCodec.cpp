// TIFF by libtiff. Samples of any depth are unpacked to 16-bit numbers and become bytes in one step, with rounding.
#include <tiffio.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "kestrel/codec/Codecs.h"
#include "kestrel/codec/IccProfile.h"
#include "kestrel/codec/MemoryTarget.h"
#include "kestrel/codec/SampleByte.h"
#include "kestrel/codec/ScanlineOrienter.h"
#include "kestrel/codec/TiffBlocks.h"
#include "kestrel/foundation/SharedLibrary.h"

namespace kestrel {
namespace {

constexpr int kMostSamples = 32;
constexpr std::uint64_t kLargestLine = 64 << 20;   // samples
constexpr std::uint64_t kLargestBand = 256 << 20;  // samples of one row of tiles or strips
constexpr std::uint64_t kClassicLimit = 4'000'000'000;

struct TiffLibrary : SharedLibrary {
    TiffLibrary() : SharedLibrary(KESTREL_TIFF_LIBRARY) {}
    KESTREL_LATE(TIFFOpenOptionsAlloc);
    KESTREL_LATE(TIFFOpenOptionsFree);
    KESTREL_LATE(TIFFOpenOptionsSetMaxSingleMemAlloc);
    KESTREL_LATE(TIFFOpenOptionsSetErrorHandlerExtR);
    KESTREL_LATE(TIFFOpenOptionsSetWarningHandlerExtR);
    KESTREL_LATE(TIFFClientOpenExt);
    KESTREL_LATE(TIFFClose);
    KESTREL_LATE(TIFFGetField);
    KESTREL_LATE(TIFFGetFieldDefaulted);
    KESTREL_LATE(TIFFSetField);
    KESTREL_LATE(TIFFIsCODECConfigured);
    KESTREL_LATE(TIFFCurrentDirOffset);
    KESTREL_LATE(TIFFSetDirectory);
    KESTREL_LATE(TIFFNumberOfDirectories);
    KESTREL_LATE(TIFFIsTiled);
    KESTREL_LATE(TIFFScanlineSize64);
    KESTREL_LATE(TIFFStripSize64);
    KESTREL_LATE(TIFFTileSize64);
    KESTREL_LATE(TIFFTileRowSize64);
    KESTREL_LATE(TIFFComputeStrip);
    KESTREL_LATE(TIFFComputeTile);
    KESTREL_LATE(TIFFReadScanline);
    KESTREL_LATE(TIFFReadEncodedStrip);
    KESTREL_LATE(TIFFReadEncodedTile);
    KESTREL_LATE(TIFFReadRGBAImageOriented);
    KESTREL_LATE(TIFFRGBAImageOK);
    KESTREL_LATE(TIFFDefaultStripSize);
    KESTREL_LATE(TIFFWriteScanline);
    KESTREL_LATE(TIFFFlush);

    /// Null when it is not installed.
    static const TiffLibrary* Get() {
        static const TiffLibrary library;
        return library.IsThere() ? &library : nullptr;
    }
};

CodecError Missing() { return {CodecFault::NotSupported, "TIFF files need the library " KESTREL_TIFF_LIBRARY}; }

/// What the library reads from or writes to, and the first error that it reported.
struct Stream {
    ByteReader* source = nullptr;
    std::uint64_t start = 0;
    MemoryTarget target{};
    std::string error{};

    static tmsize_t Read(thandle_t handle, void* to, tmsize_t count) {
        auto* stream = static_cast<Stream*>(handle);
        if (stream->source) return static_cast<tmsize_t>(stream->source->Read(to, static_cast<std::size_t>(count)));
        return static_cast<tmsize_t>(stream->target.Read(to, static_cast<std::size_t>(count)));
    }
    static tmsize_t Write(thandle_t handle, void* from, tmsize_t count) {
        auto* stream = static_cast<Stream*>(handle);
        if (stream->target.Write(from, static_cast<std::size_t>(count))) return count;
        stream->error = "not enough memory";
        return -1;
    }
    static toff_t Seek(thandle_t handle, toff_t offset, int whence) {
        auto* stream = static_cast<Stream*>(handle);
        const std::uint64_t now = stream->source ? stream->source->Position() - stream->start : stream->target.position;
        const std::uint64_t base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? now : Size(handle);
        const std::uint64_t to = base + offset;
        if (!stream->source) return stream->target.position = to;
        return stream->source->Seek(stream->start + to) ? to : static_cast<toff_t>(-1);
    }
    static toff_t Size(thandle_t handle) {
        auto* stream = static_cast<Stream*>(handle);
        return stream->source ? stream->source->Size() - stream->start : stream->target.bytes.size();
    }
    static int Close(thandle_t) { return 0; }
    static int OnError(TIFF*, void* user, const char*, const char* format, va_list arguments) {
        char text[256];
        std::vsnprintf(text, sizeof text, format, arguments);
        auto* stream = static_cast<Stream*>(user);
        if (stream->error.empty()) stream->error = text;
        return 1;
    }
    static int OnWarning(TIFF*, void*, const char*, const char*, va_list) { return 1; }
};

struct Closer {
    void operator()(TIFF* file) const { TiffLibrary::Get()->TIFFClose(file); }
};
using File = std::unique_ptr<TIFF, Closer>;

/// `largestBlock` bounds what one field or strip may allocate.
File Open(Stream& stream, const char* mode, std::uint64_t largestBlock) {
    const TiffLibrary& library = *TiffLibrary::Get();
    TIFFOpenOptions* options = library.TIFFOpenOptionsAlloc();
    if (!options) throw std::bad_alloc();
    library.TIFFOpenOptionsSetMaxSingleMemAlloc(
        options, static_cast<tmsize_t>(std::min<std::uint64_t>(largestBlock, INT64_MAX)));
    library.TIFFOpenOptionsSetErrorHandlerExtR(options, Stream::OnError, &stream);
    library.TIFFOpenOptionsSetWarningHandlerExtR(options, Stream::OnWarning, nullptr);
    File file(library.TIFFClientOpenExt("TIFF", mode, &stream, Stream::Read, Stream::Write, Stream::Seek, Stream::Close,
                                        Stream::Size, nullptr, nullptr, options));
    library.TIFFOpenOptionsFree(options);
    return file;
}

// Reading ------------------------------------------------------------------------------------------------------------

/// How the samples of a page make pixels.
struct Form {
    std::uint32_t width = 0, height = 0;
    int bits = 1, samples = 1, photometric = -1, orientation = 1;
    bool separate = false;
    int alpha = -1;  ///< sample, or -1
    bool premultiplied = false;
    const std::uint16_t* colors[3] = {};  ///< of a palette: red, green, blue
    bool wideColors = false;              ///< the palette uses all 16 bits
};

class Reader {
public:
    Reader(ByteReader& source, const TiffLibrary& library)
        : library_(library),
          stream_{.source = &source, .start = source.Position()},
          file_(Open(stream_, "rmO", std::max<std::uint64_t>(kLargestBand, source.Left()))) {}

    bool IsOpen() const { return file_ != nullptr; }
    bool OpenPage(const LoadOptions& options, LoadResult& result);
    CodecError ReadForm(Form& form);
    void TakeMetadata(LoadResult& result);
    /// Number of lines that could be read, whose samples go to `use(line, samples)`.
    template <class Use>
    std::uint32_t ReadLines(const Form& form, const Use& use);
    /// Pixels as the library itself converts them, for rare colour models: red, green, blue, alpha; from the top.
    bool ReadConverted(const Form& form, std::vector<std::uint32_t>& pixels);
    std::string Error() const { return stream_.error.empty() ? "the file is damaged" : stream_.error; }

private:
    template <class T>
    T Field(std::uint32_t tag, T otherwise) {
        T value = otherwise;
        return library_.TIFFGetFieldDefaulted(file_.get(), tag, &value) ? value : otherwise;
    }
    void FindAlpha(Form& form);
    std::uint32_t TooLarge(const char* what) {
        stream_.error = std::string("its ") + what + " are too large";
        return 0;
    }
    bool ReadBand(const Form& form, std::uint32_t top, std::uint32_t lines, std::vector<std::uint16_t>& band);

    const TiffLibrary& library_;
    Stream stream_;
    File file_;
    std::vector<std::uint8_t> block_;
};

bool IsConvertedHere(int photometric) {
    return photometric == PHOTOMETRIC_MINISWHITE || photometric == PHOTOMETRIC_MINISBLACK ||
           photometric == PHOTOMETRIC_RGB || photometric == PHOTOMETRIC_PALETTE || photometric == PHOTOMETRIC_SEPARATED;
}

int ColorSamples(const Form& form) {
    return form.photometric == PHOTOMETRIC_RGB ? 3 : form.photometric == PHOTOMETRIC_SEPARATED ? 4 : 1;
}

bool Reader::OpenPage(const LoadOptions& options, LoadResult& result) {
    if (options.page == 0 && !options.sizeOnly) return true;  // counting reads every directory of the file
    result.pages = std::max(static_cast<int>(library_.TIFFNumberOfDirectories(file_.get())), 1);
    if (!HasPage(options, result)) return false;
    if (options.page == 0 || library_.TIFFSetDirectory(file_.get(), static_cast<tdir_t>(options.page))) return true;
    result.error = {CodecFault::Broken, Error()};
    return false;
}

CodecError Reader::ReadForm(Form& form) {
    form.width = Field<std::uint32_t>(TIFFTAG_IMAGEWIDTH, 0);
    form.height = Field<std::uint32_t>(TIFFTAG_IMAGELENGTH, 0);
    form.bits = Field<std::uint16_t>(TIFFTAG_BITSPERSAMPLE, 1);
    form.samples = Field<std::uint16_t>(TIFFTAG_SAMPLESPERPIXEL, 1);
    form.photometric =
        Field<std::uint16_t>(TIFFTAG_PHOTOMETRIC, form.samples >= 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK);
    form.orientation = Field<std::uint16_t>(TIFFTAG_ORIENTATION, 1);
    if (form.orientation < 1 || form.orientation > 8) form.orientation = 1;
    form.separate = Field<std::uint16_t>(TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG) == PLANARCONFIG_SEPARATE;
    const auto compression = Field<std::uint16_t>(TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    const auto unsupported = [](const std::string& what) {
        return CodecError{CodecFault::NotSupported, "TIFF files " + what + " are not read"};
    };
    if (!library_.TIFFIsCODECConfigured(compression))
        return unsupported("with compression " + std::to_string(compression));
    if (form.photometric == PHOTOMETRIC_YCBCR && compression == COMPRESSION_JPEG) {
        library_.TIFFSetField(file_.get(), TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
        form.photometric = PHOTOMETRIC_RGB;
    }
    if (form.samples < 1 || form.samples > kMostSamples)
        return unsupported("of " + std::to_string(form.samples) + " samples");
    if (!IsConvertedHere(form.photometric)) return {};
    const auto kind = Field<std::uint16_t>(TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT);
    if (kind != SAMPLEFORMAT_UINT && kind != SAMPLEFORMAT_VOID)
        return unsupported("of samples that are no plain numbers");
    if (form.bits != 1 && form.bits != 2 && form.bits != 4 && form.bits != 8 && form.bits != 16)
        return unsupported("of " + std::to_string(form.bits) + " bits per sample");
    if (form.samples < ColorSamples(form)) return unsupported("that lack samples");
    if (form.photometric == PHOTOMETRIC_PALETTE) {
        std::uint16_t* colors[3] = {};
        if (!library_.TIFFGetField(file_.get(), TIFFTAG_COLORMAP, &colors[0], &colors[1], &colors[2]))
            return {CodecFault::Broken, "the palette is missing"};
        const std::size_t entries = std::size_t{1} << form.bits;
        for (int c = 0; c < 3; ++c) {
            form.colors[c] = colors[c];
            form.wideColors |= std::any_of(colors[c], colors[c] + entries, [](std::uint16_t v) { return v > 255; });
        }
    }
    FindAlpha(form);
    return {};
}

void Reader::FindAlpha(Form& form) {
    std::uint16_t count = 0;
    std::uint16_t* kinds = nullptr;
    if (!library_.TIFFGetFieldDefaulted(file_.get(), TIFFTAG_EXTRASAMPLES, &count, &kinds)) return;
    for (int i = 0; i < count && ColorSamples(form) + i < form.samples; ++i) {
        if (kinds[i] != EXTRASAMPLE_ASSOCALPHA && kinds[i] != EXTRASAMPLE_UNASSALPHA) continue;
        form.alpha = ColorSamples(form) + i;
        form.premultiplied = kinds[i] == EXTRASAMPLE_ASSOCALPHA;
        return;
    }
}

void Reader::TakeMetadata(LoadResult& result) {
    const auto block = [&](std::uint32_t tag) -> std::span<const std::uint8_t> {
        std::uint32_t size = 0;
        const std::uint8_t* bytes = nullptr;
        if (!library_.TIFFGetField(file_.get(), tag, &size, &bytes) || !bytes) return {};
        return {bytes, size};
    };
    ByteReader blocks = *stream_.source;
    if (blocks.Seek(stream_.start)) ReadTiffBlocks(blocks, library_.TIFFCurrentDirOffset(file_.get()), result.metadata);
    const auto xmp = block(TIFFTAG_XMLPACKET);
    result.metadata.xmp.assign(xmp.begin(), xmp.end());
    TakeProfile(block(TIFFTAG_ICCPROFILE), result);
    const auto x = Field<float>(TIFFTAG_XRESOLUTION, 0), y = Field<float>(TIFFTAG_YRESOLUTION, 0);
    if (!(x > 0 && y > 0)) return;
    const auto unit = Field<std::uint16_t>(TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
    result.metadata.density = {unit == RESUNIT_INCH         ? Density::Unit::PerInch
                               : unit == RESUNIT_CENTIMETER ? Density::Unit::PerCentimeter
                                                            : Density::Unit::AspectOnly,
                               double{x}, double{y}};
}

/// Samples of `bits` bits, highest first or of the machine's order, every `step`-th number of `to`.
void Unpack(const std::uint8_t* from, std::size_t count, int bits, std::size_t step, std::uint16_t* to) {
    if (bits == 8) {
        for (std::size_t i = 0; i < count; ++i) to[i * step] = from[i];
    } else if (bits == 16) {
        for (std::size_t i = 0; i < count; ++i) std::memcpy(to + i * step, from + 2 * i, 2);
    } else {
        const auto size = static_cast<std::size_t>(bits);
        for (std::size_t i = 0; i < count; ++i)
            to[i * step] =
                static_cast<std::uint16_t>(from[i * size / 8] >> (8 - size - i * size % 8) & ((1 << bits) - 1));
    }
}

/// Lines of all samples, from the tiles or strips that hold them.
bool Reader::ReadBand(const Form& form, std::uint32_t top, std::uint32_t lines, std::vector<std::uint16_t>& band) {
    const bool tiled = library_.TIFFIsTiled(file_.get());
    const std::size_t planes = form.separate ? static_cast<std::size_t>(form.samples) : 1;
    const std::size_t inPlane = form.separate ? 1 : static_cast<std::size_t>(form.samples);
    const auto across = tiled ? Field<std::uint32_t>(TIFFTAG_TILEWIDTH, 0) : form.width;
    const auto lineBytes = static_cast<std::size_t>(tiled ? library_.TIFFTileRowSize64(file_.get())
                                                          : library_.TIFFScanlineSize64(file_.get()));
    for (std::size_t plane = 0; plane < planes; ++plane)
        for (std::uint32_t left = 0; left < form.width; left += across) {
            std::memset(block_.data(), 0, block_.size());
            const auto size = static_cast<tmsize_t>(block_.size());
            const auto sample = static_cast<std::uint16_t>(plane);
            const tmsize_t got =
                tiled
                    ? library_.TIFFReadEncodedTile(
                          file_.get(), library_.TIFFComputeTile(file_.get(), left, top, 0, sample), block_.data(), size)
                    : library_.TIFFReadEncodedStrip(file_.get(), library_.TIFFComputeStrip(file_.get(), top, sample),
                                                    block_.data(), size);
            if (got < 0) return false;
            const std::size_t columns = std::min(across, form.width - left);
            for (std::size_t y = 0; y < lines; ++y) {
                std::uint16_t* to =
                    band.data() + (y * form.width + left) * static_cast<std::size_t>(form.samples) + plane;
                Unpack(block_.data() + y * lineBytes, columns * inPlane, form.bits, planes, to);
            }
        }
    return true;
}

template <class Use>
std::uint32_t Reader::ReadLines(const Form& form, const Use& use) {
    const bool tiled = library_.TIFFIsTiled(file_.get());
    const std::size_t lineSamples = std::size_t{form.width} * static_cast<std::size_t>(form.samples);
    if (lineSamples > kLargestLine) return TooLarge("lines");
    std::vector<std::uint16_t> band(lineSamples);
    if (!tiled && !form.separate) {
        block_.resize(library_.TIFFScanlineSize64(file_.get()));
        if (block_.size() * 8 < lineSamples * static_cast<std::size_t>(form.bits)) return 0;
        for (std::uint32_t y = 0; y < form.height; ++y) {
            if (library_.TIFFReadScanline(file_.get(), block_.data(), y, 0) < 0) return y;
            Unpack(block_.data(), lineSamples, form.bits, 1, band.data());
            use(y, band.data());
        }
        return form.height;
    }
    const auto asked =
        tiled ? Field<std::uint32_t>(TIFFTAG_TILELENGTH, 0) : Field<std::uint32_t>(TIFFTAG_ROWSPERSTRIP, form.height);
    const std::uint32_t down = tiled ? asked : std::min(asked, form.height);
    const auto across = tiled ? Field<std::uint32_t>(TIFFTAG_TILEWIDTH, 0) : form.width;
    const std::uint64_t bytes = tiled ? library_.TIFFTileSize64(file_.get()) : library_.TIFFStripSize64(file_.get());
    if (down == 0 || across == 0 || bytes == 0) return 0;
    if (bytes > kLargestBand || lineSamples > kLargestBand / down) return TooLarge("strips or tiles");
    // Rows of a tile as they are unpacked; a block that is smaller than its own rows is a lie.
    const std::uint64_t needed = (std::uint64_t{across} * (form.separate ? 1u : static_cast<unsigned>(form.samples)) *
                                      static_cast<unsigned>(form.bits) +
                                  7) /
                                 8 * down;
    if (bytes < needed) return 0;
    block_.resize(bytes);
    band.resize(lineSamples * down);
    for (std::uint32_t top = 0; top < form.height; top += std::min(down, form.height - top)) {
        const std::uint32_t lines = std::min(down, form.height - top);
        if (!ReadBand(form, top, lines, band)) return top;
        for (std::uint32_t y = 0; y < lines; ++y) use(top + y, band.data() + y * lineSamples);
    }
    return form.height;
}

bool Reader::ReadConverted(const Form& form, std::vector<std::uint32_t>& pixels) {
    char why[1024] = {};
    if (!library_.TIFFRGBAImageOK(file_.get(), why)) {
        stream_.error = why;
        return false;
    }
    pixels.resize(std::size_t{form.width} * form.height);
    // Stop at the first error: what could not be read would be black without a word.
    return library_.TIFFReadRGBAImageOriented(file_.get(), form.width, form.height, pixels.data(), form.orientation,
                                              1) != 0;
}

/// Samples of a line to blue, green, red and the mask.
class LineConverter {
public:
    explicit LineConverter(const Form& form) : form_(form), largest_((1u << form.bits) - 1) {}

    void operator()(const std::uint16_t* from, std::uint8_t* to, std::uint8_t* hidden) const {
        for (std::uint32_t x = 0; x < form_.width; ++x, from += form_.samples, to += 3) {
            std::uint32_t color[3];
            Color(from, color);
            const std::uint32_t alpha = form_.alpha < 0 ? largest_ : from[form_.alpha];
            for (int c = 0; c < 3; ++c) {
                const bool divide = form_.premultiplied && alpha > 0 && form_.photometric != PHOTOMETRIC_PALETTE;
                to[2 - c] = SampleByte(color[c], divide ? alpha : Scale());
            }
            if (hidden) hidden[x] = static_cast<std::uint8_t>(255 - SampleByte(alpha, largest_));
        }
    }

private:
    std::uint32_t Scale() const {
        return form_.photometric != PHOTOMETRIC_PALETTE ? largest_ : form_.wideColors ? 65535 : 255;
    }

    /// Red, green, blue between 0 and `Scale`.
    void Color(const std::uint16_t* from, std::uint32_t* color) const {
        for (int c = 0; c < 3; ++c) switch (form_.photometric) {
                case PHOTOMETRIC_RGB:
                    color[c] = from[c];
                    break;
                case PHOTOMETRIC_PALETTE:
                    color[c] = form_.colors[c][from[0]];
                    break;
                case PHOTOMETRIC_SEPARATED:  // what ink and black let through
                    color[c] = static_cast<std::uint32_t>(
                        (std::uint64_t{largest_ - from[c]} * (largest_ - from[3]) + largest_ / 2) / largest_);
                    break;
                case PHOTOMETRIC_MINISWHITE:
                    color[c] = largest_ - from[0];
                    break;
                default:
                    color[c] = from[0];
            }
    }

    const Form& form_;
    std::uint32_t largest_;
};

void Finish(std::uint32_t linesRead, const Form& form, const Reader& reader, LoadResult& result) {
    if (linesRead == form.height) return;
    const std::string text = reader.Error() + "; " + LinesText(linesRead, form.height);
    if (linesRead == 0) {
        result.error = {CodecFault::Broken, text};
        return;
    }
    result.condition = Condition::Damaged;
    result.warnings.push_back(text);
}

/// A page in a colour model that the library converts.
void LoadConverted(Reader& reader, const Form& form, std::uint64_t bytes, const LoadOptions& options,
                   LoadResult& result) {
    if (!MakePlanes(form.width, form.height, false, bytes, options, result)) return;
    std::vector<std::uint32_t> pixels;
    if (!reader.ReadConverted(form, pixels)) {
        result.error = {CodecFault::NotSupported, reader.Error()};
        return;
    }
    for (std::uint32_t y = 0; y < form.height; ++y) {
        std::uint8_t* to = DibRow(result.image.get(), static_cast<int>(y));
        const std::uint32_t* from = pixels.data() + std::size_t{y} * form.width;
        for (std::uint32_t x = 0; x < form.width; ++x, to += 3) {
            to[0] = static_cast<std::uint8_t>(TIFFGetB(from[x]));
            to[1] = static_cast<std::uint8_t>(TIFFGetG(from[x]));
            to[2] = static_cast<std::uint8_t>(TIFFGetR(from[x]));
        }
    }
}

}  // namespace

void LoadTiff(ByteReader& source, const LoadOptions& options, LoadResult& result) {
    const TiffLibrary* library = TiffLibrary::Get();
    if (!library) {
        result.error = Missing();
        return;
    }
    const std::uint64_t bytes = source.Left();
    Reader reader(source, *library);
    Form form;
    if (!reader.IsOpen()) result.error = {CodecFault::Broken, reader.Error()};
    if (result.error || !reader.OpenPage(options, result)) return;
    result.error = reader.ReadForm(form);
    if (result.error) return;
    reader.TakeMetadata(result);
    result.orientation = form.orientation;
    if (!IsConvertedHere(form.photometric)) {
        form.orientation = ORIENTATION_BOTLEFT;
        return LoadConverted(reader, form, bytes, options, result);
    }
    const bool swaps = SwapsSides(form.orientation);
    if (!MakePlanes(swaps ? form.height : form.width, swaps ? form.width : form.height, form.alpha >= 0, bytes, options,
                    result))
        return;
    if (result.mask) HideAll(result.mask.get());
    ScanlineOrienter image(result.image.get(), form.orientation);
    std::unique_ptr<ScanlineOrienter> mask;
    if (result.mask) mask = std::make_unique<ScanlineOrienter>(result.mask.get(), form.orientation);
    const LineConverter convert(form);
    const std::uint32_t lines = reader.ReadLines(form, [&](std::uint32_t line, const std::uint16_t* samples) {
        const int y = static_cast<int>(line);
        convert(samples, image.Line(y), mask ? mask->Line(y) : nullptr);
        image.Done(y);
        if (mask) mask->Done(y);
    });
    image.Finish(static_cast<int>(lines));
    if (mask) mask->Finish(static_cast<int>(lines));
    Finish(lines, form, reader, result);
}

CodecError SaveTiff(ByteWriter& target, const Dib* image, const Dib* mask, const SaveOptions& options) {
    const TiffLibrary* library = TiffLibrary::Get();
    if (!library) return Missing();
    const int samples = mask ? 4 : 3;
    const auto width = static_cast<std::size_t>(image->biWidth);
    const std::uint64_t raw =
        std::uint64_t{width} * static_cast<unsigned>(image->biHeight) * static_cast<unsigned>(samples);
    Stream stream;
    {
        const std::string order = options.metadata && IsBigEndianExif(options.metadata->exif) ? "wb" : "wl";
        const File file = Open(stream, (raw > kClassicLimit / 2 ? order + "8" : order).c_str(), UINT64_MAX);
        const auto fail = [&] {
            return CodecError{CodecFault::CannotHold,
                              stream.error.empty() ? "the picture cannot be written" : stream.error};
        };
        if (!file) return fail();
        const auto set = [&](std::uint32_t tag, auto... value) {
            return library->TIFFSetField(file.get(), tag, value...) != 0;
        };
        bool good = set(TIFFTAG_IMAGEWIDTH, image->biWidth) && set(TIFFTAG_IMAGELENGTH, image->biHeight) &&
                    set(TIFFTAG_BITSPERSAMPLE, 8) && set(TIFFTAG_SAMPLESPERPIXEL, samples) &&
                    set(TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB) && set(TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG) &&
                    set(TIFFTAG_COMPRESSION, COMPRESSION_LZW) && set(TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL) &&
                    set(TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
        std::uint16_t kind = EXTRASAMPLE_UNASSALPHA;
        if (mask) good = good && set(TIFFTAG_EXTRASAMPLES, 1, &kind);
        if (const ImageMetadata* metadata = options.metadata) {
            const auto block = [&](std::uint32_t tag, const std::vector<std::uint8_t>& data) {
                if (!data.empty()) good = good && set(tag, static_cast<std::uint32_t>(data.size()), data.data());
            };
            block(TIFFTAG_ICCPROFILE, metadata->profile);
            block(TIFFTAG_XMLPACKET, metadata->xmp);
            const Density& density = metadata->density;
            const bool meters = density.unit == Density::Unit::PerMeter;
            const int unit = density.unit == Density::Unit::PerInch || meters ? RESUNIT_INCH
                             : density.unit == Density::Unit::PerCentimeter   ? RESUNIT_CENTIMETER
                                                                              : RESUNIT_NONE;
            if (density.unit != Density::Unit::None)
                good = good && set(TIFFTAG_RESOLUTIONUNIT, unit) &&
                       set(TIFFTAG_XRESOLUTION, density.x * (meters ? 0.0254 : 1)) &&
                       set(TIFFTAG_YRESOLUTION, density.y * (meters ? 0.0254 : 1));
        }
        good = good && set(TIFFTAG_ROWSPERSTRIP, library->TIFFDefaultStripSize(file.get(), 0));
        std::vector<std::uint8_t> line(width * static_cast<std::size_t>(samples));
        for (int y = 0; y < image->biHeight && good; ++y) {
            const int row = image->biHeight - 1 - y;
            const std::uint8_t* from = DibRow(image, row);
            const std::uint8_t* hidden = mask ? DibRow(mask, row) : nullptr;
            std::uint8_t* to = line.data();
            for (std::size_t x = 0; x < width; ++x, from += 3, to += samples) {
                to[0] = from[2], to[1] = from[1], to[2] = from[0];
                if (hidden) to[3] = static_cast<std::uint8_t>(255 - hidden[x]);
            }
            good = library->TIFFWriteScanline(file.get(), line.data(), static_cast<std::uint32_t>(y), 0) > 0;
        }
        if (!good || !library->TIFFFlush(file.get())) return fail();
    }
    if (!stream.error.empty()) return {CodecFault::CannotHold, stream.error};
    std::vector<std::uint8_t>& bytes = stream.target.bytes;
    if (options.metadata) AddTiffBlocks(bytes, *options.metadata);
    return target.Write(bytes.data(), bytes.size()) ? CodecError() : WriteError();
}

}  // namespace kestrel
