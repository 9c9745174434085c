#include "apps/kestrel/Values.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <limits>

namespace {

template <class Number, class... Form>
std::optional<Number> ParseAll(std::string_view text, Form... form) {
    Number value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, form...);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

}  // namespace

std::optional<Rgba> ParseColor(std::string_view text) {
    if (text.starts_with('#')) text.remove_prefix(1);
    if (text.size() != 6 && text.size() != 8) return std::nullopt;
    auto value = ParseAll<std::uint32_t>(text, 16);
    if (!value) return std::nullopt;
    Rgba color;
    if (text.size() == 8) {
        color.hasAlpha = true;
        color.alpha = static_cast<std::uint8_t>(*value);
        *value >>= 8;
    }
    color.red = static_cast<std::uint8_t>(*value >> 16);
    color.green = static_cast<std::uint8_t>(*value >> 8);
    color.blue = static_cast<std::uint8_t>(*value);
    return color;
}

std::string FormatColor(const Rgba& color) {
    std::string text = fmt::format("#{:02X}{:02X}{:02X}", color.red, color.green, color.blue);
    if (color.hasAlpha || color.alpha != 255) text += fmt::format("{:02X}", color.alpha);
    return text;
}

std::optional<std::int64_t> ParseInteger(std::string_view text) { return ParseAll<std::int64_t>(text, 10); }

std::optional<double> ParseNumber(std::string_view text) {
    const auto value = ParseAll<double>(text);
    return value && std::isfinite(*value) ? value : std::nullopt;
}

std::optional<Size> ParseSize(std::string_view text) {
    const std::size_t cross = text.find('x');
    if (cross == text.npos) return std::nullopt;
    const auto width = ParseAll<std::int32_t>(text.substr(0, cross), 10);
    const auto height = ParseAll<std::int32_t>(text.substr(cross + 1), 10);
    if (!width || !height || *width < 1 || *height < 1) return std::nullopt;
    return Size{*width, *height};
}

std::optional<Region> ParseRegion(std::string_view text) {
    int values[4];
    for (int i = 0; i < 4; ++i) {
        const std::size_t comma = i < 3 ? text.find(',') : text.size();
        if (comma == text.npos) return std::nullopt;
        const auto value = ParseInteger(text.substr(0, comma));
        if (!value || *value < (i < 2 ? 0 : 1) || *value > std::numeric_limits<int>::max()) return std::nullopt;
        values[i] = static_cast<int>(*value);
        text.remove_prefix(i < 3 ? comma + 1 : comma);
    }
    return Region{values[0], values[1], values[2], values[3]};
}
