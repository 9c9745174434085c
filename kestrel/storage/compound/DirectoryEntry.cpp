#include "kestrel/storage/compound/DirectoryEntry.h"

#include <algorithm>

namespace kestrel::compound {
namespace {

// Where the fields lie, in bytes.
constexpr std::size_t kNameBytesAt = 64;
constexpr std::size_t kKindAt = 66;
constexpr std::size_t kColorAt = 67;
constexpr std::size_t kLeftAt = 68;
constexpr std::size_t kRightAt = 72;
constexpr std::size_t kChildAt = 76;
constexpr std::size_t kClassIdAt = 80;
constexpr std::size_t kUserFlagsAt = 96;
constexpr std::size_t kCreatedAt = 100;
constexpr std::size_t kModifiedAt = 108;
constexpr std::size_t kStartAt = 116;
constexpr std::size_t kSizeAt = 120;

}  // namespace

void DirectoryEntry::SetName(std::u16string_view to) {
    std::fill(std::begin(name), std::end(name), u'\0');
    std::copy(to.begin(), to.end(), name);
    nameUnits = static_cast<std::uint8_t>(to.size());
}

ElementInfo DirectoryEntry::Info() const {
    return {.name = std::u16string(Name()),
            .kind = static_cast<ElementKind>(kind),
            .size = IsStream() ? size : 0,
            .classId = classId,
            .userFlags = userFlags,
            .created = created,
            .modified = modified};
}

DirectoryEntry DirectoryEntry::Read(std::span<const std::uint8_t, kEntryBytes> from, Version version) {
    const std::uint8_t* p = from.data();
    DirectoryEntry entry;
    const std::uint8_t kind = p[kKindAt];
    if (kind == 1 || kind == 2 || kind == 5) entry.kind = static_cast<Kind>(kind);
    for (std::size_t i = 0; i < kNameUnits; ++i) entry.name[i] = Load<std::uint16_t>(p + 2 * i);
    const auto* end = std::find(std::begin(entry.name), std::end(entry.name), u'\0');
    entry.nameUnits = static_cast<std::uint8_t>(end - entry.name);
    entry.black = p[kColorAt] != 0;
    entry.left = Load<EntryId>(p + kLeftAt);
    entry.right = Load<EntryId>(p + kRightAt);
    entry.child = Load<EntryId>(p + kChildAt);
    entry.classId.Data1 = Load<std::uint32_t>(p + kClassIdAt);
    entry.classId.Data2 = Load<std::uint16_t>(p + kClassIdAt + 4);
    entry.classId.Data3 = Load<std::uint16_t>(p + kClassIdAt + 6);
    std::copy_n(p + kClassIdAt + 8, 8, entry.classId.Data4.begin());
    entry.userFlags = Load<std::uint32_t>(p + kUserFlagsAt);
    entry.created = Load<std::uint64_t>(p + kCreatedAt);
    entry.modified = Load<std::uint64_t>(p + kModifiedAt);
    entry.start = Load<Sector>(p + kStartAt);
    entry.size = Load<std::uint64_t>(p + kSizeAt);
    if (version == Version::k3) entry.size &= 0xFFFFFFFF;
    return entry;
}

void DirectoryEntry::Write(std::span<std::uint8_t, kEntryBytes> to) const {
    std::fill(to.begin(), to.end(), std::uint8_t{0});
    std::uint8_t* p = to.data();
    for (std::size_t i = 0; i < nameUnits; ++i) Store(p + 2 * i, static_cast<std::uint16_t>(name[i]));
    const bool used = kind != Kind::kUnused;
    Store(p + kNameBytesAt, static_cast<std::uint16_t>(used ? 2 * (nameUnits + 1) : 0));
    p[kKindAt] = static_cast<std::uint8_t>(kind);
    p[kColorAt] = black ? 1 : 0;
    Store(p + kLeftAt, left);
    Store(p + kRightAt, right);
    Store(p + kChildAt, child);
    Store(p + kClassIdAt, classId.Data1);
    Store(p + kClassIdAt + 4, classId.Data2);
    Store(p + kClassIdAt + 6, classId.Data3);
    std::copy(classId.Data4.begin(), classId.Data4.end(), p + kClassIdAt + 8);
    Store(p + kUserFlagsAt, userFlags);
    Store(p + kCreatedAt, created);
    Store(p + kModifiedAt, modified);
    Store(p + kStartAt, start);
    Store(p + kSizeAt, size);
}

}  // namespace kestrel::compound
