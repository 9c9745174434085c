// PNG by libpng. Its errors come back by longjmp: every function with a `setjmp` below calls C functions only and keeps
// what it changes in members, so that nothing with a destructor is jumped over.
#include <png.h>

#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "kestrel/codec/Codecs.h"
#include "kestrel/codec/ExifOrientation.h"
#include "kestrel/codec/LinePlacer.h"

namespace kestrel {
namespace {

/// What the library said.
struct Messages {
    char fatal[256] = {};
    char warning[256] = {};  // the first one
    int warnings = 0;

    static void OnError(png_structp png, png_const_charp text) {
        auto* messages = static_cast<Messages*>(png_get_error_ptr(png));
        std::snprintf(messages->fatal, sizeof messages->fatal, "%s", text);
        png_longjmp(png, 1);
    }
    static void OnWarning(png_structp png, png_const_charp text) {
        auto* messages = static_cast<Messages*>(png_get_error_ptr(png));
        if (messages->warnings++ == 0) std::snprintf(messages->warning, sizeof messages->warning, "%s", text);
    }
};

// Reading ------------------------------------------------------------------------------------------------------------

class Reader {
public:
    explicit Reader(ByteReader& from) : source_(from) {
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
    bool ReadLines(LinePlacer& image, LinePlacer* mask);
    /// Lines of an interlaced file, in several passes over an upright picture.
    bool ReadPasses(Dib* image, Dib* mask);
    /// What stands behind the pixels.
    bool ReadEnd();

    int Orientation();
    bool HasAlpha() const { return alpha_; }
    bool IsInterlaced() const { return passes_ > 1; }
    std::int64_t Width() const { return png_get_image_width(png_, info_); }
    std::int64_t Height() const { return png_get_image_height(png_, info_); }
    void MakeLine() { line_.resize(4 * static_cast<std::size_t>(Width())); }
    const Messages& Said() const { return messages_; }

private:
    Messages messages_;
    ByteReader& source_;
    png_structp png_ = nullptr;
    png_infop info_ = nullptr;
    bool alpha_ = false;
    int passes_ = 1;
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
    png_set_read_fn(png_, &source_, [](png_structp png, png_bytep to, std::size_t count) {
        if (static_cast<ByteReader*>(png_get_io_ptr(png))->Read(to, count) != count)
            png_error(png, "the file is truncated");
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

bool Reader::ReadLines(LinePlacer& image, LinePlacer* mask) {
    if (setjmp(png_jmpbuf(png_))) return false;
    const int height = static_cast<int>(Height());
    for (int y = 0; y < height; ++y) {
        png_read_row(png_, alpha_ ? line_.data() : image.Line(y), nullptr);
        if (alpha_) {
            Split(line_.data(), line_.size() / 4, image.Line(y), mask->Line(y));
            mask->Done(y);
        }
        image.Done(y);
    }
    return true;
}

bool Reader::ReadPasses(Dib* image, Dib* mask) {
    if (setjmp(png_jmpbuf(png_))) return false;
    // Each pass adds its pixels to those that the line has already.
    for (int pass = 0; pass < passes_; ++pass)
        for (int row = image->biHeight - 1; row >= 0; --row) {
            if (alpha_) {
                Join(DibRow(image, row), DibRow(mask, row), line_.size() / 4, line_.data());
                png_read_row(png_, line_.data(), nullptr);
                Split(line_.data(), line_.size() / 4, DibRow(image, row), DibRow(mask, row));
            } else {
                png_read_row(png_, DibRow(image, row), nullptr);
            }
        }
    return true;
}

bool Reader::ReadEnd() {
    if (setjmp(png_jmpbuf(png_))) return false;
    png_read_end(png_, info_);
    return true;
}

int Reader::Orientation() {
    png_uint_32 size = 0;
    png_bytep exif = nullptr;
    if (png_get_eXIf_1(png_, info_, &size, &exif) == 0 || !exif) return 1;
    return ExifOrientation({exif, size});
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
    bool Write(const Dib* image, const Dib* mask, int compression);
    void MakeLine(const Dib* image) { line_.resize(4 * static_cast<std::size_t>(image->biWidth)); }
    const Messages& Said() const { return messages_; }

private:
    Messages messages_;
    ByteWriter& target_;
    png_structp png_ = nullptr;
    png_infop info_ = nullptr;
    std::vector<std::uint8_t> line_;
};

bool Writer::Write(const Dib* image, const Dib* mask, int compression) {
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
    png_set_bgr(png_);
    for (int row = image->biHeight - 1; row >= 0; --row) {
        if (mask) Join(DibRow(image, row), DibRow(mask, row), line_.size() / 4, line_.data());
        png_write_row(png_, mask ? line_.data() : DibRow(image, row));
    }
    png_write_end(png_, nullptr);
    return true;
}

/// Brings both planes into the orientation; false without memory.
bool Orient(LoadResult& result, int orientation) {
    const bool alpha = result.mask != nullptr;
    result.image = Oriented(std::move(result.image), orientation);
    result.mask = Oriented(std::move(result.mask), orientation);
    if (result.image && (result.mask || !alpha)) return true;
    result.error = "not enough memory";
    return false;
}

}  // namespace

void LoadPng(ByteReader& source, const LoadOptions& options, LoadResult& result) {
    Reader reader(source);
    if (!reader.IsMade()) throw std::bad_alloc();
    if (!reader.ReadHeader()) {
        result.error = reader.Said().fatal;
        return;
    }
    if (static_cast<std::uint64_t>(reader.Width() * reader.Height()) > options.pixelLimit) {
        MakePlanes(reader.Width(), reader.Height(), false, options, result);  // names the limit before any line is made
        return;
    }
    if (!reader.SetForm()) {
        result.error = reader.Said().fatal;
        return;
    }
    const int orientation = reader.Orientation();
    const bool placed = !reader.IsInterlaced();  // lines that come once are laid where they belong at once
    const bool swaps = placed && SwapsSides(orientation);
    const std::int64_t width = swaps ? reader.Height() : reader.Width();
    const std::int64_t height = swaps ? reader.Width() : reader.Height();
    if (!MakePlanes(width, height, reader.HasAlpha(), options, result)) return;
    if (reader.HasAlpha()) reader.MakeLine();

    bool whole;
    if (placed) {
        LinePlacer image(result.image.get(), orientation);
        if (result.mask) {
            LinePlacer mask(result.mask.get(), orientation);
            whole = reader.ReadLines(image, &mask);
        } else {
            whole = reader.ReadLines(image, nullptr);
        }
    } else {
        whole = reader.ReadPasses(result.image.get(), result.mask.get());
    }
    if (!whole) {
        result.error = reader.Said().fatal;
        return;
    }
    if (!reader.ReadEnd()) result.warnings.push_back(std::string("behind the pixels: ") + reader.Said().fatal);
    // EXIF data may also stand behind the pixels, which then lie upright as the file has them.
    const int last = reader.Orientation();
    if (!placed || last != orientation)
        if (!Orient(result, placed && orientation != 1 ? 1 : last)) return;
    if (reader.Said().warnings > 0) {
        std::string line = reader.Said().warning;
        if (reader.Said().warnings > 1) line += ", and " + std::to_string(reader.Said().warnings - 1) + " more";
        result.warnings.push_back(line);
    }
}

std::string SavePng(ByteWriter& target, const Dib* image, const Dib* mask, int compression) {
    Writer writer(target);
    if (!writer.IsMade()) throw std::bad_alloc();
    if (mask) writer.MakeLine(image);
    if (writer.Write(image, mask, compression)) return {};
    if (!target.Write(nullptr, 0)) return "cannot write: " + SystemError();
    return writer.Said().fatal;
}

}  // namespace kestrel
