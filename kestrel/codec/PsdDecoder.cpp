// PSD and PSB: the composite that stands at the end of the file. It lies there channel by channel; a line of the
// picture is put together from one of each.
#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "kestrel/codec/Codecs.h"
#include "kestrel/codec/Exif.h"
#include "kestrel/codec/IccProfile.h"
#include "kestrel/codec/ImageResources.h"
#include "kestrel/codec/SampleByte.h"

namespace kestrel {
namespace {

constexpr std::size_t kHeader = 26;
constexpr std::size_t kLargestPackedLine = 65535;

enum Mode { kBitmap, kGray, kIndexed, kRgb, kCmyk, kDuotone = 8 };

/// Big-endian numbers in sequence; 0 after the end.
std::uint64_t Number(ByteReader& source, std::size_t size) {
    std::uint8_t bytes[8] = {};
    std::uint64_t value = 0;
    if (source.Read(bytes, size) == size)
        for (std::size_t i = 0; i < size; ++i) value = value << 8 | bytes[i];
    return value;
}

struct Form {
    bool big = false;  // PSB
    std::uint64_t channels = 0, height = 0, width = 0, depth = 0, mode = 0;
    bool alpha = false;
    bool packed = false;
    std::vector<std::uint8_t> palette{};  // 256 reds, greens, blues

    std::size_t Colors() const { return mode == kRgb ? 3 : mode == kCmyk ? 4 : 1; }
    std::size_t LineBytes() const { return static_cast<std::size_t>(depth == 1 ? (width + 7) / 8 : width * depth / 8); }
};

CodecError NotSupported(const std::string& what) {
    return {CodecFault::NotSupported, "PSD files " + what + " are not read"};
}

CodecError ReadHeader(ByteReader& source, Form& form) {
    source.Seek(source.Position() + 4);
    form.big = Number(source, 2) == 2;
    source.Seek(source.Position() + 6);
    form.channels = Number(source, 2);
    form.height = Number(source, 4);
    form.width = Number(source, 4);
    form.depth = Number(source, 2);
    form.mode = Number(source, 2);
    if (form.mode != kBitmap && form.mode != kGray && form.mode != kIndexed && form.mode != kRgb &&
        form.mode != kCmyk && form.mode != kDuotone)
        return NotSupported("of colour mode " + std::to_string(form.mode));
    if (form.depth != (form.mode == kBitmap ? 1 : 8) && (form.depth != 16 || form.mode == kIndexed))
        return NotSupported("of " + std::to_string(form.depth) + " bits per channel");
    if (form.channels < form.Colors()) return {CodecFault::Broken, "channels are missing"};
    return {};
}

/// A section with its length before it; the source stands at its end afterwards.
bool ReadSection(ByteReader& source, std::vector<std::uint8_t>& bytes) {
    const std::uint64_t length = Number(source, 4);
    if (length > source.Left()) return false;
    bytes.resize(length);
    return source.Read(bytes.data(), length) == length;
}

/// Whether the composite's first channel after the colours is its transparency: so says the sign of the number of
/// layers; without layers a single further channel is nothing else.
bool SkipLayers(ByteReader& source, Form& form) {
    const std::size_t size = form.big ? 8 : 4;
    const std::uint64_t length = Number(source, size);
    const std::uint64_t start = source.Position();
    if (length > source.Left()) return false;
    const bool some = length > size + 2 && Number(source, size) > 0;
    const bool negative = some && (Number(source, 2) & 0x8000) != 0;
    form.alpha = form.channels > form.Colors() && (some ? negative : form.channels == form.Colors() + 1);
    return source.Seek(start + length);
}

void TakeMetadata(std::span<const std::uint8_t> resources, LoadResult& result) {
    ImageMetadata& metadata = result.metadata;
    const auto take = [&](ImageResource which, std::vector<std::uint8_t>& to) {
        const auto from = FindResource(resources, which);
        to.assign(from.begin(), from.end());
    };
    take(ImageResource::Exif, metadata.exif);
    ResetExifOrientation(metadata.exif);  // the composite lies upright whatever the camera said
    take(ImageResource::Xmp, metadata.xmp);
    take(ImageResource::Iptc, metadata.iptc);
    TakeProfile(FindResource(resources, ImageResource::Profile), result);
    // Pixels for each inch, with 16 bits after the point, across; units; the same down.
    const auto density = FindResource(resources, ImageResource::Resolution);
    if (density.size() < 16) return;
    const auto fixed = [&](std::size_t at) {
        return (density[at] << 8 | density[at + 1]) + (density[at + 2] << 8 | density[at + 3]) / 65536.0;
    };
    if (fixed(0) > 0 && fixed(8) > 0) metadata.density = {Density::Unit::PerInch, fixed(0), fixed(8)};
}

/// Runs of a line: a count from 0 up is that many bytes and one more; from -1 down one byte, so often and once more.
bool UnpackLine(std::span<const std::uint8_t> from, std::vector<std::uint8_t>& line) {
    std::size_t at = 0, to = 0;
    while (to < line.size() && at < from.size()) {
        const auto count = static_cast<std::int8_t>(from[at++]);
        if (count == -128) continue;
        const std::size_t size =
            std::min(static_cast<std::size_t>(count < 0 ? 1 - count : count + 1), line.size() - to);
        if (count < 0 ? at >= from.size() : size > from.size() - at) return false;
        if (count < 0)
            std::memset(line.data() + to, from[at++], size);
        else
            std::memcpy(line.data() + to, from.data() + at, size), at += size;
        to += size;
    }
    return to == line.size();
}

class ChannelReader {
public:
    /// The source stands where the lines of all channels begin, with the lengths of packed ones first.
    ChannelReader(ByteReader& source, const Form& form)
        : source_(source), form_(form), line_(form.LineBytes()), start_(source.Position()) {}

