#pragma once
#include <climits>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>

#include "kestrel/parameters/ParameterInfo.h"

namespace kestrel {

/// Values that a dialog offers. Texts may hold any other number.
struct Range {
    double minimum = std::numeric_limits<std::int32_t>::min();
    double maximum = std::numeric_limits<std::int32_t>::max();
    bool operator==(const Range&) const = default;
};

/// How a key is looked for.
enum class Reading {
    Shared,  ///< the key and any one character after it
    Equals,  ///< the key with its "="
    Digit,   ///< the key with its "=", and one decimal digit
};

/// A key, made of up to three pieces at compile time.
struct KeyName {
    char text[24] = {};

    constexpr KeyName(const char* first = "", const char* second = "", const char* third = "") {
        char* to = text;
        for (const char* piece : {first, second, third})
            while (*piece) *to++ = *piece++;
    }
    constexpr operator std::string_view() const { return text; }
};

/// Where a record keeps a value: a member, or what a function finds by the row's index, for arrays. A tag has none.
template <class Record, class Value>
using Element = Value& (*)(Record&, std::size_t);
template <class Record>
using Field =
    std::variant<std::monostate, std::int32_t Record::*, std::uint8_t Record::*, bool Record::*, double Record::*,
                 std::string Record::*, Element<Record, std::int32_t>, Element<Record, bool>, Element<Record, double>>;

/// Another label that a parameter has while the flag of another key is set.
struct Relabeling {
    KeyName flag{};
    const char* label = "";
};

inline constexpr int kAsWritten = -1;     ///< digits: those of the written form
inline constexpr int kNowhere = INT_MAX;  ///< place: not in the default text

/// How the default text shows a key.
struct Reset {
    int place = 0;  ///< keys of lower places come first, of equal ones in the order of the table
    int digits = kAsWritten;
    std::optional<int> value{};  ///< when it is not that of a fresh record
};

/// One key of a parameter text: the row from which readers, writers, checks, help and dialogs are made. The functions
/// below make rows; what is unusual about one is said by its methods.
template <class Record>
struct ParameterRow {
    KeyName key{};  ///< with a '#' in place of the number when `count` is above 1
    Field<Record> field{};
    Range range{};
    const char* label = "";     ///< key of the translated label; empty: no dialog shows the parameter
    const char* meaning = "";   ///< in English, a few words
    const char* group = "";     ///< what the key is one of several alike for: "reds"
    const char* caption = "";   ///< key of the translated caption that the label stands under in a dialog
    const char* farLabel = "";  ///< key of the label at the upper end, when `label` is the lower end's
    Relabeling relabeled{};
    Unit unit = Unit::None;
    Channel channel = Channel::None;
    bool color = false;                 ///< a whole color in one number
    std::span<const Choice> choices{};  ///< static
    std::optional<int> active{};        ///< the filter does nothing unless the key has this value
    std::size_t index = 0;              ///< of the element
    std::size_t count = 1;              ///< of like keys, numbered from 1, whose elements follow each other
    Role role = Role::Setting;
    Reading reading = Reading::Shared;
    std::optional<double> fallback{};  ///< for a key that is missing or not a number; without, the field stays
    bool held = false;                 ///< a number is brought into the range when it is read
    bool infinite = false;             ///< an infinite number counts, and is held; otherwise it is none
    std::optional<double> special{};   ///< the one value outside the range that is read as it stands
    bool kept = false;                 ///< a byte that holds what stays of the picture, in 1/255; texts hold percent
    int digits = kAsWritten;           ///< minimum of an integer, all decimals of a number; otherwise the table's
    bool hexadecimal = false;          ///< written in hexadecimal; a number above the range is unreadable
    const char* before = nullptr;      ///< separator before the key, when it is not the table's
    const char* fixed = "";            ///< what a tag holds
    bool (*writtenWhen)(const Record&) = nullptr;
    bool compared = true;  ///< a change of it makes the filter compute anew
    double tolerance = 0;  ///< values that differ by no more are the same
    Reset reset{};

