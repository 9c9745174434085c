#include "kestrel/codec/Jp2Boxes.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string_view>

#include "kestrel/codec/Exif.h"

namespace kestrel {
namespace {

using namespace std::string_view_literals;
using Bytes = std::span<const std::uint8_t>;

constexpr auto kExifId = "JpgTiffExif->JP2"sv;
constexpr auto kXmpId = "\xBE\x7A\xCF\xCB\x97\xA9\x42\xE8\x9C\x71\x99\x94\x91\xE3\xAF\xAC"sv;
constexpr auto kIptcId = "\x33\xC7\xA4\xD2\xB8\x1D\x47\x23\xA0\xBA\xF1\xA3\xE0\x97\xAD\x38"sv;
constexpr std::size_t kHeader = 8;
constexpr std::uint64_t kFewTiles = 1000;
constexpr std::uint64_t kSmallestTile = 14;  // bytes of its two markers

std::uint64_t Number(Bytes bytes, std::size_t at, std::size_t size) {
    std::uint64_t value = 0;
    if (at > bytes.size() || size > bytes.size() - at) return 0;
    for (std::size_t i = 0; i < size; ++i) value = value << 8 | bytes[at + i];
    return value;
}

bool Begins(Bytes bytes, std::string_view with) {
    return bytes.size() >= with.size() && std::memcmp(bytes.data(), with.data(), with.size()) == 0;
}

struct Box {
    std::string_view name{};
    Bytes content{};
    std::size_t at = 0;  ///< where it begins in what was read
};

/// The boxes in sequence; `use` returns false for enough.
template <class Use>
void EachBox(Bytes bytes, const Use& use) {
    std::size_t at = 0;
    while (bytes.size() - at >= kHeader) {
        std::uint64_t size = Number(bytes, at, 4);
        std::size_t header = kHeader;
        if (size == 1) {  // a length of 64 bits follows the name
            size = Number(bytes, at + 8, 8);
            header = 16;
        }
        const std::size_t left = bytes.size() - at;
        if (size == 0 || size > left) size = left;  // to the end
        if (size < header) return;
        const std::string_view name(reinterpret_cast<const char*>(bytes.data() + at + 4), 4);
        if (!use(Box{name, bytes.subspan(at + header, static_cast<std::size_t>(size) - header), at})) return;
        at += static_cast<std::size_t>(size);
    }
}

Box Find(Bytes bytes, std::string_view name) {
    Box found;
    EachBox(bytes, [&](const Box& box) {
        if (box.name != name) return true;
        found = box;
        return false;
    });
    return found;
}

/// Numerators, denominators and exponents of ten of the pixels for each metre, down and across.
Density DensityOf(Bytes box) {
    const auto value = [&](std::size_t at, std::size_t exponent) {
        const double divisor = static_cast<double>(Number(box, at + 2, 2));
        const auto power = static_cast<std::int8_t>(Number(box, exponent, 1));
        return divisor == 0 ? 0 : static_cast<double>(Number(box, at, 2)) / divisor * std::pow(10, power);
    };
    const double y = value(0, 8), x = value(4, 9);
    if (!(x > 0 && y > 0) || !std::isfinite(x) || !std::isfinite(y)) return {};
    // Inches come as fractions of 254.
    if (Number(box, 2, 2) == 254 && Number(box, 6, 2) == 254)
        return {Density::Unit::PerInch, std::round(x * 25.4) / 1000, std::round(y * 25.4) / 1000};
    return {Density::Unit::PerMeter, x, y};
}

void Put(std::vector<std::uint8_t>& to, std::uint64_t value, int size) {
    for (int i = size - 1; i >= 0; --i) to.push_back(static_cast<std::uint8_t>(value >> 8 * i));
}

/// A box whose content begins with some bytes of its own.
void AddBox(std::vector<std::uint8_t>& to, std::string_view name, std::string_view begin, Bytes content) {
    Put(to, kHeader + begin.size() + content.size(), 4);
    to.insert(to.end(), name.begin(), name.end());
    to.insert(to.end(), begin.begin(), begin.end());
    to.insert(to.end(), content.begin(), content.end());
}

std::vector<std::uint8_t> DensityBox(const Density& density) {
    const bool inch = density.unit == Density::Unit::PerInch;
    const int exponent = inch ? 4 : density.unit == Density::Unit::PerCentimeter ? 2 : 0;
    std::vector<std::uint8_t> values, powers, box;
    for (double value : {density.y, density.x}) {
        int power = exponent;
        for (; value > 65535; value /= 10) ++power;
        for (; value != std::floor(value) && value * 10 <= 65535; value *= 10) --power;
        Put(values, static_cast<std::uint64_t>(std::max(std::lround(value), 1L)), 2);
        Put(values, inch ? 254 : 1, 2);
        Put(powers, static_cast<std::uint64_t>(power), 1);
    }
    values.insert(values.end(), powers.begin(), powers.end());
    AddBox(box, "resc"sv, {}, values);
    return box;
}

}  // namespace

Bytes ReadJp2Boxes(Bytes file, ImageMetadata& metadata) {
    Bytes profile;
    EachBox(file, [&](const Box& box) {
        const auto take = [&](std::string_view id, std::vector<std::uint8_t>& to) {
            if (!to.empty() || !Begins(box.content, id)) return;
            const Bytes data = box.content.subspan(id.size());
            to.assign(data.begin(), data.end());
        };
        if (box.name == "uuid"sv) {
            take(kExifId, metadata.exif);
            take(kXmpId, metadata.xmp);
            take(kIptcId, metadata.iptc);
        } else if (box.name == "jp2h"sv) {
            const Bytes density = Find(box.content, "res "sv).content;
            for (const auto name : {"resd"sv, "resc"sv})
                if (const Box found = Find(density, name); found.content.size() >= 10)
                    metadata.density = DensityOf(found.content);
            const Bytes color = Find(box.content, "colr"sv).content;
            if (color.size() > 3 && (color[0] == 2 || color[0] == 3)) profile = color.subspan(3);
        }
        return true;
    });
    const auto exif = WithoutExifMark(metadata.exif);
    if (exif.size() < metadata.exif.size()) metadata.exif = {exif.begin(), exif.end()};
    return profile;
}

void AddJp2Boxes(std::vector<std::uint8_t>& file, const ImageMetadata& metadata) {
    const Box pixels = Find(file, "jp2c"sv), header = Find(file, "jp2h"sv);
    if (pixels.name.empty() || header.name.empty() || header.at > pixels.at) return;
    std::vector<std::uint8_t> about, result(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(header.at));
    EachBox(header.content, [&](const Box& box) {
        if (box.name == "colr"sv && !metadata.profile.empty()) {
            const std::string_view method("\x02\0\0", 3);  // a profile; precedence and approximation
            AddBox(about, "colr"sv, method, metadata.profile);
        } else {
            AddBox(about, box.name, {}, box.content);
        }
        return true;
    });
    const Density::Unit unit = metadata.density.unit;
    if (unit != Density::Unit::None && unit != Density::Unit::AspectOnly)
        AddBox(about, "res "sv, {}, DensityBox(metadata.density));
    AddBox(result, "jp2h"sv, {}, about);
    if (!metadata.exif.empty()) AddBox(result, "uuid"sv, kExifId, metadata.exif);
    if (!metadata.xmp.empty()) AddBox(result, "uuid"sv, kXmpId, metadata.xmp);
    if (!metadata.iptc.empty()) AddBox(result, "uuid"sv, kIptcId, metadata.iptc);
    result.insert(result.end(), file.begin() + static_cast<std::ptrdiff_t>(pixels.at), file.end());
    file = std::move(result);
}

bool TilesArePlausible(Bytes file) {
    // After the two markers and the length: capabilities, then right and lower edge, left and upper edge, and the
    // tiles' size and origin, 4 bytes each.
    const Bytes stream = Begins(file, "\xFF\x4F\xFF\x51"sv) ? file : Find(file, "jp2c"sv).content;
    if (!Begins(stream, "\xFF\x4F\xFF\x51"sv) || stream.size() < 40) return true;  // the decoder will say
    const auto across = [&](std::size_t side) {
        const std::uint64_t edge = Number(stream, 8 + side, 4), tile = Number(stream, 24 + side, 4),
                            origin = Number(stream, 32 + side, 4);
        return tile == 0 || edge < origin ? 0 : (edge - origin + tile - 1) / tile;
    };
    const std::uint64_t tiles = across(0) * across(4);
    return tiles <= kFewTiles || tiles <= stream.size() / kSmallestTile;
}

}  // namespace kestrel
