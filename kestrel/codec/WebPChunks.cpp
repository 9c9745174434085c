#include "kestrel/codec/WebPChunks.h"

#include <algorithm>
#include <string_view>

#include "kestrel/codec/Exif.h"

namespace kestrel {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kFileHeader = 12, kChunkHeader = 8;
constexpr std::uint32_t kHasXmp = 4, kHasExif = 8, kHasAlpha = 16, kHasProfile = 32;

void Put(Bytes& to, std::uint32_t value, int size) {
    for (int i = 0; i < size; ++i) to.push_back(static_cast<std::uint8_t>(value >> 8 * i));
}

template <class Use>
void EachChunk(std::span<const std::uint8_t> file, const Use& use) {
    for (std::size_t at = kFileHeader; at + kChunkHeader <= file.size();) {
        std::uint64_t size = 0;
        for (std::size_t i = 4; i > 0; --i) size = size << 8 | file[at + 3 + i];
        const std::string_view name(reinterpret_cast<const char*>(file.data() + at), 4);
        at += kChunkHeader;
        size = std::min<std::uint64_t>(size, file.size() - at);
        use(name, file.subspan(at, size));
        at += std::min<std::size_t>(size + size % 2, file.size() - at);
    }
}

void AddChunk(Bytes& to, std::string_view name, std::span<const std::uint8_t> content) {
    if (content.empty()) return;
    to.insert(to.end(), name.begin(), name.end());
    Put(to, static_cast<std::uint32_t>(content.size()), 4);
    to.insert(to.end(), content.begin(), content.end());
    to.resize(to.size() + to.size() % 2);
}

}  // namespace

WebPExtras ReadWebPChunks(std::span<const std::uint8_t> file) {
    WebPExtras extras;
    EachChunk(file, [&](std::string_view name, std::span<const std::uint8_t> content) {
        const auto take = [&](std::string_view wanted, std::span<const std::uint8_t> from, Bytes& to) {
            if (name == wanted && to.empty()) to.assign(from.begin(), from.end());
        };
        take("EXIF", WithoutExifMark(content), extras.exif);
        take("ICCP", content, extras.profile);
        take("XMP ", content, extras.xmp);
    });
    return extras;
}

Bytes WithWebPChunks(std::span<const std::uint8_t> encoded, std::uint32_t width, std::uint32_t height, bool alpha,
                     const ImageMetadata& metadata) {
    Bytes file = {'R', 'I', 'F', 'F', 0, 0, 0, 0, 'W', 'E', 'B', 'P'}, about;
    Put(about,
        (alpha ? kHasAlpha : 0u) | (metadata.exif.empty() ? 0u : kHasExif) | (metadata.xmp.empty() ? 0u : kHasXmp) |
            (metadata.profile.empty() ? 0u : kHasProfile),
        4);
    Put(about, width - 1, 3), Put(about, height - 1, 3);
    AddChunk(file, "VP8X", about);
    AddChunk(file, "ICCP", metadata.profile);
    EachChunk(encoded, [&](std::string_view name, std::span<const std::uint8_t> content) {
        if (name != "VP8X") AddChunk(file, name, content);
    });
    AddChunk(file, "EXIF", metadata.exif);
    AddChunk(file, "XMP ", metadata.xmp);
    Bytes size;
    Put(size, static_cast<std::uint32_t>(file.size() - 8), 4);
    std::ranges::copy(size, file.begin() + 4);
    return file;
}

}  // namespace kestrel