    /// Searched with its "=".
    constexpr ParameterRow Equals() {
        reading = Reading::Equals;
        return *this;
    }
    /// `value` for a key that is missing or not a number.
    constexpr ParameterRow Or(double value) {
        fallback = value;
        return *this;
    }
    /// Searched with its "=", brought into its range, `value` when it is missing or holds no number.
    constexpr ParameterRow HeldOr(double value) {
        held = true;
        return Equals().Or(value);
    }
    constexpr ParameterRow Digits(int number) {
        digits = number;
        return *this;
    }
    /// Another separator than the table's stands before it.
    constexpr ParameterRow After(const char* separator) {
        before = separator;
        return *this;
    }
    /// A dialog shows it under a caption.
    constexpr ParameterRow Under(const char* captionKey) {
        caption = captionKey;
        return *this;
    }
    /// A slider has a label at either end.
    constexpr ParameterRow To(const char* labelKey) {
        farLabel = labelKey;
        return *this;
    }
    /// Part of a color that three keys hold together.
    constexpr ParameterRow PartOf(Channel part) {
        channel = part;
        return *this;
    }
    constexpr ParameterRow When(bool (*written)(const Record&)) {
        writtenWhen = written;
        return *this;
    }
    constexpr ParameterRow OneOf(std::span<const Choice> values) {
        choices = values;
        return *this;
    }
    constexpr ParameterRow ActiveAt(int value) {
        active = value;
        return *this;
    }
    /// Searched with its "=", one decimal digit.
    constexpr ParameterRow OneDigit() {
        reading = Reading::Digit;
        return *this;
    }
    /// The one value outside the range that is read as it stands.
    constexpr ParameterRow Special(double value) {
        special = value;
        return *this;
    }
    /// Values that differ by no more are the same.
    constexpr ParameterRow Within(double difference) {
        tolerance = difference;
        return *this;
    }
    /// The number is a whole color.
    constexpr ParameterRow Color() {
        color = true;
        return *this;
    }
    constexpr ParameterRow Hexadecimal(int number) {
        hexadecimal = true;
        return Digits(number).Color();
    }
    /// A change of it needs no new pixels.
    constexpr ParameterRow NotCompared() {
        compared = false;
        return *this;
    }
    constexpr ParameterRow ResetAt(int place, int shown = kAsWritten) {
        reset = {.place = place, .digits = shown};
        return *this;
    }
    constexpr ParameterRow NotReset() { return ResetAt(kNowhere); }
};

/// The record of a row: the one that its field belongs to, or a class derived from it.
template <class As, class Owner>
using RecordOf = std::conditional_t<std::is_void_v<As>, Owner, As>;

/// A number, by the type of its field.
template <class As = void, class Owner, class Value>
constexpr ParameterRow<RecordOf<As, Owner>> Number(KeyName key, Value Owner::*field, Range range, const char* label,
                                                   const char* meaning, Unit unit = Unit::None) {
    return {.key = key, .field = field, .range = range, .label = label, .meaning = meaning, .unit = unit};
}

template <class As = void, class Owner, class Value>
constexpr ParameterRow<RecordOf<As, Owner>> Percent(KeyName key, Value Owner::*field, const char* label,
                                                    const char* meaning, Range range = {0, 100}) {
    return Number<As>(key, field, range, label, meaning, Unit::Percent);
}

template <class As = void, class Owner>
constexpr ParameterRow<RecordOf<As, Owner>> Flag(KeyName key, bool Owner::*field, const char* label,
                                                 const char* meaning) {
    return Number<As>(key, field, {0, 1}, label, meaning);
}

/// One of three keys that hold a color together.
template <class As = void, class Owner>
constexpr ParameterRow<RecordOf<As, Owner>> ColorPart(Channel channel, KeyName key, std::uint8_t Owner::*field,
                                                      const char* label, const char* meaning) {
    return Number<As>(key, field, {0, 255}, label, meaning).PartOf(channel);
}

template <class Owner>
constexpr ParameterRow<Owner> Words(KeyName key, std::string Owner::*field, const char* label, const char* meaning) {
    return {.key = key, .field = field, .label = label, .meaning = meaning};
}

/// A key of older texts that has no field of its own.
template <class Record>
constexpr ParameterRow<Record> OldKey(KeyName key, const char* meaning) {
    return {.key = key, .meaning = meaning, .role = Role::Old};
}

/// A fixed piece of the written form.
template <class Record>
constexpr ParameterRow<Record> Tag(KeyName key, const char* fixed) {
    return {.key = key, .role = Role::Tag, .fixed = fixed};
}

}  // namespace kestrel
