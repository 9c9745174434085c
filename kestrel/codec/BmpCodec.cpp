// BMP through the image core.
#include <algorithm>
#include <cstring>
#include <string>

#include "kestrel/codec/Codecs.h"
#include "kestrel/image/DibRead.h"

namespace kestrel {
namespace {

constexpr std::uint32_t kFileHeader = 14;

void Store32(std::uint8_t* at, std::uint32_t value) {
    for (int i = 0; i < 4; ++i) at[i] = static_cast<std::uint8_t>(value >> 8 * i);
}

/// Whether the three masks behind the header are those that the conversion to 24 bits goes by.
bool MasksAreUsual(ByteReader& source, std::uint64_t start, int depth) {
    std::uint8_t mark[2] = {};
    std::uint32_t masks[3] = {};
    source.Seek(start);
    source.Read(mark, sizeof mark);
    const std::uint64_t header = start + (mark[0] == 'B' && mark[1] == 'M' ? kFileHeader : 0);
    if (!source.Seek(header + sizeof(Dib)) || source.Read(masks, sizeof masks) != sizeof masks) return false;
    const std::uint32_t usual16[3] = {0x7C00, 0x03E0, 0x001F};
    const std::uint32_t usual32[3] = {0xFF0000, 0xFF00, 0xFF};
    return std::memcmp(masks, depth == 16 ? usual16 : usual32, sizeof masks) == 0;
}

const char* WhyNot(const Dib& header) {
    if (header.biHeight < 0) return "BMP files with their lines from the top down are not supported";
    if (header.biCompression != kDibPlain && header.biCompression != kDibRunLength8 &&
        header.biCompression != kDibBitFields)
        return "BMP files with this compression are not supported";
    if (header.biCompression == kDibRunLength8 && header.biBitCount != 8) return "the BMP file is broken";
    for (const int depth : {1, 4, 8, 16, 24, 32})
        if (header.biBitCount == depth) return nullptr;
    return "BMP files of this depth are not supported";
}

}  // namespace

void LoadBmp(ByteReader& source, const LoadOptions& options, LoadResult& result) {
    const std::uint64_t start = source.Position();
    Dib header;
    if (!PeekDibRecord(source, header)) {
        result.error = "the BMP file is truncated or broken";
        return;
    }
    if (const char* why = WhyNot(header)) {
        result.error = why;
        return;
    }
    const std::int64_t pixels = std::int64_t{header.biWidth} * header.biHeight;
    if (header.biWidth < 1 || header.biHeight < 1 || static_cast<std::uint64_t>(pixels) > options.pixelLimit) {
        MakePlanes(header.biWidth, header.biHeight, false, options, result);  // names size and limit
        return;
    }
    const bool fields = header.biCompression == kDibBitFields && header.biBitCount != 24;
    if (fields && !MasksAreUsual(source, start, header.biBitCount))
        result.warnings.push_back("the bit fields of the BMP file are not the usual ones; its colours may be wrong");
    source.Seek(start);
    DibPtr dib(ReadDibRecord(source, RunLength::WholeRows));
    if (!dib) {
        result.error = "the BMP file cannot be read";
        return;
    }
    result.image = dib->biBitCount == 24 ? std::move(dib) : DibPtr(Make24BitDib(dib.get()));
    if (!result.image) result.error = "not enough memory";
}

std::string SaveBmp(ByteWriter& target, const Dib* image) {
    const std::uint64_t rows = std::uint64_t{DibRowSize(image)} * static_cast<unsigned>(image->biHeight);
    if (rows > UINT32_MAX - kFileHeader - sizeof(Dib)) return "the picture is too large for a BMP file";
    std::uint8_t file[kFileHeader] = {'B', 'M'};
    Store32(file + 2, static_cast<std::uint32_t>(kFileHeader + sizeof(Dib) + rows));
    Store32(file + 10, kFileHeader + sizeof(Dib));
    Dib header{};
    header.biSize = sizeof header;
    header.biWidth = image->biWidth;
    header.biHeight = image->biHeight;
    header.biPlanes = 1;
    header.biBitCount = 24;
    header.biSizeImage = static_cast<std::uint32_t>(rows);
    header.biXPelsPerMeter = image->biXPelsPerMeter;
    header.biYPelsPerMeter = image->biYPelsPerMeter;

    const std::size_t pixels = 3 * static_cast<std::size_t>(image->biWidth);
    const std::uint8_t padding[3] = {};  // the rows' own may hold anything
    bool written = target.Write(file, sizeof file) && target.Write(&header, sizeof header);
    for (int row = 0; row < image->biHeight && written; ++row)
        written = target.Write(DibRow(image, row), pixels) && target.Write(padding, DibRowSize(image) - pixels);
    return written ? std::string() : "cannot write: " + SystemError();
}

}  // namespace kestrel
