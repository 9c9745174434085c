#include "kestrel/codec/Exif.h"

#include <cstring>
#include <string_view>

namespace kestrel {
namespace {

constexpr std::string_view kMark("Exif\0\0", 6);
constexpr unsigned kOrientationTag = 0x0112;
constexpr unsigned kShort = 3;
constexpr std::size_t kEntrySize = 12;

/// Numbers of the data's byte order; 0 past its end.
struct Numbers {
    std::span<const std::uint8_t> bytes;
    bool bigEndian;

    std::uint32_t Get(std::size_t at, std::size_t size) const {
        if (at > bytes.size() || size > bytes.size() - at) return 0;
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < size; ++i) value = value << 8 | bytes[at + (bigEndian ? i : size - 1 - i)];
        return value;
    }
};

struct Orientation {
    std::size_t at = 0;  // of its two bytes, from the byte order mark; 0 when there is none
    std::uint32_t value = 1;
    bool bigEndian = false;
};

Orientation Find(std::span<const std::uint8_t> exif) {
    if (exif.size() < 8 || exif[0] != exif[1] || (exif[0] != 'I' && exif[0] != 'M')) return {};
    const Numbers numbers{exif, exif[0] == 'M'};
    if (numbers.Get(2, 2) != 42) return {};
    const std::size_t directory = numbers.Get(4, 4);
    const std::size_t entries = numbers.Get(directory, 2);
    for (std::size_t i = 0; i < entries; ++i) {
        const std::size_t entry = directory + 2 + i * kEntrySize;
        if (entry >= exif.size()) break;
        if (numbers.Get(entry, 2) != kOrientationTag || numbers.Get(entry + 2, 2) != kShort) continue;
        return {entry + 8, numbers.Get(entry + 8, 2), numbers.bigEndian};
    }
    return {};
}

}  // namespace

std::span<const std::uint8_t> WithoutExifMark(std::span<const std::uint8_t> exif) {
    const bool marked = exif.size() >= kMark.size() && std::memcmp(exif.data(), kMark.data(), kMark.size()) == 0;
    return marked ? exif.subspan(kMark.size()) : exif;
}

int ExifOrientation(std::span<const std::uint8_t> exif) {
    const std::uint32_t value = Find(WithoutExifMark(exif)).value;
    return value >= 1 && value <= 8 ? static_cast<int>(value) : 1;
}

void ResetExifOrientation(std::span<std::uint8_t> exif) {
    const auto data = exif.last(WithoutExifMark(exif).size());
    const Orientation orientation = Find(data);
    if (orientation.at == 0 || orientation.at + 2 > data.size()) return;
    data[orientation.at] = orientation.bigEndian ? 0 : 1;
    data[orientation.at + 1] = orientation.bigEndian ? 1 : 0;
}

}  // namespace kestrel
