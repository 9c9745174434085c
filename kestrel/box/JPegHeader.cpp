#include "kestrel/box/JPegHeader.h"

#include <algorithm>
#include <cstring>

namespace kestrel {
namespace {

constexpr std::uint8_t kMarker = 0xFF, kImage = 0xD8, kScan = 0xDA;
constexpr int kFillBytes = 7;

/// `read` gives the bytes that it could read, which are appended.
template <class Read>
bool Append(std::vector<std::uint8_t>& header, std::size_t count, const Read& read) {
    const std::size_t before = header.size();
    header.resize(before + count);
    return read(header.data() + before, count) == count;
}

template <class Read>
bool AppendSegments(std::vector<std::uint8_t>& header, const Read& read) {
    if (!Append(header, 2, read) || header[0] != kMarker || header[1] != kImage) return false;
    for (;;) {
        if (!Append(header, 2, read) || header[header.size() - 2] != kMarker) return false;
        for (int fill = 0; header.back() == kMarker; ++fill)
            if (fill == kFillBytes || !Append(header, 1, read)) return false;
        if (header.back() == kScan) {
            header.resize(header.size() - 2);
            return true;
        }
        if (!Append(header, 2, read)) return false;
        const unsigned length = header[header.size() - 2] * 256u + header.back();
        if (length < 2 || !Append(header, length - 2, read)) return false;
    }
}

template <class Read>
std::vector<std::uint8_t> Segments(const Read& read) {
    std::vector<std::uint8_t> header;
    if (!AppendSegments(header, read)) header.clear();
    return header;
}

}  // namespace

std::vector<std::uint8_t> ReadJPegHeader(QvInputStream& stream) {
    return Segments([&](std::uint8_t* to, std::size_t count) { return stream.Read(to, count); });
}

std::vector<std::uint8_t> ReadJPegHeader(std::span<const std::uint8_t> bytes) {
    return Segments([&](std::uint8_t* to, std::size_t count) {
        count = std::min(count, bytes.size());
        std::copy_n(bytes.data(), count, to);
        bytes = bytes.subspan(count);
        return count;
    });
}

}  // namespace kestrel
