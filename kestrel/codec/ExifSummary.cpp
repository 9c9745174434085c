#include "kestrel/codec/ExifSummary.h"

#include <algorithm>
#include <cmath>

#include "kestrel/codec/Exif.h"
#include "kestrel/codec/TagDirectories.h"

namespace kestrel {
namespace {

constexpr std::size_t kLongestText = 1000;

std::string Text(TagReader& reader, const TagEntry* entry) {
    if (!entry || entry->type != kTagAscii || entry->size > kLongestText) return {};
    const std::vector<std::uint8_t> bytes = reader.Bytes(*entry);
    std::string text(bytes.begin(), std::ranges::find(bytes, 0));
    while (!text.empty() && text.back() == ' ') text.pop_back();
    std::ranges::replace_if(
        text, [](char c) { return (c >= 0 && c < ' ') || c == 127; }, '?');
    return text;
}

/// Degrees, minutes and seconds, below 0 where the letter before them is `negative`.
std::optional<double> Degrees(TagReader& reader, const TagDirectory& place, unsigned tag, char negative) {
    const TagEntry* letter = place.Find(tag);
    const TagEntry* parts = place.Find(tag + 1);
    if (!letter || !parts || parts->count < 3) return {};
    const double degrees =
        reader.Fraction(parts, 0) + reader.Fraction(parts, 1) / 60 + reader.Fraction(parts, 2) / 3600;
    const std::string side = Text(reader, letter);
    if (side.empty() || !std::isfinite(degrees) || degrees > 180) return {};
    return side[0] == negative ? -degrees : degrees;
}

}  // namespace

ExifSummary SummarizeExif(std::span<const std::uint8_t> exif) {
    TagReader reader{ByteReader(WithoutExifMark(exif))};
    const TagDirectory main = reader.Read(reader.First());
    const TagDirectory camera = reader.Below(main, kExifCamera), place = reader.Below(main, kExifPlace);
    ExifSummary summary;
    summary.description = Text(reader, main.Find(0x010E));
    summary.make = Text(reader, main.Find(0x010F));
    summary.model = Text(reader, main.Find(0x0110));
    summary.software = Text(reader, main.Find(0x0131));
    summary.artist = Text(reader, main.Find(0x013B));
    summary.copyright = Text(reader, main.Find(0x8298));
    summary.taken = Text(reader, camera.Find(0x9003));
    if (summary.taken.empty()) summary.taken = Text(reader, main.Find(0x0132));
    summary.lens = Text(reader, camera.Find(0xA434));
    summary.exposureTime = reader.Fraction(camera.Find(0x829A));
    summary.aperture = reader.Fraction(camera.Find(0x829D));
    summary.focalLength = reader.Fraction(camera.Find(0x920A));
    summary.sensitivity = reader.Number(camera.Find(0x8827));
    const auto latitude = Degrees(reader, place, 1, 'S'), longitude = Degrees(reader, place, 3, 'W');
    if (latitude && longitude) summary.place = {*latitude, *longitude};
    return summary;
}

}  // namespace kestrel
