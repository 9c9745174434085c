#pragma once
#include <array>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "kestrel/parameters/ParameterRow.h"

namespace kestrel {

/// A filter's text as data: each key once. The rows stand in the order of the written form.
template <class Record, std::size_t N>
struct ParameterTable {
    std::array<ParameterRow<Record>, N> keys;
    int minimumBuffer;                 ///< the writers write nothing into a smaller buffer
    const char* separator = ", ";      ///< of the written form
    int digits = 3;                    ///< of its integers
    const char* resetSeparator = ",";  ///< of the default text; null: that of the written form
    int resetDigits = kAsWritten;
};

namespace table {

// What needs to know the record is a template and kept short, as each filter compiles it; the rest is in the source.

/// Where a value is. At most one pointer is set; a tag has none.
struct Place {
    std::int32_t* integer = nullptr;
    std::uint8_t* byte = nullptr;
    bool* flag = nullptr;
    double* number = nullptr;
    std::string* text = nullptr;

    /// The value of whatever is no text.
    double Number() const;
};

/// How a value stands in a text, and how it is read from one: what `ParameterRow` says of it.
struct Form {
    Reading reading;
    Range range;
    std::optional<double> fallback;
    bool held;
    bool infinite;
    std::optional<double> special;
    bool kept;
    bool hexadecimal;
};

/// A key with its value, as a text holds it.
struct Piece {
    int place;
    const char* separator;
    std::string key;
    std::string value;
};

KESTREL_API std::string KeyOf(std::string_view key, std::size_t count, std::size_t i);
KESTREL_API void ReadValue(std::string_view text, const std::string& key, const Form& form, const Place& place);
/// The value as text; `digits` is the minimum of an integer, the decimals of a number.
KESTREL_API std::string TextOf(const Place& place, const Form& form, int digits, const char* fixed);
KESTREL_API bool SameValue(const Place& a, const Place& b, double tolerance);
KESTREL_API void SetUnlike(const Place& place);
/// Appends "Key=value" after its separator.
KESTREL_API void AppendPiece(std::string& text, const char* separator, const std::string& key,
                             const std::string& value);
/// The pieces by their places, those of one place in the order in which they stand.
KESTREL_API std::string Joined(std::vector<Piece> pieces);

/// Not inline: seeing one record's size, GCC 12 warns of the alternatives that its fields never take.
template <class Record>
[[gnu::noinline, gnu::cold]] Place Locate(const ParameterRow<Record>& row, Record& record, std::size_t i) {
    const auto member = [&]<class Value>(Value Record::*) {
        const auto* const field = std::get_if<Value Record::*>(&row.field);
        return field ? &(record.**field) : nullptr;
    };
    const auto element = [&]<class Value>(Value* found) {
        const auto* const field = std::get_if<Element<Record, Value>>(&row.field);
        return field ? &(*field)(record, row.index + i) : found;
    };
    return {.integer = element(member(static_cast<std::int32_t Record::*>(nullptr))),
            .byte = member(static_cast<std::uint8_t Record::*>(nullptr)),
            .flag = element(member(static_cast<bool Record::*>(nullptr))),
            .number = element(member(static_cast<double Record::*>(nullptr))),
            .text = member(static_cast<std::string Record::*>(nullptr))};
}
/// The same for a record that is only read.
template <class Record>
Place Locate(const ParameterRow<Record>& row, const Record& record, std::size_t i) {
    return Locate(row, const_cast<Record&>(record), i);
}

template <class Record>
[[gnu::cold]] Form FormOf(const ParameterRow<Record>& row) {
    return {row.reading, row.range, row.fallback, row.held, row.infinite, row.special, row.kept, row.hexadecimal};
}

/// The key of one of a row's numbers.
template <class Record>
std::string KeyOf(const ParameterRow<Record>& row, std::size_t i = 0) {
    return KeyOf(row.key, row.count, i);
}

/// Reads one of a row's keys.
template <class Record>
[[gnu::cold]] void Read(std::string_view text, const ParameterRow<Record>& row, Record& record, std::size_t i = 0) {
    ReadValue(text, KeyOf(row, i), FormOf(row), Locate(row, record, i));
}

/// Reads every key of the table, in its order.
template <class Record, std::size_t N>
[[gnu::cold]] void ReadAll(std::string_view text, const ParameterTable<Record, N>& table, Record& record) {
    for (const auto& row : table.keys)
        for (std::size_t i = 0; i < row.count; ++i) Read(text, row, record, i);
}

/// One of a row's values as text, integers with at least `digits` digits unless the row says it.
template <class Record>
[[gnu::cold]] std::string ValueText(const ParameterRow<Record>& row, const Record& record, std::size_t i, int digits) {
    const Place place = Locate(row, record, i);
    const bool isInteger = place.integer || place.byte;
    return TextOf(place, FormOf(row), row.digits == kAsWritten && isInteger ? digits : row.digits, row.fixed);
}

/// The text of a record, as both writers print it.
template <class Record, std::size_t N>
[[gnu::cold]] std::string Written(const ParameterTable<Record, N>& table, const Record& record) {
    std::string text;
    for (const auto& row : table.keys) {
        if (row.role == Role::Old || row.role == Role::WriteOnly || (row.writtenWhen && !row.writtenWhen(record)))
            continue;
        for (std::size_t i = 0; i < row.count; ++i)
            AppendPiece(text, row.before ? row.before : table.separator, KeyOf(row, i),
                        ValueText(row, record, i, table.digits));
    }
    return text;
}

/// The digits of a key in the default text.
template <class Record, std::size_t N>
[[gnu::cold]] int ResetDigits(const ParameterTable<Record, N>& table, const ParameterRow<Record>& row, bool isInteger) {
    if (row.reset.digits != kAsWritten) return row.reset.digits;
    if (isInteger && table.resetDigits != kAsWritten) return table.resetDigits;
    return isInteger && row.digits == kAsWritten ? table.digits : row.digits;
}

/// The default text, which a dialog resets to.
template <class Record, std::size_t N>
[[gnu::cold]] std::string DefaultText(const ParameterTable<Record, N>& table) {
    const Record fresh{};
    std::vector<Piece> pieces;
    for (const auto& row : table.keys) {
        if (row.reset.place == kNowhere || row.role == Role::Old || row.role == Role::WriteOnly) continue;
        const char* const written = row.before ? row.before : table.separator;
        for (std::size_t i = 0; i < row.count; ++i) {
            Place place = Locate(row, fresh, i);
            std::int32_t value = row.reset.value.value_or(0);
            if (row.reset.value) place = {.integer = &value};
            pieces.push_back(
                {row.reset.place, table.resetSeparator ? table.resetSeparator : written, KeyOf(row, i),
                 TextOf(place, FormOf(row), ResetDigits(table, row, place.integer || place.byte), row.fixed)});
        }
    }
    return Joined(std::move(pieces));
}

/// Do two records agree in every value whose change makes the filter compute anew?
template <class Record, std::size_t N>
bool Same(const ParameterTable<Record, N>& table, const Record& a, const Record& b) {
    for (const auto& row : table.keys)
        for (std::size_t i = 0; i < row.count && row.compared; ++i)
            if (!SameValue(Locate(row, a, i), Locate(row, b, i), row.tolerance)) return false;
    return true;
}

/// A record that differs from a fresh one in every integer and flag: -1, 255, the opposite flag.
template <class Record, std::size_t N>
[[gnu::cold]] Record Unlike(const ParameterTable<Record, N>& table) {
    Record record{};
    for (const auto& row : table.keys)
        for (std::size_t i = 0; i < row.count && row.role == Role::Setting; ++i) SetUnlike(Locate(row, record, i));
    return record;
}

/// What a row says of its keys without knowing their record.
struct RowInfo {
    KeyName key;
    std::size_t count;
    Role role;
    Unit unit;
    Channel channel;
    bool color;
    std::optional<int> active;
    int digits;
    const char* fixed;
    const char* label;
    const char* farLabel;
    Relabeling relabeled;
    const char* meaning;
    const char* group;
    const char* caption;
    std::span<const Choice> choices;
};

template <class Record>
[[gnu::cold]] RowInfo RowInfoOf(const ParameterRow<Record>& row) {
    return {row.key,   row.count, row.role,     row.unit,      row.channel, row.color, row.active,  row.digits,
            row.fixed, row.label, row.farLabel, row.relabeled, row.meaning, row.group, row.caption, row.choices};
}

/// Everything that is known of one of a row's keys; `place` holds its value in a fresh record.
KESTREL_API KeyInfo InfoOf(const RowInfo& row, const Form& form, const Place& place, std::size_t i);

/// Everything that is known of a filter's keys, for people and dialogs.
template <class Record, std::size_t N>
[[gnu::cold]] ParameterInfo Info(const ParameterTable<Record, N>& table) {
    const Record fresh{};
    ParameterInfo info{.keys = {},
                       .defaultText = DefaultText(table),
                       .freshText = Written(table, fresh),
                       .minimumBuffer = table.minimumBuffer};
    for (const auto& row : table.keys)
        for (std::size_t i = 0; i < row.count; ++i) {
            const Place place = Locate(row, fresh, i);
            info.keys.push_back(InfoOf(RowInfoOf(row), FormOf(row), place, i));
            info.keys.back().dialogDigits = ResetDigits(table, row, place.integer || place.byte);
        }
    return info;
}

}  // namespace table
}  // namespace kestrel
