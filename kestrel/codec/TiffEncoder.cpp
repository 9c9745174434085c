// TIFF files written line by line: LZW in strips of 8 KB, by libtiff.
#include <memory>
#include <string>
#include <vector>

#include "kestrel/codec/Codecs.h"
#include "kestrel/codec/MemoryTarget.h"
#include "kestrel/codec/TiffBlocks.h"
#include "kestrel/codec/TiffLibrary.h"

namespace kestrel {
namespace {

constexpr std::uint64_t kClassicLimit = 4'000'000'000;

/// A file that goes out as it comes, but for what is not settled before the end: its head, and all that the library
/// writes after the pixels. Where the target cannot go back to the head, everything waits for the end.
class TiffTarget final : public TiffStream {
public:
    explicit TiffTarget(ByteWriter& to) : to_(to) {}

    std::size_t Read(void*, std::size_t) override { return 0; }
    bool Write(const void* from, std::size_t count) override;
    bool Seek(std::uint64_t position) override {
        position_ = position;
        return true;
    }
    std::uint64_t Position() const override { return position_; }
    std::uint64_t Size() const override { return ends_.tailAt + ends_.tail.size(); }

    /// What was written so far is the head, and pixels follow.
    void BeginPixels();
    void EndPixels() { passes_ = false; }
    /// Writes what has waited.
    CodecError Finish(const ImageMetadata& metadata);
    CodecError Fault(const char* otherwise) {
        if (auto fault = WriteErrorOf(to_)) return fault;
        return {CodecFault::CannotHold, error.empty() ? otherwise : error};
    }

private:
    bool Keep(std::vector<std::uint8_t>& part, std::uint64_t at, const void* from, std::size_t count);

    ByteWriter& to_;
    TiffEnds ends_{};  ///< the tail begins where the file that has gone out ends
    std::uint64_t position_ = 0;
    bool headIsOut_ = false;
    bool passes_ = false;
};

bool TiffTarget::Write(const void* from, std::size_t count) {
    const std::uint64_t at = position_;
    position_ += count;
    if (at < ends_.head.size()) return count <= ends_.head.size() - at && Keep(ends_.head, at, from, count);
    if (at < ends_.tailAt) return false;  // the library does not go back to pixels
    if (!passes_) return Keep(ends_.tail, at - ends_.tailAt, from, count);
    if (at != ends_.tailAt || !to_.Write(from, count)) return false;
    ends_.tailAt += count;
    return true;
}

bool TiffTarget::Keep(std::vector<std::uint8_t>& part, std::uint64_t at, const void* from, std::size_t count) {
    if (LayBytes(part, at, from, count)) return true;
    error = NoMemory().text;
    return false;
}

void TiffTarget::BeginPixels() {
    ends_.head.swap(ends_.tail);
    ends_.tailAt = ends_.head.size();
    if (!to_.CanReplace()) return;
    headIsOut_ = passes_ = true;
    to_.Write(ends_.head.data(), ends_.head.size());  // the first pixels tell when it fails
}

CodecError TiffTarget::Finish(const ImageMetadata& metadata) {
    AddTiffBlocks(ends_, metadata);
    const auto& [head, tail, at] = ends_;
    if (!headIsOut_) to_.Write(head.data(), head.size());
    to_.Write(tail.data(), tail.size());
    if (headIsOut_) to_.Replace(0, head.data(), head.size());
    return WriteErrorOf(to_);
}

class TiffEncoder final : public LineEncoder {
public:
    TiffEncoder(ByteWriter& to, PictureForm form, const TiffLibrary& library)
        : library_(library), form_(form), target_(to) {}

    bool Start(const ImageMetadata& metadata);
    bool Write(const std::uint8_t* pixels, const std::uint8_t* mask) override;
    CodecError Finish() override;
    CodecError Fault() { return target_.Fault("the picture cannot be written"); }

private:
    template <class... Value>
    bool Set(std::uint32_t tag, Value... value) {
        return library_.TIFFSetField(file_.get(), tag, value...) != 0;
    }
    bool SetForm();
    bool SetMetadata(const ImageMetadata& metadata);

