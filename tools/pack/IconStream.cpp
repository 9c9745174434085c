#include "tools/pack/IconStream.h"

#include <zlib.h>

#include <algorithm>
#include <new>

#include "kestrel/image/Dib.h"
#include "kestrel/image/Mask.h"

namespace kestrel {
namespace {

using Bytes = std::vector<std::uint8_t>;

void Append32(Bytes& bytes, std::uint32_t value) {
    for (int shift = 0; shift < 32; shift += 8) bytes.push_back(static_cast<std::uint8_t>(value >> shift));
}

void AppendRecord(Bytes& bytes, const Dib& record) {
    const std::uint32_t size = record.biSize + record.biSizeImage + 4 * record.biClrUsed;
    Append32(bytes, size);
    const auto* from = reinterpret_cast<const std::uint8_t*>(&record);
    bytes.insert(bytes.end(), from, from + size);
}

Bytes Deflated(const Bytes& bytes) {
    uLongf size = compressBound(bytes.size());
    Bytes deflated(size);
    if (compress2(deflated.data(), &size, bytes.data(), bytes.size(), Z_DEFAULT_COMPRESSION) != Z_OK)
        throw std::bad_alloc();
    deflated.resize(size);
    return deflated;
}

}  // namespace

std::vector<std::uint8_t> IconStream(std::span<const std::uint32_t> pixels, int side) {
    const auto width = static_cast<std::size_t>(side);
    Bytes alpha(width * width);
    std::transform(pixels.begin(), pixels.end(), alpha.begin(),
                   [](std::uint32_t pixel) { return static_cast<std::uint8_t>(pixel >> 24); });
    const DibPtr image(DibCreate(24, side, side)), mask(ConvertMaskArrayToDib(alpha.data(), side, side));
    if (!image || !mask) throw std::bad_alloc();
    for (int line = 0; line < side; ++line) {
        std::uint8_t* to = DibRow(image.get(), side - 1 - line);
        for (const std::uint32_t pixel : pixels.subspan(static_cast<std::size_t>(line) * width, width)) {
            const std::uint32_t opacity = std::max<std::uint32_t>(pixel >> 24, 1);
            for (int shift = 0; shift < 24; shift += 8)  // blue, green, red
                *to++ = static_cast<std::uint8_t>(
                    std::min<std::uint32_t>(((pixel >> shift & 0xFF) * 255 + opacity / 2) / opacity, 255));
        }
    }

    Bytes tail;
    Append32(tail, 0);  // position x
    Append32(tail, 0);  // position y
    AppendRecord(tail, *image);
    AppendRecord(tail, *mask);
    Bytes stream{1, 'J', 'P', 'G', 0, 8, 0, 0, 0, 0};  // picture and mask, type, version, no encoded image
    const Bytes deflated = Deflated(tail);
    stream.insert(stream.end(), deflated.begin(), deflated.end());
    return stream;
}

}  // namespace kestrel
