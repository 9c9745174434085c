// TIFF files read line by line, from strips or from rows of tiles, by libtiff. Samples of any depth are unpacked to
// 16-bit numbers and become bytes in one step, with rounding.
#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kestrel/codec/Codecs.h"
#include "kestrel/codec/ScanlineOrienter.h"
#include "kestrel/codec/TiffPage.h"

namespace kestrel {
namespace {

constexpr std::uint64_t kLargestLine = 64 << 20;   // samples
constexpr std::uint64_t kLargestBand = 256 << 20;  // samples of one row of tiles or strips

/// The lines of a page, in one of the ways in which files hold them.
class TiffLines {
public:
    explicit TiffLines(TiffPage& page) : page_(page), form_(page.Form()), library_(page.Library()) {}
    virtual ~TiffLines() = default;
    TiffLines(const TiffLines&) = delete;
    TiffLines& operator=(const TiffLines&) = delete;

    /// Bytes that are kept while lines are read.
    virtual std::uint64_t Memory() const = 0;
    /// Comes before the first line. False, with the error set in the page or none, when there is no use in reading.
    virtual bool Start() = 0;
    /// Lines from 0 on, each once, as 24-bit pixels and their mask.
    virtual bool Read(std::uint32_t line, std::uint8_t* pixels, std::uint8_t* mask) = 0;

protected:
    std::size_t LineSamples() const { return std::size_t{form_.width} * static_cast<std::size_t>(form_.samples); }
    /// Bytes at most of a block as it lies in the file, which the library reads at once.
    std::uint64_t PackedBytes(std::uint64_t lines) const {
        return std::min(lines * LineSamples() * static_cast<std::size_t>(form_.bits) / 8, page_.FileBytes());
    }
    /// Lines of a strip.
    std::uint32_t StripHeight() const {
        return std::min(page_.Field<std::uint32_t>(TIFFTAG_ROWSPERSTRIP, form_.height), form_.height);
    }
    bool Refuse(const char* what) {
        page_.SetError(std::string("its ") + what + " are too large");
        return false;
    }

    TiffPage& page_;
    const TiffForm& form_;
    const TiffLibrary& library_;
};

/// From strips with all samples of a pixel side by side, which the library unpacks line by line.
class TiffScanlines final : public TiffLines {
public:
    explicit TiffScanlines(TiffPage& page) : TiffLines(page) {}

    std::uint64_t Memory() const override { return PackedBytes(StripHeight()); }

    bool Start() override {
        if (LineSamples() > kLargestLine) return Refuse("lines");
        line_.resize(library_.TIFFScanlineSize64(page_.File()));
        samples_.resize(LineSamples());
        converter_.emplace(form_);
        return line_.size() * 8 >= LineSamples() * static_cast<std::size_t>(form_.bits);
    }

    bool Read(std::uint32_t line, std::uint8_t* pixels, std::uint8_t* mask) override {
        if (library_.TIFFReadScanline(page_.File(), line_.data(), line, 0) < 0) return false;
        UnpackSamples(line_.data(), LineSamples(), form_.bits, 1, samples_.data());
        converter_->Convert(samples_.data(), pixels, mask);
        return true;
    }

private:
    std::vector<std::uint8_t> line_;
    std::vector<std::uint16_t> samples_;
    std::optional<TiffLineConverter> converter_;
};

/// From rows of tiles, or from one strip of each plane: as many blocks as it takes for some lines with all samples.
class TiffBlockLines final : public TiffLines {
public:
    explicit TiffBlockLines(TiffPage& page)
        : TiffLines(page),
          tiled_(library_.TIFFIsTiled(page.File()) != 0),
          planes_(form_.separate ? static_cast<std::size_t>(form_.samples) : 1),
          inPlane_(form_.separate ? 1 : static_cast<std::size_t>(form_.samples)),
          width_(tiled_ ? page.Field<std::uint32_t>(TIFFTAG_TILEWIDTH, 0) : form_.width),
          height_(tiled_ ? page.Field<std::uint32_t>(TIFFTAG_TILELENGTH, 0) : StripHeight()),
          bytes_(tiled_ ? library_.TIFFTileSize64(page.File()) : library_.TIFFStripSize64(page.File())),
          lineBytes_(tiled_ ? library_.TIFFTileRowSize64(page.File()) : library_.TIFFScanlineSize64(page.File())) {}

