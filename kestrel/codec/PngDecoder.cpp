// PNG files read by libpng. Its errors come back by longjmp: every function with a `setjmp` below calls C functions
// only and keeps what it changes in members, so that nothing with a destructor is jumped over.
#include <png.h>

#include <algorithm>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <memory>
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

class Reader final : public LineDecoder {
public:
    Reader(ByteReader& from, PngExtras extras) : chunks_(from), extras_(std::move(extras)) {
        png_ = png_create_read_struct(PNG_LIBPNG_VER_STRING, &messages_, Messages::OnError, Messages::OnWarning);
        info_ = png_ ? png_create_info_struct(png_) : nullptr;
    }
    ~Reader() override { png_destroy_read_struct(&png_, &info_, nullptr); }

    bool IsMade() const { return info_ != nullptr; }
    bool ReadHeader();
    /// Asks for blue, green, red and, where the file has it, alpha, eight bits each.
    bool SetForm();
    bool Read(std::uint8_t* pixels, std::uint8_t* mask) override;
    void Finish(LoadResult& result) override;
    int Width() const override { return static_cast<int>(FullWidth()); }
    int Height() const override { return static_cast<int>(FullHeight()); }
    bool HasAlpha() const override { return alpha_; }
    /// Lines of an interlaced file, in several passes over an upright picture.
    void ReadPasses(Dib* image, Dib* mask);
    bool IsInterlaced() const { return passes_ > 1; }
    std::int64_t FullWidth() const { return png_get_image_width(png_, info_); }  // may be more than an `int` holds
    std::int64_t FullHeight() const { return png_get_image_height(png_, info_); }
    void MakeLine() { line_.resize(4 * static_cast<std::size_t>(Width())); }
    const Messages& Said() const { return messages_; }

private:
    bool ReadRow(std::uint8_t* row);
    bool PixelsAreRead();
    /// The last checksum of the pixels and the end of the file.
    bool ReadEnd();

    Messages messages_;
    PngChunks chunks_;
    const PngExtras extras_;
    png_structp png_ = nullptr;
    png_infop info_ = nullptr;
    bool alpha_ = false;
    int passes_ = 1;
    int linesRead_ = 0;  // of all passes
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

bool Reader::Read(std::uint8_t* pixels, std::uint8_t* mask) {
    if (!ReadRow(alpha_ ? line_.data() : pixels)) return false;
    ++linesRead_;
    if (alpha_) Split(line_.data(), line_.size() / 4, pixels, mask);
    return true;
}

bool Reader::ReadRow(std::uint8_t* row) {
    if (setjmp(png_jmpbuf(png_))) return PixelsAreRead();
    png_read_row(png_, row, nullptr);
    return true;
}

void Reader::ReadPasses(Dib* image, Dib* mask) {
    const int lines = passes_ * image->biHeight;
    if (setjmp(png_jmpbuf(png_))) {
        if (!PixelsAreRead()) return;
        if (alpha_) Split(line_.data(), line_.size() / 4, DibRow(image, 0), DibRow(mask, 0));
        linesRead_ = lines;
        return;
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

void Reader::Finish(LoadResult& result) {
    if (linesRead_ == 0) {
        result.error = {CodecFault::Broken, messages_.fatal};
        return;
    }
    if (linesRead_ < passes_ * Height()) {
        result.condition = Condition::Damaged;
        result.warnings.push_back(std::string(messages_.fatal) + "; " +
                                  (IsInterlaced() ? "not all passes could be read" : LinesText(linesRead_, Height())));
    } else if (!ReadEnd()) {
        // A wrong checksum says that some pixel is wrong; a file that ends after its pixels has them all.
        if (!chunks_.Ended()) result.condition = Condition::Damaged;
        result.warnings.push_back(std::string("after the last line: ") + messages_.fatal);
    }
    if (messages_.warning[0]) result.warnings.emplace_back(messages_.warning);
    result.warnings.insert(result.warnings.end(), extras_.notes.begin(), extras_.notes.end());
}

/// Interlaced files are read upright and brought into their orientation afterwards.
void ReadInterlaced(Reader& reader, int orientation, LoadResult& result) {
    reader.ReadPasses(result.image.get(), result.mask.get());
    const bool alpha = result.mask != nullptr;
    result.image = Oriented(std::move(result.image), orientation);
    result.mask = Oriented(std::move(result.mask), orientation);
    if (!result.image || (alpha && !result.mask)) throw std::bad_alloc();
}

std::unique_ptr<Reader> Open(ByteReader& source, const LoadOptions& options, LoadResult& result) {
    PngExtras extras = ReadPngExtras(source);
    result.orientation = extras.orientation;
    result.metadata = extras.metadata;
    const std::uint64_t bytes = source.Left();
    auto reader = std::make_unique<Reader>(source, std::move(extras));
    if (!reader->IsMade()) throw std::bad_alloc();
    // The size is checked before any line is made.
    if (!reader->ReadHeader() ||
        (SizeIsAllowed(reader->FullWidth(), reader->FullHeight(), bytes, options, result) && !reader->SetForm()))
        result.error = {CodecFault::Broken, reader->Said().fatal};
    if (result.error) return nullptr;
    const bool swaps = SwapsSides(result.orientation);
    result.fullWidth = swaps ? reader->Height() : reader->Width();
    result.fullHeight = swaps ? reader->Width() : reader->Height();
    if (reader->HasAlpha()) reader->MakeLine();
    return reader;
}

}  // namespace

std::unique_ptr<LineDecoder> OpenPng(ByteReader& source, const LoadOptions& options, LoadResult& result) {
    auto reader = Open(source, options, result);
    if (reader && reader->IsInterlaced()) return nullptr;
    return reader;
}

void LoadPng(ByteReader& source, const LoadOptions& options, LoadResult& result) {
    const std::uint64_t bytes = source.Left();
    const auto reader = Open(source, options, result);
    if (!reader) return;
    if (!reader->IsInterlaced()) return LoadLines(*reader, bytes, options, result);
    if (!MakePlanes(reader->Width(), reader->Height(), reader->HasAlpha(), bytes, options, result)) return;
    if (result.mask) HideAll(result.mask.get());  // pixels that cannot be read stay hidden
    ReadInterlaced(*reader, result.orientation, result);
    reader->Finish(result);
}

}  // namespace kestrel