    /// Where the lines lie.
    bool FindLines() {
        if (!form_.packed) return true;
        source_.Seek(start_);
        const std::size_t size = form_.big ? 4 : 2;
        const std::uint64_t lines = form_.channels * form_.height;
        if (lines * size > source_.Left()) return false;
        std::vector<std::uint8_t> bytes(lines * size);
        source_.Read(bytes.data(), bytes.size());
        ends_.resize(lines);
        std::uint64_t end = source_.Position();
        for (std::size_t i = 0; i < lines; ++i) {
            std::uint32_t length = 0;
            for (std::size_t k = 0; k < size; ++k) length = length << 8 | bytes[i * size + k];
            ends_[i] = end += length;
        }
        start_ = source_.Position();
        return true;
    }

    /// Reads a line; they count through all channels.
    bool ReadLine(std::uint64_t index) {
        const std::uint64_t begin = !form_.packed ? start_ + index * line_.size()
                                    : index > 0   ? ends_[index - 1]
                                                  : start_;
        if (begin != source_.Position() && !source_.Seek(begin)) return false;
        if (!form_.packed) return source_.Read(line_.data(), line_.size()) == line_.size();
        const std::uint64_t length = ends_[index] - begin;
        if (length > source_.Left() || length > 2 * line_.size() + kLargestPackedLine) return false;
        packed_.resize(length);
        return source_.Read(packed_.data(), length) == length && UnpackLine(packed_, line_);
    }

    /// A sample of the line as a byte; 16 bits are rounded.
    std::uint8_t operator[](std::size_t x) const {
        if (form_.depth == 8) return line_[x];
        if (form_.depth == 1) return line_[x / 8] >> (7 - x % 8) & 1 ? 0 : 255;
        return SampleByte(Wide(x), 65535);
    }
    /// A sample of 16 bits.
    std::uint32_t Wide(std::size_t x) const { return static_cast<std::uint32_t>(line_[2 * x] << 8 | line_[2 * x + 1]); }

private:
    ByteReader& source_;
    const Form& form_;
    std::vector<std::uint8_t> line_, packed_;
    std::vector<std::uint64_t> ends_;  ///< of the packed lines
    std::uint64_t start_;              ///< of the first line
};

/// The picture's lines, each from as many places of the file as there are channels. What cannot be read is black, or
/// hidden; what follows it is read none the less.
class PsdDecoder final : public LineDecoder {
public:
    PsdDecoder(ByteReader& source, Form form) : form_(std::move(form)), reader_(source, form_) {}

    int Width() const override { return static_cast<int>(form_.width); }
    int Height() const override { return static_cast<int>(form_.height); }
    bool HasAlpha() const override { return form_.alpha; }
    bool Read(std::uint8_t* pixels, std::uint8_t* mask) override;
    void Finish(LoadResult& result) override;

private:
    bool ReadChannel(std::size_t channel) {
        const bool good = reader_.ReadLine(channel * form_.height + line_);
        linesRead_ += good;
        return good;
    }
    void ReadWideInks(std::uint8_t* to);
    void Lay(std::size_t channel, std::uint8_t* row, std::uint8_t* hidden) const;