    std::uint64_t Memory() const override { return width_ == 0 ? 0 : bytes_ * Count() + PackedBytes(height_); }

    bool Start() override {
        if (LineSamples() > kLargestLine) return Refuse("lines");
        if (height_ == 0 || width_ == 0 || bytes_ == 0) return false;
        if (bytes_ > kLargestBand || LineSamples() > kLargestBand / height_ || Count() > 2 * kLargestBand / bytes_)
            return Refuse("strips or tiles");
        // Lines of a block as they are unpacked; a block that is smaller than its own lines is a lie.
        const std::uint64_t needed =
            (std::uint64_t{width_} * inPlane_ * static_cast<unsigned>(form_.bits) + 7) / 8 * height_;
        if (bytes_ < needed) return false;
        blocks_.resize(bytes_ * Count());
        samples_.resize(LineSamples());
        converter_.emplace(form_);
        return true;
    }

    bool Read(std::uint32_t line, std::uint8_t* pixels, std::uint8_t* mask) override {
        if (line % height_ == 0 && !ReadBlocks(line)) return false;
        const std::uint8_t* block = blocks_.data() + line % height_ * lineBytes_;
        for (std::size_t plane = 0; plane < planes_; ++plane)
            for (std::uint32_t left = 0; left < form_.width; left += Columns(left), block += bytes_)
                UnpackSamples(block, Columns(left) * inPlane_, form_.bits, planes_,
                              samples_.data() + std::size_t{left} * static_cast<std::size_t>(form_.samples) + plane);
        converter_->Convert(samples_.data(), pixels, mask);
        return true;
    }

private:
    std::size_t Count() const { return planes_ * ((form_.width - 1) / width_ + 1); }
    std::uint32_t Columns(std::uint32_t left) const { return std::min(width_, form_.width - left); }

    bool ReadBlocks(std::uint32_t top) {
        std::ranges::fill(blocks_, std::uint8_t{0});
        std::uint8_t* to = blocks_.data();
        for (std::size_t plane = 0; plane < planes_; ++plane)
            for (std::uint32_t left = 0; left < form_.width; left += Columns(left), to += bytes_)
                if (!ReadBlock(left, top, static_cast<std::uint16_t>(plane), to)) return false;
        return true;
    }

    bool ReadBlock(std::uint32_t left, std::uint32_t top, std::uint16_t plane, std::uint8_t* to) {
        TIFF* const file = page_.File();
        const std::uint32_t block =
            tiled_ ? library_.TIFFComputeTile(file, left, top, 0, plane) : library_.TIFFComputeStrip(file, top, plane);
        if (library_.TIFFGetStrileByteCount(file, block) == 0) {  // plain ones would be read from the file's start
            page_.SetError("a strip or tile is missing");
            return false;
        }
        const auto size = static_cast<tmsize_t>(bytes_);
        return (tiled_ ? library_.TIFFReadEncodedTile(file, block, to, size)
                       : library_.TIFFReadEncodedStrip(file, block, to, size)) >= 0;
    }

    const bool tiled_;
    const std::size_t planes_, inPlane_;  ///< samples of a pixel that lie in one plane
    const std::uint32_t width_, height_;  ///< of a block
    const std::uint64_t bytes_, lineBytes_;
    std::vector<std::uint8_t> blocks_;  ///< of a band of lines: a row of tiles, or a strip, of each plane
    std::vector<std::uint16_t> samples_;
    std::optional<TiffLineConverter> converter_;
};

/// Pixels as the library itself converts them, for rare color models.
class TiffConvertedLines final : public TiffLines {
public:
    explicit TiffConvertedLines(TiffPage& page)
        : TiffLines(page),
          height_(library_.TIFFIsTiled(page.File())
                      ? std::min(page.Field<std::uint32_t>(TIFFTAG_TILELENGTH, 0), form_.height)
                      : StripHeight()) {}
    ~TiffConvertedLines() override {
        if (begun_) library_.TIFFRGBAImageEnd(&image_);
    }

    std::uint64_t Memory() const override { return BandPixels() * sizeof pixels_[0] + PackedBytes(height_); }

    bool Start() override {
        char why[1024] = {};
        // With the first error it stops: what could not be read would be black without a word.
        begun_ = library_.TIFFRGBAImageOK(page_.File(), why) &&
                 library_.TIFFRGBAImageBegin(&image_, page_.File(), 1, why) != 0;
        if (!begun_) page_.SetError(why);
        if (!begun_ || height_ == 0) return false;
        image_.req_orientation = image_.orientation;  // lines as they lie in the file
        pixels_.resize(BandPixels());
        return true;
    }

