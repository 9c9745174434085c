#include "kestrel/codec/Exif.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <tuple>
#include <utility>

#include "kestrel/codec/TagDirectories.h"

namespace kestrel {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::string_view kMark("Exif\0\0", 6);
constexpr unsigned kThumbnailPlace = 0x0201, kThumbnailSize = 0x0202, kStripPlaces = 0x0111, kStripSizes = 0x0117;

void Put(std::span<std::uint8_t> to, std::uint64_t value, bool bigEndian) {
    for (std::size_t i = 0; i < to.size(); ++i)
        to[i] = static_cast<std::uint8_t>(value >> 8 * (bigEndian ? to.size() - 1 - i : i));
}

/// The directories of a block, which may be changed.
class ExifData {
public:
    explicit ExifData(std::span<std::uint8_t> exif) : bytes_(exif), reader_(ByteReader(exif)) {}

    TagReader& Reader() { return reader_; }
    TagDirectory Main() { return reader_.IsLarge() ? TagDirectory() : reader_.Read(reader_.First()); }

    /// Sets the single number of an entry, which becomes a long where a short does not hold it.
    void SetNumber(const TagDirectory& directory, unsigned tag, std::uint64_t value) {
        const TagEntry* entry = directory.Find(tag);
        if (!entry || entry->count != 1 || (entry->type != kTagShort && entry->type != kTagLong)) return;
        const bool isShort = entry->type == kTagShort && value <= 0xFFFF;
        const auto put = [&](std::uint64_t at, std::size_t size, std::uint64_t number) {
            Put(bytes_.subspan(at, size), number, reader_.IsBigEndian());
        };
        put(entry->at + 2, 2, isShort ? kTagShort : kTagLong);
        put(entry->at + 8, 4, 0);
        put(entry->at + 8, isShort ? 2 : 4, value);
    }
    void SetNext(const TagDirectory& directory, std::uint32_t next) {
        if (directory.end >= 4) Put(bytes_.subspan(directory.end - 4, 4), next, reader_.IsBigEndian());
    }
    void Remove(TagDirectory directory, unsigned tag);

private:
    std::span<std::uint8_t> bytes_;
    TagReader reader_;
};

/// The entries behind a tag's close up; the directory keeps its place and leaves zeros.
void ExifData::Remove(TagDirectory directory, unsigned tag) {
    const auto gone = std::ranges::find(directory.entries, tag, &TagEntry::tag);
    const std::size_t size = reader_.EntrySize();
    if (gone == directory.entries.end() || gone->at + size > directory.end) return;
    const auto from = bytes_.begin() + static_cast<std::ptrdiff_t>(gone->at);
    const auto end = bytes_.begin() + static_cast<std::ptrdiff_t>(directory.end);
    std::fill(std::copy(from + static_cast<std::ptrdiff_t>(size), end, from), end, std::uint8_t{0});
    std::uint64_t high = bytes_[directory.at], low = bytes_[directory.at + 1];
    if (!reader_.IsBigEndian()) std::swap(high, low);
    const std::uint64_t count = high << 8 | low;
    Put(bytes_.subspan(directory.at, 2), count - 1, reader_.IsBigEndian());
}

struct Range {
    std::uint64_t begin, end;
    bool operator<(const Range& other) const { return std::tie(begin, end) < std::tie(other.begin, other.end); }
};
using Ranges = std::vector<Range>;

void AddDirectory(const TagDirectory& directory, Ranges& ranges) {
    if (directory.end == 0) return;
    ranges.push_back({directory.at, directory.end});
    for (const TagEntry& entry : directory.entries)
        if (entry.size > 0) ranges.push_back({entry.value, entry.value + entry.size});
}

/// All that is reached from the main directory.
Ranges Live(ExifData& data) {
    Ranges live = {{0, 8}};
    const TagDirectory main = data.Main();
    const TagDirectory camera = data.Reader().Below(main, kExifCamera);
    AddDirectory(main, live);
    AddDirectory(camera, live);
    AddDirectory(data.Reader().Below(main, kExifPlace), live);
    AddDirectory(data.Reader().Below(camera, kExifInterop), live);
    return live;
}

/// In order, those that touch as one: entries may name the same bytes over and over.
Ranges Joined(Ranges ranges) {
    std::sort(ranges.begin(), ranges.end());
    Ranges joined;
    for (const Range& range : ranges) {
        if (joined.empty() || range.begin > joined.back().end)
            joined.push_back(range);
        else
            joined.back().end = std::max(joined.back().end, range.end);
    }
    return joined;
}

/// Overwrites what nothing else lies in with zeros, and cuts the data off where that was their end.
void Erase(Bytes& exif, const Ranges& erased, const Ranges& used) {
    const Ranges dead = Joined(erased), live = Joined(used);
    auto kept = live.begin();
    for (const Range& range : dead) {
        std::uint64_t at = range.begin;
        const auto erase = [&](std::uint64_t end) {
            if (end > at) std::fill_n(exif.begin() + static_cast<std::ptrdiff_t>(at), end - at, std::uint8_t{0});
        };
        while (kept != live.end() && kept->end <= range.begin) ++kept;
        for (auto next = kept; next != live.end() && next->begin < range.end; ++next) {
            erase(next->begin);
            at = next->end;
        }
        erase(std::min<std::uint64_t>(range.end, exif.size()));
    }
    const std::uint64_t end = live.empty() ? 0 : live.back().end;
    for (auto range = dead.rbegin(); range != dead.rend(); ++range)
        if (range->end >= exif.size() && range->begin < exif.size()) exif.resize(std::max(range->begin, end));
}

void DropThumbnail(Bytes& exif) {
    ExifData data(exif);
    const TagDirectory main = data.Main();
    const TagDirectory thumbnail = data.Reader().Read(main.next);
    if (thumbnail.end == 0) return;
    Ranges dead;
    AddDirectory(thumbnail, dead);
    for (const auto& [place, size] : {std::pair{kThumbnailPlace, kThumbnailSize}, {kStripPlaces, kStripSizes}}) {
        const TagEntry* places = thumbnail.Find(place);
        const TagEntry* sizes = thumbnail.Find(size);
        for (std::uint64_t i = 0; places && sizes && i < std::min(places->count, sizes->count); ++i) {
            const std::uint64_t at = data.Reader().Number(places, i);
            if (at >= exif.size()) continue;
            dead.push_back({at, at + std::min<std::uint64_t>(data.Reader().Number(sizes, i), exif.size() - at)});
        }
    }
    data.SetNext(main, 0);
    Erase(exif, dead, Live(data));
}

}  // namespace

