#include "kestrel/storage/compound/Findings.h"

namespace kestrel::compound {
namespace {

constexpr int kMaxLevels = 32;  // of a path that is told

}  // namespace

std::string Utf8(std::u16string_view text) {
    std::string utf8;
    const auto put = [&](std::uint32_t byte) { utf8 += static_cast<char>(byte); };
    for (std::size_t i = 0; i < text.size(); ++i) {
        std::uint32_t c = text[i];
        if (c >= 0xD800 && c < 0xDC00 && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] < 0xE000)
            c = 0x10000 + ((c - 0xD800) << 10) + (text[++i] - 0xDC00U);
        if (c < 0x20 || c == 0x7F || (c >= 0xD800 && c < 0xE000)) c = '?';
        if (c < 0x80) {
            put(c);
        } else if (c < 0x800) {
            put(0xC0 | c >> 6);
            put(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            put(0xE0 | c >> 12);
            put(0x80 | (c >> 6 & 0x3F));
            put(0x80 | (c & 0x3F));
        } else {
            put(0xF0 | c >> 18);
            put(0x80 | (c >> 12 & 0x3F));
            put(0x80 | (c >> 6 & 0x3F));
            put(0x80 | (c & 0x3F));
        }
    }
    return utf8;
}

std::string Describe(Directory& directory, const NameTree& tree, EntryId id) {
    const auto entry = directory.Read(id);
    if (!entry) return "entry " + std::to_string(id);
    if (id == kRootEntry) return "the root storage";
    std::string path = Utf8(entry->Name());
    EntryId owner = tree.Owner(id);
    for (int level = 0; owner != kNoEntry && owner != kRootEntry; owner = tree.Owner(owner), ++level) {
        const auto above = directory.Read(owner);
        if (!above || level == kMaxLevels) {
            path.insert(0, ".../");
            break;
        }
        path.insert(0, Utf8(above->Name()) + "/");
    }
    return (entry->IsStream() ? "stream " : "storage ") + path;
}

}  // namespace kestrel::compound
