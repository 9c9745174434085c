#pragma once
#include <zlib.h>

#include <cstdint>
#include <string>

// The pieces that streams of a picture box consist of, byte by byte.
namespace kestrel::test {

inline std::string Number(std::uint32_t value) { return {reinterpret_cast<const char*>(&value), sizeof value}; }

/// zlib's own one-call form.
inline std::string Compressed(const std::string& text) {
    uLongf size = compressBound(text.size());
    std::string out(size, 0);
    compress(reinterpret_cast<Bytef*>(out.data()), &size, reinterpret_cast<const Bytef*>(text.data()), text.size());
    out.resize(size);
    return out;
}

/// A record, byte by byte.
inline std::string Record(std::uint32_t width, std::uint32_t height, int depth) {
    const std::uint32_t colors = depth == 8 ? 256 : 0;
    const std::uint32_t row = (width * static_cast<unsigned>(depth) / 8 + 3) & ~3u;
    std::string record = Number(40) + Number(width) + Number(height) + std::string("\1\0", 2) +
                         static_cast<char>(depth) + std::string(1, 0) + Number(0) + Number(row * height) + Number(0) +
                         Number(0) + Number(colors) + Number(0);
    record.resize(40 + 4 * colors);
    for (std::uint32_t i = 0; i < row * height; ++i) record += static_cast<char>(i * i * 7 + i);
    return record;
}

inline std::string Tail(const std::string& image, const std::string& mask) {
    std::string tail = Number(static_cast<std::uint32_t>(-14)) + Number(static_cast<std::uint32_t>(-97));
    if (!image.empty()) tail += Number(static_cast<std::uint32_t>(image.size())) + image;
    if (!mask.empty()) tail += Number(static_cast<std::uint32_t>(mask.size())) + mask;
    return Compressed(tail);
}

}  // namespace kestrel::test
