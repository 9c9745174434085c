#pragma once
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/foundation/Export.h"

namespace kestrel {

/// What the value of a key is.
enum class Kind { Integer, Byte, Percent, Flag, Choice, Number, Text, Color };
/// What a number counts. Pixels are those of the full-size picture.
enum class Unit { None, Percent, Pixels, Degrees, TenthsOfDegree, Radians, Fraction, PerInch };
/// Part of a color that three keys hold together.
enum class Channel { None, Red, Green, Blue };

/// What a key is in the texts of its filter.
enum class Role {
    Setting,    ///< read and written
    Tag,        ///< a fixed piece that is written and never read
    WriteOnly,  ///< written by the filter as information, never read
    Old,        ///< read from older texts, never written
};

/// "integer", "color"; "pixels", "tenths of a degree", empty for none; "red".
KESTREL_API const char* NameOf(Kind kind);
KESTREL_API const char* NameOf(Unit unit);
KESTREL_API const char* NameOf(Channel channel);

/// The line of a label that belongs to a channel: "Green" of "Red\nGreen\nBlue". A label of one line stays whole.
KESTREL_API std::string LineOf(std::string_view label, Channel channel);

/// One of the values that a key with a few fixed values takes.
struct Choice {
    int value;
    const char* label;  ///< key of the translated words
    const char* words;  ///< in English
};

/// One key as the command line, the documentation, dialogs and bindings need it.
struct KeyInfo {
    std::string key;   ///< "Red", "xL3"
    std::string list;  ///< "xL#" for one of several numbered keys, otherwise empty
    Role role = Role::Setting;
    Kind kind = Kind::Integer;
    Unit unit = Unit::None;
    Channel channel = Channel::None;
    bool ranged = false;  ///< a dialog offers `minimum` to `maximum`; a text may hold any other number
    double minimum = 0;
    double maximum = 0;
    std::optional<double> special;   ///< the one value outside the range that has a meaning
    bool held = false;               ///< the reader brings numbers into the range
    bool anySeparator = false;       ///< any one character may stand between key and value, not "=" only
    bool hexadecimal = false;        ///< the number is written in hexadecimal
    std::optional<int> active;       ///< the filter does nothing unless this key has this value
    std::string value;               ///< of a fresh filter, as text
    std::optional<double> fallback;  ///< what a text without the key means; otherwise the value stays
    int dialogDigits = -1;   ///< in the text of a dialog: minimum of an integer, decimals of a number; -1: usual
    std::string label;       ///< key of the translated label; empty: no dialog shows the parameter. A label of three
                             ///< lines that the parts of a color share has a line for each
    std::string farLabel;    ///< key of the label at the upper end of a slider; `label` is then the lower end's
    std::string otherLabel;  ///< key of the label while the flag `otherWhen` is set; empty for none
    std::string otherWhen;   ///< a key of the same filter
    std::string meaning;     ///< in English, a few words
    std::string group;       ///< what the key is one of several alike for: "reds"; empty for none
    std::string caption;     ///< key of the translated caption that the label stands under; empty for none
    std::span<const Choice> choices;  ///< static; empty unless `kind` is `Kind::Choice`
};

/// A filter's parameters as the command line, the documentation, dialogs and bindings need them.
struct ParameterInfo {
    std::vector<KeyInfo> keys;  ///< in the order of the written text, numbered keys one by one
    std::string defaultText;    ///< what a dialog resets to
    std::string freshText;      ///< what a fresh filter writes; leaves the picture alone when the filter can
    int minimumBuffer = 0;      ///< the writers write nothing into a smaller buffer
};

/// The settings of a filter, in their order; numbered keys of one list stand together. The spans look into `info`.
KESTREL_API std::vector<std::span<const KeyInfo>> OfferedKeys(const ParameterInfo& info);

}  // namespace kestrel