    bool Read(std::uint32_t line, std::uint8_t* to, std::uint8_t*) override {
        if (line % height_ == 0 && !Convert(line)) return false;
        const std::uint32_t* from = pixels_.data() + std::size_t{line % height_} * form_.width;
        for (std::uint32_t x = 0; x < form_.width; ++x, to += 3) {
            to[0] = static_cast<std::uint8_t>(TIFFGetB(from[x]));
            to[1] = static_cast<std::uint8_t>(TIFFGetG(from[x]));
            to[2] = static_cast<std::uint8_t>(TIFFGetR(from[x]));
        }
        return true;
    }

private:
    std::uint64_t BandPixels() const { return std::uint64_t{form_.width} * height_; }

    bool Convert(std::uint32_t top) {
        image_.row_offset = static_cast<int>(top);
        return library_.TIFFRGBAImageGet(&image_, pixels_.data(), form_.width, std::min(height_, form_.height - top)) !=
               0;
    }

    const std::uint32_t height_;  ///< of a strip or tile
    TIFFRGBAImage image_{};
    bool begun_ = false;
    std::vector<std::uint32_t> pixels_;  ///< red, green, blue, alpha of a band, packed
};

class TiffDecoder final : public LineDecoder {
public:
    TiffDecoder(ByteReader& source, const TiffLibrary& library) : page_(source, library) {}

    bool Open(const LoadOptions& options, LoadResult& result);

    int Width() const override { return static_cast<int>(page_.Form().width); }
    int Height() const override { return static_cast<int>(page_.Form().height); }
    bool HasAlpha() const override { return page_.Form().alpha >= 0; }
    std::uint64_t Memory() const override { return lines_->Memory(); }
    bool Read(std::uint8_t* pixels, std::uint8_t* mask) override;
    void Finish(LoadResult& result) override;

private:
    TiffPage page_;
    std::unique_ptr<TiffLines> lines_;
    bool started_ = false;
    std::uint32_t linesRead_ = 0;
};

bool TiffDecoder::Open(const LoadOptions& options, LoadResult& result) {
    const std::uint64_t bytes = page_.FileBytes();
    if (!page_.Open(options, result)) return false;
    page_.TakeMetadata(result);
    const TiffForm& form = page_.Form();
    const bool swaps = SwapsSides(form.orientation);
    result.orientation = form.orientation;
    result.fullWidth = swaps ? form.height : form.width;
    result.fullHeight = swaps ? form.width : form.height;
    if (!SizeIsAllowed(result.fullWidth, result.fullHeight, bytes, options, result)) return false;
    if (!form.IsConvertedHere())
        lines_ = std::make_unique<TiffConvertedLines>(page_);
    else if (form.separate || page_.Library().TIFFIsTiled(page_.File()))
        lines_ = std::make_unique<TiffBlockLines>(page_);
    else
        lines_ = std::make_unique<TiffScanlines>(page_);
    return true;
}

bool TiffDecoder::Read(std::uint8_t* pixels, std::uint8_t* mask) {
    if (linesRead_ == 0) started_ = lines_->Start();
    if (!started_ || !lines_->Read(linesRead_, pixels, mask)) return false;
    ++linesRead_;
    return true;
}

void TiffDecoder::Finish(LoadResult& result) {
    if (linesRead_ == page_.Form().height) return;
    const std::string text = page_.Error() + "; " + LinesText(linesRead_, page_.Form().height);
    if (linesRead_ > 0) {
        result.condition = Condition::Damaged;
        result.warnings.push_back(text);
    } else if (page_.Form().IsConvertedHere()) {
        result.error = {CodecFault::Broken, text};
    } else {
        result.error = {CodecFault::NotSupported, page_.Error()};
    }
}

}  // namespace

std::unique_ptr<LineDecoder> OpenTiff(ByteReader& source, const LoadOptions& options, LoadResult& result) {
    const TiffLibrary* library = TiffLibrary::Get();
    if (!library) {
        result.error = TiffLibrary::Missing();
        return nullptr;
    }
    auto decoder = std::make_unique<TiffDecoder>(source, *library);
    if (!decoder->Open(options, result)) return nullptr;
    return decoder;
}

}  // namespace kestrel
