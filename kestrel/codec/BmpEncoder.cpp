// BMP of 24 bits, from the bottom up: the form that every program reads.
#include <string>

#include "kestrel/codec/Codecs.h"

namespace kestrel {
namespace {

constexpr std::uint32_t kFileHeader = 14;

void Store32(std::uint8_t* at, std::uint32_t value) {
    for (int i = 0; i < 4; ++i) at[i] = static_cast<std::uint8_t>(value >> 8 * i);
}

}  // namespace

CodecError SaveBmp(ByteWriter& target, const Dib* image, const Dib*, const SaveOptions& options) {
    const std::uint64_t rows = std::uint64_t{DibRowSize(image)} * static_cast<unsigned>(image->biHeight);
    if (rows > UINT32_MAX - kFileHeader - sizeof(Dib))
        return {CodecFault::CannotHold, "the picture is too large for a BMP file"};
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
    if (options.metadata && options.metadata->density.unit != Density::Unit::AspectOnly) {
        const auto [x, y] = PerMeter(options.metadata->density);
        if (x > 0) header.biXPelsPerMeter = x, header.biYPelsPerMeter = y;
    }

    const std::size_t pixels = 3 * static_cast<std::size_t>(image->biWidth);
    const std::uint8_t padding[3] = {};  // the rows' own may hold anything
    bool written = target.Write(file, sizeof file) && target.Write(&header, sizeof header);
    for (int row = 0; row < image->biHeight && written; ++row)
        written = target.Write(DibRow(image, row), pixels) && target.Write(padding, DibRowSize(image) - pixels);
    return written ? CodecError() : WriteError();
}

}  // namespace kestrel
