// The forms of a BMP header: 12 bytes (OS/2 1), 16 to 64 (OS/2 2), and 40, 52, 56, 108, 124 (Windows), each with or
// without the file header of 14 bytes before it.
#include "kestrel/codec/BmpHeader.h"

#include <algorithm>
#include <string>

namespace kestrel {
namespace {

constexpr std::uint64_t kFileHeader = 14;
constexpr std::uint32_t kCoreHeader = 12;
constexpr std::uint32_t kSmallestOs2Header = 16;
constexpr std::uint32_t kLargestOs2Header = 64;
constexpr std::uint32_t kInfoHeader = 40;
constexpr std::uint32_t kWithMasks = 52;
constexpr std::uint32_t kWithAlphaMask = 56;
constexpr std::uint32_t kVersion4 = 108;
constexpr std::uint32_t kVersion5 = 124;
constexpr std::uint32_t kEmbeddedProfile = 0x4D424544;

enum Compression : std::uint32_t { kNone, kRle8, kRle4, kFields, kJpegOrRle24, kPng, kFieldsWithAlpha };

using Masks = std::array<std::uint32_t, 4>;
constexpr Masks kMasks16 = {0x001F, 0x03E0, 0x7C00, 0};
constexpr Masks kMasks32 = {0xFF, 0xFF00, 0xFF0000, 0};

CodecError NotSupported(const std::string& what) {
    return {CodecFault::NotSupported, "BMP files " + what + " are not read"};
}
CodecError Broken(const char* what) { return {CodecFault::Broken, what}; }

/// The header's bytes; those that a short header does not have are 0.
class Fields {
public:
    bool Read(ByteReader& source) {
        std::uint8_t size[4];
        const std::uint64_t start = source.Position();
        if (source.Read(size, sizeof size) != sizeof size || !source.Seek(start)) return false;
        std::copy(std::begin(size), std::end(size), bytes_.begin());
        const std::size_t known = std::min<std::size_t>(Size(), bytes_.size());
        return source.Read(bytes_.data(), known) == known;
    }
    std::uint32_t Size() const { return Number32(0); }
    std::uint32_t Number16(std::size_t at) const { return bytes_[at] | std::uint32_t{bytes_[at + 1]} << 8; }
    std::uint32_t Number32(std::size_t at) const { return Number16(at) | Number16(at + 2) << 16; }
    std::int32_t Signed32(std::size_t at) const { return static_cast<std::int32_t>(Number32(at)); }

