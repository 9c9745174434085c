// BMP in every form that programs have written: the reader of records (kestrel/image/DibRead.h) follows a rule of its
// own and knows only some of them.
#include <algorithm>
#include <bit>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "kestrel/codec/BmpHeader.h"
#include "kestrel/codec/Codecs.h"
#include "kestrel/codec/IccProfile.h"

namespace kestrel {
namespace {

constexpr std::size_t kBuffer = 1 << 16;

/// One bit field of a pixel, scaled to a byte and rounded.
class Field {
public:
    explicit Field(std::uint32_t mask)
        : mask_(mask), shift_(mask ? std::countr_zero(mask) : 0), largest_(mask >> shift_) {
        if (largest_ >= kLargestTable) return;
        for (std::uint32_t value = 0; value <= largest_; ++value) table_.push_back(Scaled(value));
    }
    std::uint8_t operator()(std::uint32_t pixel) const {
        const std::uint32_t value = (pixel & mask_) >> shift_;
        return table_.empty() ? Scaled(value) : table_[value];
    }

private:
    static constexpr std::uint32_t kLargestTable = 4096;

    std::uint8_t Scaled(std::uint64_t value) const {
        return static_cast<std::uint8_t>(largest_ == 0 ? 0 : (value * 510 + largest_) / (2 * std::uint64_t{largest_}));
    }

    std::uint32_t mask_;
    int shift_;
    std::uint32_t largest_;
    std::vector<std::uint8_t> table_;
};

/// Turns lines of the file into blue, green, red and, where there is alpha, the mask.
class LineConverter {
public:
    explicit LineConverter(const BmpHeader& header)
        : header_(header),
          fields_{Field(header.masks[0]), Field(header.masks[1]), Field(header.masks[2]), Field(header.masks[3])} {}

    void Convert(const std::uint8_t* line, std::uint8_t* to, std::uint8_t* hidden) const {
        if (header_.bits <= 8)
            Indices(line, to);
        else if (header_.hasFields)
            Fields(line, to, hidden);
        else if (header_.bits == 24)
            std::memcpy(to, line, 3 * Width());
        else
            for (std::size_t x = 0; x < Width(); ++x) std::memcpy(to + 3 * x, line + 4 * x, 3);
    }

private:
    std::size_t Width() const { return static_cast<std::size_t>(header_.width); }

    void Indices(const std::uint8_t* line, std::uint8_t* to) const {
        const auto bits = static_cast<std::size_t>(header_.bits);
        const unsigned mask = (1u << bits) - 1;
        for (std::size_t x = 0; x < Width(); ++x, to += 3) {
            const unsigned index = line[x * bits / 8] >> (8 - bits - x * bits % 8) & mask;
            std::memcpy(to, header_.palette[index].data(), 3);
        }
    }

    void Fields(const std::uint8_t* line, std::uint8_t* to, std::uint8_t* hidden) const {
        const auto size = static_cast<std::size_t>(header_.bits) / 8;
        for (std::size_t x = 0; x < Width(); ++x, line += size, to += 3) {
            std::uint32_t pixel = 0;
            for (std::size_t i = 0; i < size; ++i) pixel |= std::uint32_t{line[i]} << 8 * i;
            for (std::size_t c = 0; c < 3; ++c) to[c] = fields_[c](pixel);
            if (hidden) hidden[x] = static_cast<std::uint8_t>(255 - fields_[3](pixel));
        }
    }

    const BmpHeader& header_;
    Field fields_[4];
};

/// Row of the block that line `line` of the file belongs to.
int RowOf(const BmpHeader& header, std::int64_t line) {
    return static_cast<int>(header.topDown ? header.height - 1 - line : line);
}

void CutShort(std::int64_t linesRead, const BmpHeader& header, LoadResult& result) {
    const std::string text = "the file ends early; " + LinesText(linesRead, header.height);
    if (linesRead == 0) {
        result.error = {CodecFault::Broken, text};
        return;
    }
    result.condition = Condition::Damaged;
    result.warnings.push_back(text);
}

/// Bytes of a line in the file, and those of its pixels, as the last one may lack its padding.
std::uint64_t LineBytes(const BmpHeader& header) {
    return (static_cast<std::uint64_t>(header.width) * static_cast<unsigned>(header.bits) + 31) / 32 * 4;
}
std::uint64_t NeededBytes(const BmpHeader& header) {
    return (static_cast<std::uint64_t>(header.width) * static_cast<unsigned>(header.bits) + 7) / 8;
}

void ReadPlain(ByteReader& source, const BmpHeader& header, LoadResult& result) {
    const std::uint64_t lineBytes = LineBytes(header), needed = NeededBytes(header);
    if (source.Left() < needed) return CutShort(0, header, result);
    std::vector<std::uint8_t> line(lineBytes);
    const LineConverter converter(header);
    for (std::int64_t y = 0; y < header.height; ++y) {
        if (source.Read(line.data(), lineBytes) < needed) return CutShort(y, header, result);
        const int row = RowOf(header, y);
        converter.Convert(line.data(), DibRow(result.image.get(), row),
                          result.mask ? DibRow(result.mask.get(), row) : nullptr);
    }
}

/// Lines that are not packed, from the top, which in most files is the end.
class BmpDecoder final : public LineDecoder {
public:
    BmpDecoder(ByteReader& source, const BmpHeader& header)
        : source_(source), header_(header), converter_(header_), line_(LineBytes(header)) {}