    const Form form_;
    ChannelReader reader_;
    std::vector<std::uint32_t> inks_;
    std::uint64_t line_ = 0;
    std::uint64_t linesRead_ = 0;  ///< of all channels
};

bool PsdDecoder::Read(std::uint8_t* pixels, std::uint8_t* mask) {
    if (line_ == 0 && !reader_.FindLines()) return false;
    ClearLine(pixels, mask, Width());
    if (form_.mode == kCmyk && form_.depth == 16) {
        ReadWideInks(pixels);
    } else {
        for (std::size_t channel = 0; channel < form_.Colors(); ++channel)
            if (ReadChannel(channel)) Lay(channel, pixels, mask);
    }
    if (mask && ReadChannel(form_.Colors())) Lay(form_.Colors(), pixels, mask);
    ++line_;
    return linesRead_ > 0;
}

/// Lays the line of a channel into the row; black lets less of the three inks' light through.
void PsdDecoder::Lay(std::size_t channel, std::uint8_t* row, std::uint8_t* hidden) const {
    const auto width = static_cast<std::size_t>(form_.width);
    if (channel == form_.Colors()) {
        for (std::size_t x = 0; x < width; ++x) hidden[x] = static_cast<std::uint8_t>(255 - reader_[x]);
    } else if (form_.mode == kCmyk && channel == 3) {
        for (std::size_t x = 0; x < 3 * width; ++x)
            row[x] = static_cast<std::uint8_t>((row[x] * reader_[x / 3] + 127) / 255);
    } else if (form_.Colors() > 1) {
        for (std::size_t x = 0; x < width; ++x) row[3 * x + 2 - channel] = reader_[x];  // inks are stored as light
    } else if (form_.mode == kIndexed) {
        for (std::size_t x = 0; x < width; ++x)
            for (std::size_t c = 0; c < 3; ++c) row[3 * x + 2 - c] = form_.palette[256 * c + reader_[x]];
    } else {
        for (std::size_t x = 0; x < width; ++x) std::memset(row + 3 * x, reader_[x], 3);
    }
}

/// Inks of 16 bits, as black has to meet the others before they become bytes. Those that cannot be read count as paper.
void PsdDecoder::ReadWideInks(std::uint8_t* to) {
    constexpr std::uint32_t kPaper = 65535;
    const auto width = static_cast<std::size_t>(form_.width);
    inks_.resize(4 * width);
    for (std::size_t ink = 0; ink < 4; ++ink) {
        const bool good = ReadChannel(ink);
        for (std::size_t x = 0; x < width; ++x) inks_[4 * x + ink] = good ? reader_.Wide(x) : kPaper;
    }
    for (const std::uint32_t* ink = inks_.data(); ink != inks_.data() + inks_.size(); ink += 4, to += 3)
        for (int c = 0; c < 3; ++c)
            to[2 - c] = SampleByte(std::uint64_t{ink[c]} * ink[3], std::uint64_t{kPaper} * kPaper);
}

void PsdDecoder::Finish(LoadResult& result) {
    const std::uint64_t all = (form_.Colors() + form_.alpha) * form_.height;
    if (linesRead_ == all) return;
    const std::string text = "the file is damaged; " + std::to_string(linesRead_ / form_.height) + " of " +
                             std::to_string(all / form_.height) + " channels could be read";
    if (linesRead_ == 0) {
        result.error = {CodecFault::Broken, text};
        return;
    }
    result.condition = Condition::Damaged;
    result.warnings.push_back(text);
}

}  // namespace

std::unique_ptr<LineDecoder> OpenPsd(ByteReader& source, const LoadOptions& options, LoadResult& result) {
    const std::uint64_t bytes = source.Left();
    Form form;
    if (bytes < kHeader) {
        result.error = {CodecFault::Broken, "the file ends in its header"};
        return nullptr;
    }
    result.error = ReadHeader(source, form);
    if (result.error) return nullptr;
    std::vector<std::uint8_t> resources;
    if (!ReadSection(source, form.palette) || !ReadSection(source, resources) || !SkipLayers(source, form)) {
        result.error = {CodecFault::Broken, "the file ends before its pixels"};
        return nullptr;
    }
    form.palette.resize(768);
    const std::uint64_t compression = Number(source, 2);
    if (compression > 1) {
        result.error = NotSupported("with compression " + std::to_string(compression));
        return nullptr;
    }
    form.packed = compression == 1;
    TakeMetadata(resources, result);
    const auto width = static_cast<std::int64_t>(form.width), height = static_cast<std::int64_t>(form.height);
    if (!SizeIsAllowed(width, height, bytes, options, result)) return nullptr;
    result.fullWidth = width;
    result.fullHeight = height;
    return std::make_unique<PsdDecoder>(source, std::move(form));
}

}  // namespace kestrel
