#pragma once
#include <array>
#include <compare>
#include <cstdint>
#include <string>
#include <string_view>

namespace kestrel {

/// Identifies an interface or a class; the field names are the platform's.
struct GUID {
    std::uint32_t Data1 = 0;
    std::uint16_t Data2 = 0;
    std::uint16_t Data3 = 0;
    std::array<std::uint8_t, 8> Data4{};
    constexpr auto operator<=>(const GUID&) const = default;
};

namespace detail {

constexpr std::uint32_t HexDigit(char c) {
    if (c >= '0' && c <= '9') return static_cast<std::uint32_t>(c - '0');
    if (c >= 'A' && c <= 'F') return static_cast<std::uint32_t>(c - 'A' + 10);
    if (c >= 'a' && c <= 'f') return static_cast<std::uint32_t>(c - 'a' + 10);
    throw "a GUID is written in hexadecimal digits";  // stops the compilation: callers are consteval
}

constexpr std::uint32_t HexField(std::string_view text, std::size_t at, std::size_t digits) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < digits; ++i) value = value << 4 | HexDigit(text[at + i]);
    return value;
}

}  // namespace detail

/// "{8D772961-5CA0-4866-95E9-CD0E660E683C}" as a GUID; a malformed text does not compile.
consteval GUID MakeGuid(std::string_view text) {
    if (text.size() != 38 || text[0] != '{' || text[9] != '-' || text[14] != '-' || text[19] != '-' ||
        text[24] != '-' || text[37] != '}')
        throw "a GUID is written {8-4-4-4-12}";
    GUID guid;
    guid.Data1 = detail::HexField(text, 1, 8);
    guid.Data2 = static_cast<std::uint16_t>(detail::HexField(text, 10, 4));
    guid.Data3 = static_cast<std::uint16_t>(detail::HexField(text, 15, 4));
    for (std::size_t i = 0; i < 8; ++i)
        guid.Data4[i] = static_cast<std::uint8_t>(detail::HexField(text, (i < 2 ? 20 : 21) + 2 * i, 2));
    return guid;
}

/// The braced upper-case form that `MakeGuid` takes.
inline std::string ToString(const GUID& guid) {
    constexpr char digits[] = "0123456789ABCDEF";
    std::string text = "{";
    const auto hex = [&](std::uint32_t value, int count) {
        for (int shift = 4 * (count - 1); shift >= 0; shift -= 4) text += digits[value >> shift & 15];
    };
    hex(guid.Data1, 8);
    text += '-';
    hex(guid.Data2, 4);
    text += '-';
    hex(guid.Data3, 4);
    text += '-';
    for (std::size_t i = 0; i < 8; ++i) {
        if (i == 2) text += '-';
        hex(guid.Data4[i], 2);
    }
    return text + '}';
}

}  // namespace kestrel
