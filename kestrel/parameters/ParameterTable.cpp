#include "kestrel/parameters/ParameterTable.h"

#include <algorithm>
#include <cmath>

#include "kestrel/parameters/ParameterText.h"
#include "kestrel/parameters/TextEscapes.h"

namespace kestrel::table {
namespace {

constexpr int kFlagDigits = 1;
constexpr int kDecimals = 4;

double Held(const Form& form, double value) {
    return form.held && value != form.special ? std::clamp(value, form.range.minimum, form.range.maximum) : value;
}

std::optional<std::int32_t> ReadInteger(std::string_view text, const std::string& key, const Form& form) {
    if (form.hexadecimal) return ReadHexAfterEquals(text, key, static_cast<std::uint32_t>(form.range.maximum));
    switch (form.reading) {
        case Reading::Shared:
            return ReadIntAfterKey(text, key);
        case Reading::Equals:
            return ReadIntAfterEquals(text, key);
        case Reading::Digit:
            return ReadDigitAfterEquals(text, key);
    }
    return std::nullopt;
}

void StoreInteger(std::int32_t value, const Form& form, const Place& place) {
    if (place.integer)
        *place.integer = value;
    else if (place.flag)
        *place.flag = value != 0;
    else if (place.byte)
        *place.byte = static_cast<std::uint8_t>(form.kept ? (100 - std::int64_t{value}) * 255 / 100 : value);
}

Kind KindOf(const RowInfo& row, const Place& place) {
    if (row.color) return Kind::Color;
    if (!row.choices.empty()) return Kind::Choice;
    if (row.unit == Unit::Percent) return Kind::Percent;
    return place.integer  ? Kind::Integer
           : place.byte   ? Kind::Byte
           : place.flag   ? Kind::Flag
           : place.number ? Kind::Number
                          : Kind::Text;
}

}  // namespace

double Place::Number() const { return integer ? *integer : byte ? *byte : flag ? *flag : number ? *number : 0.0; }

std::string KeyOf(std::string_view key, std::size_t count, std::size_t i) {
    std::string whole(key);
    if (count > 1) whole.replace(whole.find('#'), 1, std::to_string(i + 1));
    return whole;
}

void ReadValue(std::string_view text, const std::string& key, const Form& form, const Place& place) {
    if (place.text) {
        if (const auto piece = ReadPiece(text, key)) *place.text = UnescapeText(*piece);
    } else if (place.number) {
        const auto value = ReadDoubleAfterEquals(text, key);
        if (value && (std::isfinite(*value) || (form.infinite && !std::isnan(*value))))
            *place.number = Held(form, *value);
        else if (form.fallback)
            *place.number = *form.fallback;
    } else if (const auto value = ReadInteger(text, key, form)) {
        StoreInteger(static_cast<std::int32_t>(Held(form, *value)), form, place);
    } else if (form.fallback) {
        StoreInteger(static_cast<std::int32_t>(*form.fallback), form, place);
    }
}

std::string TextOf(const Place& place, const Form& form, int digits, const char* fixed) {
    std::string text;
    if (place.text)
        text = EscapeText(*place.text);
    else if (place.number)
        AppendDouble(text, *place.number, digits == kAsWritten ? kDecimals : digits);
    else if (place.flag)
        AppendDecimal(text, *place.flag ? 1 : 0, digits == kAsWritten ? kFlagDigits : digits);
    else if (place.integer && form.hexadecimal)
        AppendHex(text, static_cast<std::uint32_t>(*place.integer), digits);
    else if (place.integer)
        AppendDecimal(text, *place.integer, std::max(digits, 1));
    else if (place.byte)
        AppendDecimal(text, form.kept ? (255 - *place.byte) * 100 / 255 : *place.byte, std::max(digits, 1));
    else
        text = fixed;
    return text;
}

bool SameValue(const Place& a, const Place& b, double tolerance) {
    return !(std::abs(a.Number() - b.Number()) > tolerance) && (!a.text || *a.text == *b.text);
}

void SetUnlike(const Place& place) {
    if (place.integer) *place.integer = -1;
    if (place.byte) *place.byte = 255;
    if (place.flag) *place.flag = !*place.flag;
}

void AppendPiece(std::string& text, const char* separator, const std::string& key, const std::string& value) {
    if (!text.empty()) text += separator;
    text += key + '=' + value;
}

std::string Joined(std::vector<Piece> pieces) {
    std::stable_sort(pieces.begin(), pieces.end(), [](const Piece& a, const Piece& b) { return a.place < b.place; });
    std::string text;
    for (const Piece& piece : pieces) AppendPiece(text, piece.separator, piece.key, piece.value);
    return text;
}

KeyInfo InfoOf(const RowInfo& row, const Form& form, const Place& place, std::size_t i) {
    const bool isWhole = place.integer || place.byte || place.flag;
    return {.key = KeyOf(row.key, row.count, i),
            .list = row.count > 1 ? std::string(std::string_view(row.key)) : "",
            .role = row.role,
            .kind = KindOf(row, place),
            .unit = row.unit,
            .channel = row.channel,
            .ranged = form.range != Range{},
            .minimum = form.range.minimum,
            .maximum = form.range.maximum,
            .special = form.special,
            .held = form.held,
            .anySeparator = form.reading == Reading::Shared && !form.hexadecimal && isWhole,
            .hexadecimal = form.hexadecimal,
            .active = row.active,
            .value = TextOf(place, form, form.hexadecimal ? row.digits : kAsWritten, row.fixed),
            .fallback = form.fallback,
            .label = row.label,
            .farLabel = row.farLabel,
            .otherLabel = row.relabeled.label,
            .otherWhen = std::string(std::string_view(row.relabeled.flag)),
            .meaning = row.meaning,
            .group = row.group,
            .caption = row.caption,
            .choices = row.choices};
}

}  // namespace kestrel::table
