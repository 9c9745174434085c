#include "kestrel/parameters/ParameterText.h"

#include <fmt/format.h>
#include <locale.h>
#include <stdlib.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <iterator>

namespace kestrel {
namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

std::string_view SkipSpace(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || (text.front() >= '\t' && text.front() <= '\r')))
        text.remove_prefix(1);
    return text;
}

/// Stores a number that differs and raises the flag.
template <class Field, class Value>
bool Store(std::optional<Value> value, Field* field, bool* changed) {
    if (!value) return false;
    if (static_cast<Field>(*value) != *field) {
        *field = static_cast<Field>(*value);
        *changed = true;
    }
    return true;
}

}  // namespace

std::optional<std::int32_t> ReadDecimal(std::string_view text) {
    text = SkipSpace(text);
    const bool negative = !text.empty() && text.front() == '-';
    if (negative || (!text.empty() && text.front() == '+')) text.remove_prefix(1);
    if (text.empty() || !IsDigit(text.front())) return std::nullopt;
    std::uint32_t value = 0;
    for (; !text.empty() && IsDigit(text.front()); text.remove_prefix(1))
        value = value * 10 + static_cast<std::uint32_t>(text.front() - '0');
    return static_cast<std::int32_t>(negative ? 0 - value : value);
}

std::optional<double> ReadDouble(std::string_view text) {
    text = SkipSpace(text);
    if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error == std::errc::invalid_argument) return std::nullopt;
    if (error == std::errc::result_out_of_range) {
        // Too large or too small for a double. The whole of it decides which: "1e999" and "0.0...1" alike begin small.
        static const locale_t plain = newlocale(LC_NUMERIC_MASK, "C", nullptr);
        return strtod_l(std::string(text.data(), end).c_str(), nullptr, plain);
    }
    return value;
}

std::optional<std::string_view> AfterKey(std::string_view text, std::string_view key) {
    const std::size_t at = text.find(key);
    if (at == std::string_view::npos || at + key.size() >= text.size()) return std::nullopt;
    return text.substr(at + key.size() + 1);
}

std::optional<std::string_view> AfterEquals(std::string_view text, std::string_view key) {
    const std::string whole = std::string(key) + '=';
    const std::size_t at = text.find(whole);
    if (at == std::string_view::npos) return std::nullopt;
    return text.substr(at + whole.size());
}

std::optional<std::int32_t> ReadIntAfterKey(std::string_view text, std::string_view key) {
    const auto rest = AfterKey(text, key);
    return rest ? ReadDecimal(*rest) : std::nullopt;
}

std::optional<std::int32_t> ReadIntAfterEquals(std::string_view text, std::string_view key) {
    const auto rest = AfterEquals(text, key);
    return rest ? ReadDecimal(*rest) : std::nullopt;
}

std::optional<std::int32_t> ReadDigitAfterEquals(std::string_view text, std::string_view key) {
    const auto rest = AfterEquals(text, key);
    if (!rest || rest->empty() || !IsDigit(rest->front())) return std::nullopt;
    return rest->front() - '0';
}

std::optional<std::int32_t> ReadHexAfterEquals(std::string_view text, std::string_view key, std::uint32_t maximum) {
    auto digits = AfterEquals(text, key);
    if (!digits) return std::nullopt;
    digits->remove_prefix(std::min(digits->find_first_not_of(' '), digits->size()));
    std::uint32_t value = 0;
    const auto [end, error] = std::from_chars(digits->data(), digits->data() + digits->size(), value, 16);
    if (error != std::errc{} || value > maximum) return std::nullopt;
    return static_cast<std::int32_t>(value);
}

std::optional<double> ReadDoubleAfterEquals(std::string_view text, std::string_view key) {
    const auto rest = AfterEquals(text, key);
    return rest ? ReadDouble(*rest) : std::nullopt;
}

std::optional<std::string_view> ReadPiece(std::string_view text, std::string_view key) {
    const auto rest = AfterEquals(text, key);
    return rest ? std::optional(rest->substr(0, rest->find(','))) : std::nullopt;
}

bool ReadIntParameter(std::string_view text, std::string_view key, std::int32_t* field, bool* changed) {
    return Store(ReadIntAfterKey(text, key), field, changed);
}

bool ReadUIntParameter(std::string_view text, std::string_view key, std::uint32_t* field, bool* changed) {
    return Store(ReadIntAfterKey(text, key), field, changed);
}

bool ReadByteParameter(std::string_view text, std::string_view key, std::uint8_t* field, bool* changed) {
    return Store(ReadIntAfterKey(text, key), field, changed);
}

bool ReadBoolParameter(std::string_view text, std::string_view key, bool* field, bool* changed) {
    const auto value = ReadIntAfterKey(text, key);
    if (!value) return false;
    if (*value != (*field ? 1 : 0)) {
        *field = *value != 0;
        *changed = true;
    }
    return true;
}

void AppendDecimal(std::string& text, std::int32_t value, int digits) {
    const std::string plain = std::to_string(value < 0 ? -std::int64_t{value} : std::int64_t{value});
    if (value < 0) text += '-';
    const auto width = static_cast<std::size_t>(digits);
    if (plain.size() < width) text.append(width - plain.size(), '0');
    text += plain;
}

void AppendDouble(std::string& text, double value, int decimals) {
    fmt::format_to(std::back_inserter(text), "{:.{}f}", value, decimals);
}

void AppendHex(std::string& text, std::uint32_t value, int digits) {
    fmt::format_to(std::back_inserter(text), "{:0{}x}", value, digits);
}

HRESULT WriteText(const std::string& text, char* buffer, int size, int minimum) {
    if (size < minimum) return S_OK;
    if (text.size() >= static_cast<std::size_t>(size)) return E_FAIL;
    std::memcpy(buffer, text.c_str(), text.size() + 1);
    return S_OK;
}

}  // namespace kestrel
