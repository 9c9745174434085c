#pragma once
#include <array>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "kestrel/framework/ParameterText.h"

namespace kestrel {

/// Values that a dialog offers. Texts may hold any other number.
struct Range {
    int least = std::numeric_limits<int>::min();
    int greatest = std::numeric_limits<int>::max();
};

/// How a key is looked for, and what a missing or unreadable one does.
enum class Reading {
    Shared,            ///< the shared readers; the field stays as it is
    Equals,            ///< the key with its "="; the field stays as it is
    EqualsOrFallback,  ///< the key with its "="; the field takes the row's `fallback`
};

/// One key of a parameter text: the row from which readers, writers, help and dialogs are made.
template <class Record>
struct ParameterKey {
    using Field = std::variant<std::int32_t Record::*, std::uint8_t Record::*, bool Record::*>;

    const char* key;
    Field field;
    Range range{};
    const char* label = "";  ///< key of the translated label
    Reading reading = Reading::Shared;
    int fallback = 0;
};

/// A filter's text as data: its keys, its written form and its default.
template <class Record, std::size_t N>
struct ParameterTable {
    std::array<ParameterKey<Record>, N> keys;
    /// What both writers print: each conversion "%d" or "%.<n>d" stands for the key before its "=".
    const char* written;
    int leastBuffer;       ///< the writers write nothing into a smaller buffer
    const char* standard;  ///< the default text, as a dialog resets to it
};

/// A key as the command line and the documentation show it.
struct KeyInfo {
    std::string key;
    std::string kind;  ///< "integer", "byte", "flag", "number" or "text"
    bool ranged = false;
    double least = 0;
    double greatest = 0;
    std::string standard;  ///< the value of a fresh filter, as text
    std::string label;
};

/// A filter's parameters as the command line and the documentation show them.
struct ParameterInfo {
    std::vector<KeyInfo> keys;
    std::string standard;  ///< the default text
    int leastBuffer = 0;
};

namespace table {

template <class Record>
void Read(std::string_view text, const ParameterKey<Record>& row, Record& record) {
    bool changed = false;
    std::visit(
        [&]<class Value>(Value Record::*field) {
            if (row.reading == Reading::Shared) {
                if constexpr (std::is_same_v<Value, bool>)
                    ReadBoolParameter(text, row.key, &(record.*field), &changed);
                else if constexpr (std::is_same_v<Value, std::uint8_t>)
                    ReadByteParameter(text, row.key, &(record.*field), &changed);
                else
                    ReadIntParameter(text, row.key, &(record.*field), &changed);
                return;
            }
            const auto value = ReadIntBehindEquals(text, row.key);
            if (!value && row.reading == Reading::Equals) return;
            const std::int32_t number = value.value_or(row.fallback);
            if constexpr (std::is_same_v<Value, bool>)
                record.*field = number != 0;
            else
                record.*field = static_cast<Value>(number);
        },
        row.field);
}

/// Not inline: seeing one record's size, GCC 12 warns of the alternatives that its fields never take.
template <class Record>
[[gnu::noinline]] std::int32_t Value(const ParameterKey<Record>& row, const Record& record) {
    return std::visit([&](auto field) { return static_cast<std::int32_t>(record.*field); }, row.field);
}

/// Reads every key of the table, in its order.
template <class Record, std::size_t N>
void ReadAll(std::string_view text, const ParameterTable<Record, N>& table, Record& record) {
    for (const auto& row : table.keys) Read(text, row, record);
}

/// The written form with the record's values in place of its conversions.
template <class Record, std::size_t N>
std::string Write(const ParameterTable<Record, N>& table, std::string_view written, const Record& record) {
    std::string text;
    std::size_t nameAt = 0;  // where the name before the next "=" begins
    for (std::size_t i = 0; i < written.size(); ++i) {
        const char c = written[i];
        if (c != '%') {
            text += c;
            const bool inName = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '=';
            if (!inName) nameAt = i + 1;
            continue;
        }
        int digits = 1;
        const std::string_view name = written.substr(nameAt, i - 1 - nameAt);
        for (++i; written[i] != 'd'; ++i)
            if (written[i] >= '0' && written[i] <= '9') digits = written[i] - '0';
        for (const auto& row : table.keys)
            if (row.key == name) AppendDecimal(text, Value(row, record), digits);
    }
    return text;
}

/// A record that differs from a fresh one in every field: -1, 255, the opposite flag.
template <class Record, std::size_t N>
constexpr Record Unlike(const ParameterTable<Record, N>& table) {
    Record record{};
    for (const auto& row : table.keys)
        std::visit(
            [&]<class Value>(Value Record::*field) {
                if constexpr (std::is_same_v<Value, bool>)
                    record.*field = !(record.*field);
                else
                    record.*field = static_cast<Value>(-1);
            },
            row.field);
    return record;
}

template <class Record, std::size_t N>
ParameterInfo Info(const ParameterTable<Record, N>& table) {
    ParameterInfo info;
    info.standard = table.standard;
    info.leastBuffer = table.leastBuffer;
    const Record fresh{};
    constexpr const char* kinds[] = {"integer", "byte", "flag"};
    for (const auto& row : table.keys) {
        KeyInfo key;
        key.key = row.key;
        key.kind = kinds[row.field.index()];
        key.ranged = row.range.least != Range{}.least || row.range.greatest != Range{}.greatest;
        key.least = row.range.least;
        key.greatest = row.range.greatest;
        key.standard = std::to_string(Value(row, fresh));
        key.label = row.label;
        info.keys.push_back(key);
    }
    return info;
}

}  // namespace table
}  // namespace kestrel
