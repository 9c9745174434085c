#include "kestrel/codec/TagDirectories.h"

#include <algorithm>
#include <iterator>

namespace kestrel {
namespace {

constexpr std::uint64_t kMostEntries = 4096;  // of a directory; real ones have some dozens

}  // namespace

const TagEntry* TagDirectory::Find(unsigned tag) const {
    const auto found = std::ranges::find_if(entries, [tag](const TagEntry& e) { return e.tag == tag && e.size > 0; });
    return found == entries.end() ? nullptr : &*found;
}

std::size_t TagTypeSize(unsigned type) {
    // None, byte, text, short, long, fraction, then the signed ones with a block of bytes among them, float, double;
    // 13 is a position, 16 to 18 have 64 bits.
    constexpr std::uint8_t kSizes[] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4, 0, 0, 8, 8, 8};
    return type < std::size(kSizes) ? kSizes[type] : 0;
}

TagReader::TagReader(ByteReader source) : source_(source), start_(source.Position()), size_(source.Left()) {
    const std::uint64_t order = Get(0, 2);
    if (order != 0x4949 && order != 0x4D4D) return;
    bigEndian_ = order == 0x4D4D;
    const std::uint64_t version = Get(2, 2);
    large_ = version == 43;
    valid_ = size_ >= 8 && (version == 42 || (large_ && Get(4, 2) == 8));
    if (valid_) first_ = large_ ? Get(8, 8) : Get(4, 4);
}

TagReader::TagReader(ByteReader head, ByteReader rest, std::uint64_t from) : TagReader(head) {
    source_ = rest;
    start_ = rest.Position() - from;
    lowest_ = from;
    size_ = from + rest.Left();
}

std::uint64_t TagReader::Get(std::uint64_t at, std::size_t size) {
    std::uint8_t bytes[8];
    if (!Holds(at, size) || !source_.Seek(start_ + at) || source_.Read(bytes, size) != size) return 0;
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < size; ++i) value = value << 8 | bytes[bigEndian_ ? i : size - 1 - i];
    return value;
}

TagDirectory TagReader::Read(std::uint64_t at) {
    TagDirectory directory;
    const std::size_t countSize = large_ ? 8 : 2;
    if (!valid_ || at == 0 || !Holds(at, countSize)) return directory;
    const std::uint64_t count = Get(at, countSize);
    if (count > kMostEntries) return directory;
    directory.at = at;
    std::uint64_t entry = at + countSize;
    for (std::uint64_t i = 0; i < count && Holds(entry, EntrySize()); ++i, entry += EntrySize()) {
        TagEntry& to = directory.entries.emplace_back();
        to.at = entry;
        to.tag = static_cast<unsigned>(Get(entry, 2));
        to.type = static_cast<unsigned>(Get(entry + 2, 2));
        to.count = Get(entry + 4, PlaceSize());
        const std::uint64_t inside = entry + 4 + PlaceSize();
        if (to.count > size_) continue;  // no data hold so many
        const std::uint64_t size = to.count * TagTypeSize(to.type);
        to.value = size <= PlaceSize() ? inside : Get(inside, PlaceSize());
        if (Holds(to.value, size)) to.size = size;
    }
    directory.next = Get(entry, PlaceSize());
    directory.end = std::min(entry + PlaceSize(), size_);
    return directory;
}

TagDirectory TagReader::Below(const TagDirectory& directory, unsigned tag) { return Read(Number(directory.Find(tag))); }

std::uint64_t TagReader::Number(const TagEntry* entry, std::uint64_t index) {
    if (!entry) return 0;
    const std::size_t size = TagTypeSize(entry->type);
    return index < entry->size / size ? Get(entry->value + index * size, size) : 0;
}

double TagReader::Fraction(const TagEntry* entry, std::uint64_t index) {
    constexpr unsigned kSignedRational = 10;
    if (!entry) return 0;
    if (entry->type != kTagRational && entry->type != kSignedRational) return static_cast<double>(Number(entry, index));
    if (index >= entry->size / 8) return 0;
    const auto part = [&](std::uint64_t at) {
        const auto value = static_cast<std::uint32_t>(Get(at, 4));
        return static_cast<double>(entry->type == kTagRational ? std::int64_t{value}
                                                               : static_cast<std::int32_t>(value));
    };
    const double divisor = part(entry->value + 8 * index + 4);
    return divisor == 0 ? 0 : part(entry->value + 8 * index) / divisor;
}

std::vector<std::uint8_t> TagReader::Bytes(const TagEntry& entry) {
    std::vector<std::uint8_t> bytes(entry.size);
    if (!source_.Seek(start_ + entry.value)) bytes.clear();
    bytes.resize(source_.Read(bytes.data(), bytes.size()));
    return bytes;
}

}  // namespace kestrel