std::span<const std::uint8_t> WithoutExifMark(std::span<const std::uint8_t> exif) {
    const bool marked = exif.size() >= kMark.size() && std::memcmp(exif.data(), kMark.data(), kMark.size()) == 0;
    return marked ? exif.subspan(kMark.size()) : exif;
}

int ExifOrientation(std::span<const std::uint8_t> exif) {
    TagReader reader{ByteReader(WithoutExifMark(exif))};
    const TagDirectory main = reader.Read(reader.First());
    const TagEntry* entry = main.Find(kExifOrientation);
    const std::uint64_t value = entry && entry->type == kTagShort ? reader.Number(entry) : 1;
    return value >= 1 && value <= 8 ? static_cast<int>(value) : 1;
}

void ResetExifOrientation(std::span<std::uint8_t> exif) {
    const auto block = exif.last(WithoutExifMark(exif).size());
    ExifData data(block);
    const TagDirectory main = data.Main();
    const TagEntry* entry = main.Find(kExifOrientation);
    if (entry && entry->type == kTagShort) Put(block.subspan(entry->value, 2), 1, data.Reader().IsBigEndian());
}

Density ExifDensity(std::span<const std::uint8_t> exif) {
    TagReader reader{ByteReader(exif)};
    const TagDirectory main = reader.Read(reader.First());
    const double x = reader.Fraction(main.Find(kExifXResolution)), y = reader.Fraction(main.Find(kExifYResolution));
    if (!(x > 0 && y > 0)) return {};
    const std::uint64_t unit = reader.Number(main.Find(kExifResolutionUnit));
    if (unit == 1) return {};
    return {unit == 3 ? Density::Unit::PerCentimeter : Density::Unit::PerInch, x, y};
}

void UpdateExif(Bytes& exif, std::int64_t width, std::int64_t height) {
    DropThumbnail(exif);
    ExifData data(exif);
    const TagDirectory main = data.Main();
    const TagDirectory camera = data.Reader().Below(main, kExifCamera);
    data.SetNumber(main, kExifWidth, static_cast<std::uint64_t>(width));
    data.SetNumber(main, kExifHeight, static_cast<std::uint64_t>(height));
    data.SetNumber(camera, kExifPixelWidth, static_cast<std::uint64_t>(width));
    data.SetNumber(camera, kExifPixelHeight, static_cast<std::uint64_t>(height));
}

void SetExifToSrgb(std::span<std::uint8_t> exif) {
    ExifData data(exif);
    data.SetNumber(data.Reader().Below(data.Main(), kExifCamera), kExifColorSpace, 1);
}

void StripExifPlace(Bytes& exif) {
    for (;;) {
        ExifData data(exif);
        const TagDirectory main = data.Main();
        if (std::ranges::find(main.entries, unsigned{kExifPlace}, &TagEntry::tag) == main.entries.end()) return;
        Ranges dead;
        AddDirectory(data.Reader().Below(main, kExifPlace), dead);
        const std::size_t before = main.entries.size();
        data.Remove(main, kExifPlace);
        if (data.Main().entries.size() >= before) return;  // it breaks off
        Erase(exif, dead, Live(data));
    }
}

}  // namespace kestrel
