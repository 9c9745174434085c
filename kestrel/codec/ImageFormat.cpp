#include "kestrel/codec/ImageFormat.h"

#include <algorithm>
#include <cstring>

namespace kestrel {
namespace {

/// The first name of a format is the one it is called by.
constexpr struct {
    std::string_view name;
    ImageFormat format;
} kNames[] = {{"bmp", ImageFormat::Bmp},  {"dib", ImageFormat::Bmp},  {"jpeg", ImageFormat::Jpeg},
              {"jpg", ImageFormat::Jpeg}, {"jpe", ImageFormat::Jpeg}, {"jfif", ImageFormat::Jpeg},
              {"png", ImageFormat::Png}};

constexpr char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

}  // namespace

ImageFormat FormatOfName(std::string_view name) {
    if (name.starts_with('.')) name.remove_prefix(1);
    for (const auto& known : kNames)
        if (std::ranges::equal(name, known.name, {}, Lower)) return known.format;
    return ImageFormat::Unknown;
}

ImageFormat FormatOfPath(std::string_view path) {
    const std::size_t dot = path.find_last_of("./");
    return dot == std::string_view::npos || path[dot] == '/' ? ImageFormat::Unknown : FormatOfName(path.substr(dot));
}

ImageFormat FormatOfContent(std::span<const std::uint8_t> bytes) {
    const auto starts = [bytes](const char* with, std::size_t size) {
        return bytes.size() >= size && std::memcmp(bytes.data(), with, size) == 0;
    };
    if (starts("\xFF\xD8\xFF", 3)) return ImageFormat::Jpeg;
    if (starts("\x89PNG\r\n\x1A\n", 8)) return ImageFormat::Png;
    if (starts("BM", 2) || starts("BA", 2)) return ImageFormat::Bmp;
    // A bare record: header of 40 bytes, one plane.
    if (starts("\x28\0\0\0", 4) && bytes.size() >= 14 && bytes[12] == 1 && bytes[13] == 0) return ImageFormat::Bmp;
    return ImageFormat::Unknown;
}

const char* FormatName(ImageFormat format) {
    for (const auto& known : kNames)
        if (known.format == format) return known.name.data();
    return "unknown";
}

std::span<const ImageFormat> WritableFormats() {
    static constexpr ImageFormat kWritable[] = {ImageFormat::Bmp, ImageFormat::Jpeg, ImageFormat::Png};
    return kWritable;
}

bool FormatHoldsAlpha(ImageFormat format) { return format == ImageFormat::Png; }

}  // namespace kestrel
