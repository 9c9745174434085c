#pragma once
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <span>
#include <string_view>
#include <variant>

#include "kestrel/framework/ParameterTable.h"

namespace kestrel {

/// One key of the texts that crop and print records have: it is searched with its equals sign, a missing or unreadable
/// one takes its `fallback`, and a number is brought into its range.
template <class Record>
struct RangedKey {
    using Field = std::variant<double Record::*, std::int32_t Record::*, bool Record::*>;

    const char* key;
    Field field;
    double fallback = 0;
    double least = std::numeric_limits<std::int32_t>::min();
    double greatest = std::numeric_limits<std::int32_t>::max();
    const char* label = "";
};

namespace table {

template <class Record, std::size_t N>
void ReadRanged(std::string_view text, const RangedKey<Record> (&keys)[N], Record& record) {
    for (const RangedKey<Record>& row : keys)
        std::visit(
            [&]<class Value>(Value Record::*field) {
                double value = row.fallback;
                if constexpr (std::is_same_v<Value, double>) {
                    const auto read = ReadDoubleBehindEquals(text, row.key);
                    if (read && std::isfinite(*read)) value = std::clamp(*read, row.least, row.greatest);
                    record.*field = value;
                } else {
                    const auto read = ReadIntBehindEquals(text, row.key);
                    if (read) value = std::clamp<double>(*read, row.least, row.greatest);
                    record.*field = static_cast<Value>(value);
                }
            },
            row.field);
}

/// The keys for people. `fresh` is a record as a new filter has it.
template <class Record, std::size_t N>
void AddRanged(const RangedKey<Record> (&keys)[N], const Record& fresh, ParameterInfo* info) {
    constexpr const char* kinds[] = {"number", "integer", "flag"};
    for (const RangedKey<Record>& row : keys) {
        KeyInfo key;
        key.key = row.key;
        key.kind = kinds[row.field.index()];
        key.ranged = row.least > std::numeric_limits<std::int32_t>::min();
        key.least = row.least;
        key.greatest = row.greatest;
        key.standard = std::visit([&](auto field) { return fmt::format("{}", +(fresh.*field)); }, row.field);
        key.label = row.label;
        info->keys.push_back(key);
    }
}

}  // namespace table
}  // namespace kestrel
