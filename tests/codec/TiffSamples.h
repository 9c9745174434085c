// TIFF files made byte by byte.
#pragma once
#include <algorithm>
#include <cstdint>
#include <map>
#include <vector>

#include "tests/codec/Samples.h"

namespace kestrel::samples::tiff {

using Tagged = std::map<unsigned, std::vector<std::uint32_t>>;

/// A page of a little-endian file. Numbers of a tag are shorts, or longs where one is larger; those of the
/// pixels' place are filled in.
struct Tiff {
    Tagged tags{};
    std::vector<Bytes> blocks{};  // strips or tiles
    bool tiled = false;
};

/// Adds a page; `link` is where its directory's position belongs, then where that of the next one does.
inline void AddPage(Bytes& bytes, Tiff file, std::size_t& link) {
    const auto put = [&](std::uint32_t value, int size) {
        for (int i = 0; i < size; ++i) bytes.push_back(static_cast<std::uint8_t>(value >> 8 * i));
    };
    auto& places = file.tags[file.tiled ? 324 : 273];
    auto& sizes = file.tags[file.tiled ? 325 : 279];
    for (const Bytes& block : file.blocks) {
        places.push_back(static_cast<std::uint32_t>(bytes.size()));
        sizes.push_back(static_cast<std::uint32_t>(block.size()));
        bytes.insert(bytes.end(), block.begin(), block.end());
    }
    bytes.resize((bytes.size() + 1) / 2 * 2);
    std::map<unsigned, std::size_t> outside;
    const auto width = [](unsigned tag, const std::vector<std::uint32_t>& values) {
        if (tag == 50706 || tag == 33422) return 1;
        return std::ranges::any_of(values, [](std::uint32_t v) { return v > 65535; }) ? 4 : 2;
    };
    for (const auto& [tag, values] : file.tags) {
        outside[tag] = bytes.size();
        if (values.size() * static_cast<std::size_t>(width(tag, values)) > 4)
            for (const std::uint32_t value : values) put(value, width(tag, values));
    }
    for (std::size_t i = 0; i < 4; ++i) bytes[link + i] = static_cast<std::uint8_t>(bytes.size() >> 8 * i);
    put(static_cast<std::uint32_t>(file.tags.size()), 2);
    for (const auto& [tag, values] : file.tags) {
        const int size = width(tag, values);
        put(tag, 2), put(size == 4 ? 4 : size == 2 ? 3 : 1, 2), put(static_cast<std::uint32_t>(values.size()), 4);
        if (values.size() * static_cast<std::size_t>(size) > 4) {
            put(static_cast<std::uint32_t>(outside[tag]), 4);
            continue;
        }
        const std::size_t end = bytes.size() + 4;
        for (const std::uint32_t value : values) put(value, size);
        bytes.resize(end);
    }
    link = bytes.size();
    put(0, 4);
}

inline Bytes Encode(const std::vector<Tiff>& pages) {
    Bytes bytes = {'I', 'I', 42, 0, 0, 0, 0, 0};
    std::size_t link = 4;
    for (const Tiff& page : pages) AddPage(bytes, page, link);
    return bytes;
}
inline Bytes Encode(const Tiff& file) { return Encode(std::vector{file}); }

enum : unsigned {
    kBits = 258,
    kPhotometric = 262,
    kOrientation = 274,
    kSamples = 277,
    kRows = 278,
    kPlanar = 284,
    kColors = 320,
    kTileWidth = 322,
    kTileLength = 323,
    kExtra = 338
};

inline Tagged Tags(std::uint32_t width, std::uint32_t height, std::uint32_t bits, std::uint32_t photometric,
                   std::uint32_t samples) {
    return {{256, {width}},
            {257, {height}},
            {kBits, std::vector<std::uint32_t>(samples, bits)},
            {259, {1}},
            {kPhotometric, {photometric}},
            {kSamples, {samples}},
            {kRows, {height}}};
}

/// How samples lie in a file: in tiles, or in strips, which have no width; each in a plane of its own or side by side;
/// plain or packed.
struct Layout {
    std::uint32_t width, height;
    bool planes, packed;
};

/// Literal runs only, which end with each line.
inline Bytes PackBits(const Bytes& plain) {
    Bytes packed;
    for (std::size_t at = 0; at < plain.size(); at += 128) {
        const std::size_t count = std::min<std::size_t>(128, plain.size() - at);
        packed.push_back(static_cast<std::uint8_t>(count - 1));
        packed.insert(packed.end(), plain.begin() + static_cast<std::ptrdiff_t>(at),
                      plain.begin() + static_cast<std::ptrdiff_t>(at + count));
    }
    return packed;
}

/// A page whose samples are the same in every layout.
inline Tiff Lay(Tagged tags, Layout layout) {
    const std::uint32_t width = tags[256][0], height = tags[257][0], bits = tags[kBits][0], samples = tags[kSamples][0];
    Tiff file{std::move(tags), {}, layout.width > 0};
    file.tags[259] = {layout.packed ? 32773u : 1u};
    file.tags[kPlanar] = {layout.planes ? 2u : 1u};
    file.tags[kRows] = {layout.height};
    if (file.tiled) file.tags[kTileWidth] = {layout.width}, file.tags[kTileLength] = {layout.height};
    if (file.tiled) file.tags.erase(kRows);
    const auto block = [&](std::uint32_t left, std::uint32_t top, std::uint32_t first, std::uint32_t count) {
        const std::uint32_t lines = file.tiled ? layout.height : std::min(layout.height, height - top);
        const std::uint32_t columns = file.tiled ? layout.width : width;
        Bytes bytes;
        for (std::uint32_t y = top; y < top + lines; ++y) {
            std::uint32_t waiting = 0, filled = 0;
            Bytes line;
            for (std::uint32_t x = left; x < left + columns; ++x)
                for (std::uint32_t s = first; s < first + count; ++s) {
                    const std::uint32_t value = (x * 40503 + y * 30011 + s * 20011 + x * y * 77) >> 4;
                    if (bits == 16) line.push_back(static_cast<std::uint8_t>(value >> 8));
                    waiting = waiting << bits | (value & ((1u << bits) - 1));
                    filled += std::min(bits, 8u);
                    if (filled % 8 == 0) line.push_back(static_cast<std::uint8_t>(waiting));
                }
            if (filled % 8 != 0) line.push_back(static_cast<std::uint8_t>(waiting << (8 - filled % 8)));
            if (layout.packed) line = PackBits(line);
            bytes.insert(bytes.end(), line.begin(), line.end());
        }
        return bytes;
    };
    for (std::uint32_t plane = 0; plane < (layout.planes ? samples : 1); ++plane)
        for (std::uint32_t top = 0; top < height; top += layout.height)
            for (std::uint32_t left = 0; left < width; left += file.tiled ? layout.width : width)
                file.blocks.push_back(block(left, top, plane, layout.planes ? 1 : samples));
    return file;
}

}  // namespace kestrel::samples::tiff