    int Width() const override { return static_cast<int>(header_.width); }
    int Height() const override { return static_cast<int>(header_.height); }
    bool HasAlpha() const override { return header_.hasFields && header_.masks[3] != 0; }

    bool Read(std::uint8_t* pixels, std::uint8_t* mask) override {
        const std::int64_t line = header_.topDown ? linesRead_ : header_.height - 1 - linesRead_;
        if (!source_.Seek(header_.pixelsAt + static_cast<std::uint64_t>(line) * line_.size()) ||
            source_.Read(line_.data(), line_.size()) < NeededBytes(header_))
            return false;
        converter_.Convert(line_.data(), pixels, mask);
        ++linesRead_;
        return true;
    }
    void Finish(LoadResult& result) override {
        if (linesRead_ < header_.height) CutShort(linesRead_, header_, result);
    }

private:
    ByteReader& source_;
    const BmpHeader header_;
    const LineConverter converter_;
    std::vector<std::uint8_t> line_;
    std::int64_t linesRead_ = 0;
};

/// Runs of indices or of 24-bit pixels. Pixels that no run covers stay hidden.
class RunReader {
public:
    RunReader(ByteReader& source, const BmpHeader& header, LoadResult& result)
        : source_(source), header_(header), result_(result), buffer_(kBuffer) {}

    void Read() {
        while (!Complete()) {
            int count, code;
            if ((count = Byte()) < 0 || (code = Byte()) < 0) return CutShort(Covered(), header_, result_);
            if (count == 0 && code == kEndOfPicture) return;
            if (!(count > 0 ? Run(count, code) : Escape(code))) return CutShort(Covered(), header_, result_);
        }
    }

private:
    enum { kEndOfLine, kEndOfPicture, kMove };

    bool Complete() const { return y_ >= header_.height || (y_ == header_.height - 1 && x_ >= header_.width); }
    std::int64_t Covered() const { return std::min(y_ + (any_ && x_ > 0 ? 1 : 0), header_.height); }

    /// The next byte; -1 at the end.
    int Byte() {
        if (at_ == end_) {
            end_ = source_.Read(buffer_.data(), buffer_.size());
            at_ = 0;
            if (end_ == 0) return -1;
        }
        return buffer_[at_++];
    }

    bool Escape(int code) {
        if (code == kEndOfLine) {
            x_ = 0;
            ++y_;
            return true;
        }
        return code == kMove ? Move() : Literals(code);
    }

    bool Move() {
        const int right = Byte(), up = Byte();
        if (up < 0) return false;
        x_ += right;
        y_ += up;
        return true;
    }

    bool Run(int count, int code) {
        if (header_.bits == 24) {
            const int green = Byte(), red = Byte();
            if (red < 0) return false;
            const std::uint8_t pixel[3] = {static_cast<std::uint8_t>(code), static_cast<std::uint8_t>(green),
                                           static_cast<std::uint8_t>(red)};
            for (int i = 0; i < count; ++i) Put(pixel);
            return true;
        }
        for (int i = 0; i < count; ++i) PutIndex(header_.bits == 8 ? code : i % 2 == 0 ? code >> 4 : code & 15);
        return true;
    }

    /// As many pixels one by one, padded to an even number of bytes.
    bool Literals(int count) {
        const int bytes = (count * header_.bits + 7) / 8;
        std::uint8_t pixel[3] = {};
        for (int i = 0; i < bytes + bytes % 2; ++i) {
            const int byte = Byte();
            if (byte < 0) return false;
            if (i == bytes) break;
            if (header_.bits == 24) {
                pixel[i % 3] = static_cast<std::uint8_t>(byte);
                if (i % 3 == 2) Put(pixel);
            } else if (header_.bits == 8) {
                PutIndex(byte);
            } else {
                PutIndex(byte >> 4);
                if (2 * i + 1 < count) PutIndex(byte & 15);
            }
        }
        return true;
    }

