// PNG by libpng. Its errors come back by longjmp: every function with a `setjmp` below calls C functions only and keeps
// what it changes in members, so that nothing with a destructor is jumped over.
#include <png.h>

#include <algorithm>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "kestrel/codec/Codecs.h"
#include "kestrel/codec/PngChunks.h"
#include "kestrel/codec/ScanlineOrienter.h"

namespace kestrel {
namespace {

/// What the library said before it gave up.
struct Messages {
    char fatal[256] = {};
    char warning[256] = {};  // the first one

    static void OnError(png_structp png, png_const_charp text) {
        auto* messages = static_cast<Messages*>(png_get_error_ptr(png));
        std::snprintf(messages->fatal, sizeof messages->fatal, "%s", text);
        png_longjmp(png, 1);
    }
    static void OnWarning(png_structp png, png_const_charp text) {
        auto* messages = static_cast<Messages*>(png_get_error_ptr(png));
        if (!messages->warning[0]) std::snprintf(messages->warning, sizeof messages->warning, "%s", text);
    }
};

// Reading ------------------------------------------------------------------------------------------------------------

class Reader {
public:
    explicit Reader(ByteReader& from) : chunks_(from) {
        png_ = png_create_read_struct(PNG_LIBPNG_VER_STRING, &messages_, Messages::OnError, Messages::OnWarning);
        info_ = png_ ? png_create_info_struct(png_) : nullptr;
    }
    ~Reader() { png_destroy_read_struct(&png_, &info_, nullptr); }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    bool IsMade() const { return info_ != nullptr; }
    bool ReadHeader();
    /// Asks for blue, green, red and, where the file has it, alpha, eight bits each.
    bool SetForm();
    /// False when the data cannot be followed any further; `LinesRead` returns how far they went.
    bool ReadLines(ScanlineOrienter& image, ScanlineOrienter* mask);
    /// Lines of an interlaced file, in several passes over an upright picture.
    bool ReadPasses(Dib* image, Dib* mask);
    /// The last checksum of the pixels and the end of the file.
    bool ReadEnd();

    bool HasAlpha() const { return alpha_; }
    bool IsInterlaced() const { return passes_ > 1; }
    std::int64_t Width() const { return png_get_image_width(png_, info_); }
    std::int64_t Height() const { return png_get_image_height(png_, info_); }
    void MakeLine() { line_.resize(4 * static_cast<std::size_t>(Width())); }
    int LinesRead() const { return linesRead_; }  // of all passes
    bool FileEnded() const { return chunks_.Ended(); }
    const Messages& Said() const { return messages_; }

private:
    void TakeLine(ScanlineOrienter& image, ScanlineOrienter* mask);
    bool PixelsAreRead();