    const TiffLibrary& library_;
    const PictureForm form_;
    TiffTarget target_;
    TiffFile file_;
    ImageMetadata blocks_;  ///< that are added at the end
    std::vector<std::uint8_t> line_;
    std::uint32_t next_ = 0;
    bool written_ = true;
};

bool TiffEncoder::Start(const ImageMetadata& metadata) {
    const auto samples = static_cast<unsigned>(form_.alpha ? 4 : 3);
    const std::uint64_t bytes =
        std::uint64_t{samples} * static_cast<unsigned>(form_.width) * static_cast<unsigned>(form_.height);
    std::string mode = IsBigEndianExif(metadata.exif) ? "wb" : "wl";
    if (bytes > kClassicLimit / 2) mode += "8";  // twice as long at most when it is compressed
    file_ = OpenTiffFile(target_, mode.c_str(), UINT64_MAX);
    if (!file_ || !SetForm() || !SetMetadata(metadata)) return false;
    blocks_.exif = metadata.exif;
    blocks_.iptc = metadata.iptc;
    line_.resize(std::size_t{samples} * static_cast<unsigned>(form_.width));
    target_.BeginPixels();
    return true;
}

bool TiffEncoder::SetForm() {
    std::uint16_t kind = EXTRASAMPLE_UNASSALPHA;
    return Set(TIFFTAG_IMAGEWIDTH, form_.width) && Set(TIFFTAG_IMAGELENGTH, form_.height) &&
           Set(TIFFTAG_BITSPERSAMPLE, 8) && Set(TIFFTAG_SAMPLESPERPIXEL, form_.alpha ? 4 : 3) &&
           Set(TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB) && Set(TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG) &&
           Set(TIFFTAG_COMPRESSION, COMPRESSION_LZW) && Set(TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL) &&
           Set(TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT) && (!form_.alpha || Set(TIFFTAG_EXTRASAMPLES, 1, &kind)) &&
           Set(TIFFTAG_ROWSPERSTRIP, library_.TIFFDefaultStripSize(file_.get(), 0));
}

bool TiffEncoder::SetMetadata(const ImageMetadata& metadata) {
    const auto block = [this](std::uint32_t tag, const std::vector<std::uint8_t>& data) {
        return data.empty() || Set(tag, static_cast<std::uint32_t>(data.size()), data.data());
    };
    if (!block(TIFFTAG_ICCPROFILE, metadata.profile) || !block(TIFFTAG_XMLPACKET, metadata.xmp)) return false;
    const Density& density = metadata.density;
    if (density.unit == Density::Unit::None) return true;
    const bool meters = density.unit == Density::Unit::PerMeter;
    const int unit = density.unit == Density::Unit::PerInch || meters ? RESUNIT_INCH
                     : density.unit == Density::Unit::PerCentimeter   ? RESUNIT_CENTIMETER
                                                                      : RESUNIT_NONE;
    return Set(TIFFTAG_RESOLUTIONUNIT, unit) && Set(TIFFTAG_XRESOLUTION, density.x * (meters ? 0.0254 : 1)) &&
           Set(TIFFTAG_YRESOLUTION, density.y * (meters ? 0.0254 : 1));
}

bool TiffEncoder::Write(const std::uint8_t* pixels, const std::uint8_t* mask) {
    std::uint8_t* to = line_.data();
    for (int x = 0; x < form_.width; ++x, pixels += 3) {
        for (int c = 2; c >= 0; --c) *to++ = pixels[c];
        if (form_.alpha) *to++ = static_cast<std::uint8_t>(255 - mask[x]);
    }
    written_ = written_ && library_.TIFFWriteScanline(file_.get(), line_.data(), next_++, 0) > 0;
    return written_;
}

CodecError TiffEncoder::Finish() {
    if (!written_ || !library_.TIFFFlushData(file_.get())) return Fault();
    target_.EndPixels();
    if (!library_.TIFFFlush(file_.get())) return Fault();
    file_.reset();
    return target_.error.empty() ? target_.Finish(blocks_) : Fault();
}

}  // namespace

std::unique_ptr<LineEncoder> CreateTiff(ByteWriter& target, PictureForm form, const SaveOptions& options,
                                        CodecError& error) {
    static const ImageMetadata kNone;
    const TiffLibrary* library = TiffLibrary::Get();
    if (!library) {
        error = TiffLibrary::Missing();
        return nullptr;
    }
    auto encoder = std::make_unique<TiffEncoder>(target, form, *library);
    if (encoder->Start(options.metadata ? *options.metadata : kNone)) return encoder;
    error = encoder->Fault();
    return nullptr;
}

}  // namespace kestrel
