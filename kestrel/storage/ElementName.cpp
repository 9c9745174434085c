#include "kestrel/storage/ElementName.h"

#include <cstdint>
#include <optional>

#include "kestrel/foundation/CodePage.h"

namespace kestrel {
namespace {

constexpr bool IsHigh(char32_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
constexpr bool IsLow(char32_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

void AppendUtf16(std::u16string& to, char32_t point) {
    if (point >= 0x10000) {
        to += static_cast<char16_t>(0xD800 + ((point - 0x10000) >> 10));
        point = 0xDC00 + ((point - 0x10000) & 0x3FF);
    }
    to += static_cast<char16_t>(point);
}

/// The code point at the start of the text, which is moved past it; none for what is not UTF-8.
std::optional<char32_t> TakePoint(std::string_view& text) {
    const auto first = static_cast<std::uint8_t>(text[0]);
    const std::size_t length = first < 0x80   ? 1
                               : first < 0xC2 ? 0
                               : first < 0xE0 ? 2
                               : first < 0xF0 ? 3
                               : first < 0xF5 ? 4
                                              : 0;
    if (length == 0 || text.size() < length) return {};
    char32_t point = length == 1 ? first : first & (0x7Fu >> length);
    for (std::size_t i = 1; i < length; ++i) {
        const auto byte = static_cast<std::uint8_t>(text[i]);
        if ((byte & 0xC0) != 0x80) return {};
        point = point << 6 | (byte & 0x3Fu);
    }
    constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
    if (point < kSmallest[length] || point > 0x10FFFF) return {};
    text.remove_prefix(length);
    return point;
}

}  // namespace

std::u16string ElementName(std::string_view text) {
    std::u16string name;
    for (std::string_view rest = text; !rest.empty();) {
        const auto point = TakePoint(rest);
        if (!point) {
            name.clear();
            for (const char c : text) name += UnicodeFrom1252(c);
            return name;
        }
        AppendUtf16(name, *point);
    }
    return name;
}

std::string ElementText(std::u16string_view name) {
    std::string text;
    for (std::size_t i = 0; i < name.size(); ++i) {
        char32_t point = name[i];
        if (IsHigh(point) && i + 1 < name.size() && IsLow(name[i + 1]))
            point = 0x10000 + ((point - 0xD800) << 10) + (name[++i] - 0xDC00u);
        const int more = point < 0x80 ? 0 : point < 0x800 ? 1 : point < 0x10000 ? 2 : 3;
        constexpr unsigned kFirst[] = {0, 0xC0, 0xE0, 0xF0};
        text += static_cast<char>(kFirst[more] | point >> (6 * more));
        for (int i6 = more - 1; i6 >= 0; --i6) text += static_cast<char>(0x80 | (point >> (6 * i6) & 0x3F));
    }
    return text;
}

}  // namespace kestrel