    bool IsCore() const { return Size() == kCoreHeader; }
    bool IsWindows() const { return std::ranges::find(kWindows, Size()) != std::end(kWindows); }
    bool IsOs2() const { return !IsWindows() && Size() >= kSmallestOs2Header && Size() <= kLargestOs2Header; }

private:
    static constexpr std::uint32_t kWindows[] = {kInfoHeader, kWithMasks, kWithAlphaMask, kVersion4, kVersion5};
    std::array<std::uint8_t, kVersion5> bytes_{};
};

/// Where the parts of a file are.
struct Places {
    std::uint64_t file = 0;  // what the offset to the pixels counts from
    std::uint64_t header = 0;
    std::uint32_t offset = 0;  // to the pixels; 0: they follow the palette
};

CodecError FindHeader(ByteReader& source, Places& places) {
    places.file = places.header = source.Position();
    for (bool inArray = false;; inArray = true) {
        std::uint8_t head[kFileHeader];
        if (source.Read(head, sizeof head) != sizeof head) return Broken("the BMP file ends in its header");
        const bool array = head[0] == 'B' && head[1] == 'A';
        const bool bitmap = head[0] == 'B' && head[1] == 'M';
        if (array && !inArray) {
            places.header += kFileHeader;  // the first picture of the array
            continue;
        }
        if (inArray && !bitmap) return NotSupported("that are arrays of something else than pictures");
        if (bitmap) {
            places.offset =
                head[10] | std::uint32_t{head[11]} << 8 | std::uint32_t{head[12]} << 16 | std::uint32_t{head[13]} << 24;
            places.header += kFileHeader;
        }
        source.Seek(places.header);
        return {};
    }
}

void ReadSizes(const Fields& fields, BmpHeader& header) {
    if (fields.IsCore()) {
        header.width = fields.Number16(4);
        header.height = fields.Number16(6);
        header.bits = static_cast<int>(fields.Number16(10));
        return;
    }
    header.width = fields.Signed32(4);
    header.height = fields.Signed32(8);
    header.topDown = header.height < 0;
    if (header.topDown) header.height = -header.height;
    header.bits = static_cast<int>(fields.Number16(14));
    header.pixelsPerMeterX = fields.Signed32(24);
    header.pixelsPerMeterY = fields.Signed32(28);
}

/// Compression and depth, which only make sense together.
CodecError CheckForm(const Fields& fields, BmpHeader& header) {
    const std::uint32_t compression = fields.IsCore() ? kNone : fields.Number32(16);
    const int bits = header.bits;
    const auto mismatch = [&] {
        return NotSupported("with compression " + std::to_string(compression) + " at " + std::to_string(bits) +
                            " bits per pixel");
    };
    switch (compression) {
        case kNone:
            break;
        case kRle8:
        case kRle4:
            if (bits != (compression == kRle8 ? 8 : 4)) return mismatch();
            header.packing = BmpPacking::RunLength;
            break;
        case kFields:
            if (fields.IsOs2() && bits == 1) return NotSupported("with Huffman 1D compression");
            [[fallthrough]];
        case kFieldsWithAlpha:
            if (fields.IsOs2() || (bits != 16 && bits != 24 && bits != 32)) return mismatch();
            header.hasFields = true;
            break;
        case kJpegOrRle24:
            if (fields.IsOs2() && bits != 24) return mismatch();
            header.packing = fields.IsOs2() ? BmpPacking::RunLength : BmpPacking::Jpeg;
            return {};
        case kPng:
            if (fields.IsOs2()) return mismatch();
            header.packing = BmpPacking::Png;
            return {};
        case 11:
        case 12:
        case 13:
            return NotSupported("of CMYK pixels");
        default:
            return NotSupported("with compression " + std::to_string(compression));
    }
    for (const int known : {1, 2, 4, 8, 16, 24, 32})
        if (bits == known) return {};
    return NotSupported("of " + std::to_string(bits) + " bits per pixel");
}

/// The masks in the header, or after one of 40 bytes, whose bytes they add to.
CodecError ReadMasks(ByteReader& source, const Fields& fields, std::uint64_t& tableAt, BmpHeader& header) {
    header.masks = header.bits == 16 ? kMasks16 : kMasks32;
    const bool alphaInHeader = fields.Size() >= kWithAlphaMask && fields.IsWindows();
    if (header.bits == 32 && alphaInHeader && !header.hasFields) {
        header.masks[3] = fields.Number32(52);
        header.alphaIsDoubtful = true;
        header.hasFields = header.masks[3] != 0;
        return {};
    }
    if (!header.hasFields) {
        header.hasFields = header.bits == 16;
        return {};
    }
    if (fields.Size() >= kWithMasks) {
        header.masks = {fields.Number32(48), fields.Number32(44), fields.Number32(40),
                        alphaInHeader ? fields.Number32(52) : 0};
    } else {
        const std::size_t count = fields.Number32(16) == kFieldsWithAlpha ? 4 : 3;
        std::uint8_t bytes[16] = {};
        source.Seek(tableAt);
        if (source.Read(bytes, 4 * count) != 4 * count) return Broken("the BMP file ends in its header");
        const auto mask = [&](std::size_t i) {
            return bytes[4 * i] | std::uint32_t{bytes[4 * i + 1]} << 8 | std::uint32_t{bytes[4 * i + 2]} << 16 |
                   std::uint32_t{bytes[4 * i + 3]} << 24;
        };
        header.masks = {mask(2), mask(1), mask(0), mask(3)};
        tableAt += 4 * count;
    }
    if (header.bits < 32)
        for (std::uint32_t& mask : header.masks) mask &= (1u << header.bits) - 1;
    if (!(header.masks[0] | header.masks[1] | header.masks[2])) return Broken("the BMP file's bit fields are empty");
    return {};
}

CodecError ReadPalette(ByteReader& source, const Fields& fields, const Places& places, std::uint64_t tableAt,
                       BmpHeader& header) {
    const std::uint64_t entrySize = fields.IsCore() ? 3 : 4;
    const bool indexed = header.bits <= 8;
    std::uint64_t entries = fields.IsCore() ? 0 : fields.Number32(32);
    if (entries == 0 && indexed) entries = 1u << header.bits;
    header.pixelsAt = tableAt + entries * entrySize;
    // An offset into the headers is none.
    if (places.file + places.offset >= tableAt) header.pixelsAt = places.file + places.offset;
    if (header.pixelsAt > source.Size()) return Broken("the BMP file ends before its pixels");
    if (!indexed) return {};
    entries = std::min({entries, (header.pixelsAt - tableAt) / entrySize, std::uint64_t{header.palette.size()}});
    source.Seek(tableAt);
    for (std::uint64_t i = 0; i < entries; ++i) {
        std::uint8_t entry[4];
        if (source.Read(entry, entrySize) != entrySize) return Broken("the BMP file ends in its palette");
        std::copy_n(entry, 3, header.palette[i].begin());
    }
    return {};
}

}  // namespace

CodecError ReadBmpHeader(ByteReader& source, BmpHeader& header) {
    Places places;
    if (CodecError error = FindHeader(source, places)) return error;
    Fields fields;
    if (!fields.Read(source)) return Broken("the BMP file ends in its header");
    if (!fields.IsCore() && !fields.IsWindows() && !fields.IsOs2())
        return NotSupported("with a header of " + std::to_string(fields.Size()) + " bytes");
    if (fields.Number16(fields.IsCore() ? 8 : 12) > 1) return NotSupported("of several planes");
    ReadSizes(fields, header);
    if (CodecError error = CheckForm(fields, header)) return error;
    if (fields.Size() == kVersion5 && fields.Number32(56) == kEmbeddedProfile) {
        header.profileAt = places.header + fields.Number32(112);
        header.profileBytes = fields.Number32(116);
    }
    std::uint64_t tableAt = places.header + fields.Size();
    const bool embedded = header.packing == BmpPacking::Jpeg || header.packing == BmpPacking::Png;
    if (!embedded)
        if (CodecError error = ReadMasks(source, fields, tableAt, header)) return error;
    return ReadPalette(source, fields, places, tableAt, header);
}

}  // namespace kestrel