    Messages messages_;
    PngChunks chunks_;
    png_structp png_ = nullptr;
    png_infop info_ = nullptr;
    bool alpha_ = false;
    int passes_ = 1;
    int linesRead_ = 0;
    bool endFailed_ = false;
    std::vector<std::uint8_t> line_;  // blue, green, red, alpha
};

void Split(const std::uint8_t* from, std::size_t pixels, std::uint8_t* color, std::uint8_t* hidden) {
    for (std::size_t x = 0; x < pixels; ++x, from += 4, color += 3) {
        color[0] = from[0];
        color[1] = from[1];
        color[2] = from[2];
        hidden[x] = static_cast<std::uint8_t>(255 - from[3]);
    }
}

void Join(const std::uint8_t* color, const std::uint8_t* hidden, std::size_t pixels, std::uint8_t* to) {
    for (std::size_t x = 0; x < pixels; ++x, to += 4, color += 3) {
        to[0] = color[0];
        to[1] = color[1];
        to[2] = color[2];
        to[3] = static_cast<std::uint8_t>(255 - hidden[x]);
    }
}

bool Reader::ReadHeader() {
    if (setjmp(png_jmpbuf(png_))) return false;
    png_set_read_fn(png_, &chunks_, [](png_structp png, png_bytep to, std::size_t count) {
        if (static_cast<PngChunks*>(png_get_io_ptr(png))->Read(to, count) != count)
            png_error(png, "the file ends early");
    });
    png_set_user_limits(png_, PNG_UINT_31_MAX, PNG_UINT_31_MAX);  // the limit is one of pixels and checked later
    png_read_info(png_, info_);
    return true;
}

bool Reader::SetForm() {
    if (setjmp(png_jmpbuf(png_))) return false;
    png_set_scale_16(png_);
    png_set_expand(png_);  // palettes, grey below 8 bits, single transparent colours
    if (!(png_get_color_type(png_, info_) & PNG_COLOR_MASK_COLOR)) png_set_gray_to_rgb(png_);
    png_set_bgr(png_);
    passes_ = png_set_interlace_handling(png_);
    png_read_update_info(png_, info_);
    const int channels = png_get_channels(png_, info_);
    alpha_ = channels == 4;
    const std::size_t rowBytes = static_cast<std::size_t>(channels) * static_cast<std::size_t>(Width());
    if (channels < 3 || png_get_bit_depth(png_, info_) != 8 || png_get_rowbytes(png_, info_) != rowBytes)
        png_error(png_, "pixels of an unknown form");
    return true;
}

bool Reader::ReadLines(ScanlineOrienter& image, ScanlineOrienter* mask) {
    const int height = static_cast<int>(Height());
    if (setjmp(png_jmpbuf(png_))) {
        if (!PixelsAreRead()) return false;
        TakeLine(image, mask);
        return true;
    }
    while (linesRead_ < height) {
        png_read_row(png_, alpha_ ? line_.data() : image.Line(linesRead_), nullptr);
        TakeLine(image, mask);
    }
    return true;
}

void Reader::TakeLine(ScanlineOrienter& image, ScanlineOrienter* mask) {
    const int y = linesRead_++;
    if (alpha_) {
        Split(line_.data(), line_.size() / 4, image.Line(y), mask->Line(y));
        mask->Done(y);
    }
    image.Done(y);
}

bool Reader::ReadPasses(Dib* image, Dib* mask) {
    const int lines = passes_ * image->biHeight;
    if (setjmp(png_jmpbuf(png_))) {
        if (!PixelsAreRead()) return false;
        if (alpha_) Split(line_.data(), line_.size() / 4, DibRow(image, 0), DibRow(mask, 0));
        linesRead_ = lines;
        return true;
    }
    // Each pass adds its pixels to those that the line has already, and fills the gaps that later ones leave.
    for (; linesRead_ < lines; ++linesRead_) {
        const int row = image->biHeight - 1 - linesRead_ % image->biHeight;
        if (alpha_) {
            Join(DibRow(image, row), DibRow(mask, row), line_.size() / 4, line_.data());
            png_read_row(png_, nullptr, line_.data());
            Split(line_.data(), line_.size() / 4, DibRow(image, row), DibRow(mask, row));
        } else {
            png_read_row(png_, nullptr, DibRow(image, row));
        }
    }
    return true;
}

/// After an error: whether it was met after the last pixel, which the library looks for with the last line.
bool Reader::PixelsAreRead() {
    endFailed_ = IsInterlaced() ? png_get_current_pass_number(png_) >= PNG_INTERLACE_ADAM7_PASSES
                                : png_get_current_row_number(png_) >= png_get_image_height(png_, info_);
    return endFailed_;
}

bool Reader::ReadEnd() {
    if (endFailed_) return false;
    if (setjmp(png_jmpbuf(png_))) return false;
    png_read_end(png_, info_);
    return true;
}

// Writing ------------------------------------------------------------------------------------------------------------

class Writer {
public:
    explicit Writer(ByteWriter& to) : target_(to) {
        png_ = png_create_write_struct(PNG_LIBPNG_VER_STRING, &messages_, Messages::OnError, Messages::OnWarning);
        info_ = png_ ? png_create_info_struct(png_) : nullptr;
    }
    ~Writer() { png_destroy_write_struct(&png_, &info_); }
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    bool IsMade() const { return info_ != nullptr; }
    bool Write(const Dib* image, const Dib* mask, int compression, const std::vector<PngChunk>& extras);
    void MakeLine(const Dib* image) { line_.resize(4 * static_cast<std::size_t>(image->biWidth)); }
    const Messages& Said() const { return messages_; }

private:
    Messages messages_;
    ByteWriter& target_;
    png_structp png_ = nullptr;
    png_infop info_ = nullptr;
    std::vector<std::uint8_t> line_;
};

bool Writer::Write(const Dib* image, const Dib* mask, int compression, const std::vector<PngChunk>& extras) {
    if (setjmp(png_jmpbuf(png_))) return false;
    png_set_write_fn(
        png_, &target_,
        [](png_structp png, png_bytep from, std::size_t count) {
            if (!static_cast<ByteWriter*>(png_get_io_ptr(png))->Write(from, count)) png_error(png, "cannot write");
        },
        [](png_structp) {});
    png_set_user_limits(png_, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
    png_set_compression_level(png_, compression);
    png_set_IHDR(png_, info_, static_cast<png_uint_32>(image->biWidth), static_cast<png_uint_32>(image->biHeight), 8,
                 mask ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png_, info_);
    for (const PngChunk& chunk : extras)
        png_write_chunk(png_, reinterpret_cast<png_const_bytep>(chunk.name), chunk.body.data(), chunk.body.size());
    png_set_bgr(png_);
    for (int row = image->biHeight - 1; row >= 0; --row) {
        if (mask) Join(DibRow(image, row), DibRow(mask, row), line_.size() / 4, line_.data());
        png_write_row(png_, mask ? line_.data() : DibRow(image, row));
    }
    png_write_end(png_, nullptr);
    return true;
}

/// The lines of a file that is not interlaced are laid where they belong at once.
bool ReadPlain(Reader& reader, int orientation, LoadResult& result) {
    ScanlineOrienter image(result.image.get(), orientation);
    if (!result.mask) {
        const bool whole = reader.ReadLines(image, nullptr);
        image.Finish(reader.LinesRead());
        return whole;
    }
    ScanlineOrienter mask(result.mask.get(), orientation);
    const bool whole = reader.ReadLines(image, &mask);
    image.Finish(reader.LinesRead());
    mask.Finish(reader.LinesRead());
    return whole;
}

/// Interlaced files are read upright and brought into their orientation afterwards.
bool ReadInterlaced(Reader& reader, int orientation, LoadResult& result) {
    const bool whole = reader.ReadPasses(result.image.get(), result.mask.get());
    const bool alpha = result.mask != nullptr;
    result.image = Oriented(std::move(result.image), orientation);
    result.mask = Oriented(std::move(result.mask), orientation);
    if (!result.image || (alpha && !result.mask)) throw std::bad_alloc();
    return whole;
}

}  // namespace

void LoadPng(ByteReader& source, const LoadOptions& options, LoadResult& result) {
    const PngExtras extras = ReadPngExtras(source);
    result.orientation = extras.orientation;
    const std::uint64_t bytes = source.Left();
    Reader reader(source);
    if (!reader.IsMade()) throw std::bad_alloc();
    if (!reader.ReadHeader()) {
        result.error = {CodecFault::Broken, reader.Said().fatal};
        return;
    }
    if (!SizeIsAllowed(reader.Width(), reader.Height(), bytes, options, result)) return;  // before any line is made
    if (!reader.SetForm()) {
        result.error = {CodecFault::Broken, reader.Said().fatal};
        return;
    }
    const bool swaps = !reader.IsInterlaced() && SwapsSides(extras.orientation);
    const std::int64_t width = swaps ? reader.Height() : reader.Width();
    const std::int64_t height = swaps ? reader.Width() : reader.Height();
    if (!MakePlanes(width, height, reader.HasAlpha(), bytes, options, result)) return;
    if (reader.HasAlpha()) {
        reader.MakeLine();
        HideAll(result.mask.get());  // pixels that cannot be read stay hidden
    }
    const bool whole = reader.IsInterlaced() ? ReadInterlaced(reader, extras.orientation, result)
                                             : ReadPlain(reader, extras.orientation, result);
    if (reader.LinesRead() == 0) {
        result.error = {CodecFault::Broken, reader.Said().fatal};
        return;
    }
    if (!whole) {
        result.condition = Condition::Damaged;
        result.warnings.push_back(
            std::string(reader.Said().fatal) + "; " +
            (reader.IsInterlaced() ? "not all passes could be read" : LinesText(reader.LinesRead(), reader.Height())));
    } else if (!reader.ReadEnd()) {
        // A wrong checksum says that some pixel is wrong; a file that ends after its pixels has them all.
        if (!reader.FileEnded()) result.condition = Condition::Damaged;
        result.warnings.push_back(std::string("after the last line: ") + reader.Said().fatal);
    }
    if (reader.Said().warning[0]) result.warnings.emplace_back(reader.Said().warning);
    result.metadata = extras.metadata;
    result.warnings.insert(result.warnings.end(), extras.notes.begin(), extras.notes.end());
}

CodecError SavePng(ByteWriter& target, const Dib* image, const Dib* mask, const SaveOptions& options) {
    Writer writer(target);
    if (!writer.IsMade()) throw std::bad_alloc();
    if (mask) writer.MakeLine(image);
    std::vector<PngChunk> extras;
    if (options.metadata) extras = MakePngChunks(*options.metadata);
    if (writer.Write(image, mask, std::clamp(options.pngCompression, 0, 9), extras)) return {};
    if (!target.Write(nullptr, 0)) return WriteError();
    return {CodecFault::CannotHold, writer.Said().fatal};
}

}  // namespace kestrel