    void PutIndex(int index) { Put(header_.palette[static_cast<std::size_t>(index)].data()); }

    void Put(const std::uint8_t* pixel) {
        if (x_ < header_.width && y_ < header_.height) {
            const int row = RowOf(header_, y_);
            std::memcpy(DibRow(result_.image.get(), row) + 3 * x_, pixel, 3);
            DibRow(result_.mask.get(), row)[x_] = 0;
            any_ = true;
        }
        ++x_;
    }

    ByteReader& source_;
    const BmpHeader& header_;
    LoadResult& result_;
    std::vector<std::uint8_t> buffer_;
    std::size_t at_ = 0, end_ = 0;
    std::int64_t x_ = 0, y_ = 0;  // in lines of the file
    bool any_ = false;
};

void ReadEmbedded(ByteReader& source, BmpPacking packing, const LoadOptions& options, LoadResult& result) {
    std::uint8_t start[8] = {};
    const std::uint64_t position = source.Position();
    const ImageFormat promised = packing == BmpPacking::Jpeg ? ImageFormat::Jpeg : ImageFormat::Png;
    const ImageFormat found = FormatOfContent({start, source.Read(start, sizeof start)});
    source.Seek(position);
    if (found == promised)
        LoadWith(*FindCodec(promised), source, options, result);
    else
        result.error = {CodecFault::Broken, "the BMP file does not hold the picture file that it promises"};
}

void TakeMetadata(ByteReader& source, const BmpHeader& header, LoadResult& result) {
    if (header.pixelsPerMeterX > 0 && header.pixelsPerMeterY > 0)
        result.metadata.density = {Density::Unit::PerMeter, double(header.pixelsPerMeterX),
                                   double(header.pixelsPerMeterY)};
    if (header.profileBytes == 0 || !source.Seek(header.profileAt) || header.profileBytes > source.Left()) return;
    std::vector<std::uint8_t> bytes(header.profileBytes);
    source.Read(bytes.data(), bytes.size());
    TakeProfile(bytes, result);
}

}  // namespace

std::unique_ptr<LineDecoder> OpenBmp(ByteReader& source, const LoadOptions& options, LoadResult& result) {
    const std::uint64_t bytes = source.Left();
    BmpHeader header;
    result.error = ReadBmpHeader(source, header);
    // Whether there is alpha shows the last pixel only.
    if (result.error || header.packing != BmpPacking::Plain || header.alphaIsDoubtful) return nullptr;
    TakeMetadata(source, header, result);
    if (!SizeIsAllowed(header.width, header.height, bytes, options, result)) return nullptr;
    // A file that was cut has lost its top, and is read from the bottom.
    const std::uint64_t lastLine = header.pixelsAt + static_cast<std::uint64_t>(header.height - 1) * LineBytes(header);
    if (!header.topDown && lastLine + NeededBytes(header) > source.Size()) return nullptr;
    result.fullWidth = header.width;
    result.fullHeight = header.height;
    return std::make_unique<BmpDecoder>(source, header);
}

void LoadBmp(ByteReader& source, const LoadOptions& options, LoadResult& result) {
    const std::uint64_t bytes = source.Left();
    BmpHeader header;
    result.error = ReadBmpHeader(source, header);
    if (result.error) return;
    TakeMetadata(source, header, result);
    source.Seek(header.pixelsAt);
    if (header.packing == BmpPacking::Jpeg || header.packing == BmpPacking::Png)
        return ReadEmbedded(source, header.packing, options, result);

    const bool alpha = header.packing == BmpPacking::RunLength || (header.hasFields && header.masks[3] != 0);
    if (!MakePlanes(header.width, header.height, alpha, bytes, options, result)) return;
    if (alpha) HideAll(result.mask.get());
    if (header.packing == BmpPacking::RunLength)
        RunReader(source, header, result).Read();
    else
        ReadPlain(source, header, result);
    const bool runs = header.packing == BmpPacking::RunLength;
    if (result.mask && ((runs && !MaskHidesAnything(result.mask.get())) ||
                        (header.alphaIsDoubtful && MaskHidesAll(result.mask.get()))))
        result.mask.reset();
}

}  // namespace kestrel
