#include "kestrel/codec/ExifOrientation.h"

#include <cstring>

namespace kestrel {
namespace {

constexpr unsigned kOrientationTag = 0x0112;
constexpr unsigned kShort = 3;
constexpr std::size_t kEntrySize = 12;

/// Numbers of the data's byte order; 0 behind its end.
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

}  // namespace

int ExifOrientation(std::span<const std::uint8_t> exif) {
    if (exif.size() >= 6 && std::memcmp(exif.data(), "Exif\0\0", 6) == 0) exif = exif.subspan(6);
    if (exif.size() < 8 || exif[0] != exif[1] || (exif[0] != 'I' && exif[0] != 'M')) return 1;
    const Numbers numbers{exif, exif[0] == 'M'};
    if (numbers.Get(2, 2) != 42) return 1;
    const std::size_t directory = numbers.Get(4, 4);
    const std::size_t entries = numbers.Get(directory, 2);
    for (std::size_t i = 0; i < entries; ++i) {
        const std::size_t entry = directory + 2 + i * kEntrySize;
        if (entry >= exif.size()) break;
        if (numbers.Get(entry, 2) != kOrientationTag || numbers.Get(entry + 2, 2) != kShort) continue;
        const std::uint32_t value = numbers.Get(entry + 8, 2);
        return value >= 1 && value <= 8 ? static_cast<int>(value) : 1;
    }
    return 1;
}

}  // namespace kestrel
