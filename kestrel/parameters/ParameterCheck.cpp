#include "kestrel/parameters/ParameterCheck.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>
#include <utility>

#include "kestrel/foundation/NearestWord.h"
#include "kestrel/parameters/ParameterText.h"

namespace kestrel {
namespace {

constexpr std::string_view kSpace = " \t";

/// Texts of filters have fewer; each costs a search for all keys, and what comes after is hostile.
constexpr int kMaximumPieces = 1000;

std::string_view Trimmed(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(kSpace), text.size()));
    return text.substr(0, text.find_last_not_of(kSpace) + 1);
}

/// What the reader of a key searches for.
std::string Searched(const KeyInfo& key) { return key.anySeparator ? key.key : key.key + '='; }

class Check {
public:
    Check(const ParameterInfo& info, std::string_view text) : info_(info), text_(text) {}

    std::vector<TextNote> Run() {
        for (std::size_t begin = 0; begin < text_.size() && pieces_ < kMaximumPieces; ++pieces_) {
            const std::size_t end = std::min(text_.find(',', begin), text_.size());
            if (const std::string_view piece = Trimmed(text_.substr(begin, end - begin)); !piece.empty()) Piece(piece);
            begin = end + 1;
        }
        CheckSwitches();
        return std::move(notes_);
    }

private:
    template <class... Values>
    void Note(TextFault fault, fmt::format_string<Values...> form, Values&&... values) {
        notes_.push_back({fault, fmt::format(form, std::forward<Values>(values)...)});
    }

    std::size_t At(std::string_view part) const { return static_cast<std::size_t>(part.data() - text_.data()); }

    void Piece(std::string_view piece) {
        const auto isName = [](char c) {
            return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
        };
        const auto nameEnd = std::find_if_not(piece.begin(), piece.end(), isName);
        const std::string_view name = piece.substr(0, static_cast<std::size_t>(nameEnd - piece.begin()));
        const auto key =
            std::find_if(info_.keys.begin(), info_.keys.end(), [&](const KeyInfo& known) { return known.key == name; });
        if (key == info_.keys.end()) return UnknownKey(name, piece);
        if (key->role == Role::Tag || key->role == Role::WriteOnly) return;
        namesAKey_ = true;
        if (name.size() == piece.size() || (!key->anySeparator && piece[name.size()] != '='))
            return Note(TextFault::Unreadable, "\"{}\" is not taken up; write {}={}", piece, name, key->value);
        if (text_.find(Searched(*key)) != At(piece))
            return Note(TextFault::Unread, "\"{}\" is not taken up; an earlier place of its key counts", piece);
        Value(*key, piece, Trimmed(piece.substr(name.size() + 1)));
    }

    void UnknownKey(std::string_view name, std::string_view piece) {
        for (const KeyInfo& key : info_.keys) {
            const std::string searched = Searched(key);
            const std::size_t at = text_.find(searched);
            if (key.role == Role::Tag || key.role == Role::WriteOnly || at < At(piece) ||
                at >= At(piece) + piece.size())
                continue;
            const std::string_view rest = text_.substr(at);
            const auto value = key.anySeparator ? ReadIntAfterKey(rest, key.key) : ReadIntAfterEquals(rest, key.key);
            if (value) return Note(TextFault::OtherKey, "\"{}\" is read as {}", piece, key.key);
        }
        std::vector<std::string> known;
        for (const KeyInfo& key : info_.keys)
            if (key.role == Role::Setting) known.push_back(key.key);
        const std::string near = NearestWord(name, known);
        Note(TextFault::UnknownKey, "\"{}\" is not taken up{}", piece,
             near.empty() ? "" : fmt::format("; did you mean {}?", near));
    }

    void Value(const KeyInfo& key, std::string_view piece, std::string_view value) {
        if (key.kind == Kind::Text) return;
        const auto number = key.hexadecimal            ? Parsed<std::uint32_t>(key, piece, value, 16)
                            : key.kind == Kind::Number ? Parsed<double>(key, piece, value)
                                                       : Parsed<std::int32_t>(key, piece, value, 10);
        if (!number) return;
        if (!key.choices.empty()) {
            if (std::none_of(key.choices.begin(), key.choices.end(),
                             [&](const Choice& choice) { return choice.value == *number; }))
                Note(TextFault::OutOfRange, "\"{}\" is none of the values that have a meaning", piece);
        } else if (key.unit == Unit::Degrees && std::abs(*number) <= 360) {
            return;  // the same angle as one in the range
        } else if (key.ranged && (*number < key.minimum || *number > key.maximum) && *number != key.special) {
            Note(TextFault::OutOfRange, "\"{}\" is outside of {} to {}", piece, key.minimum, key.maximum);
        }
    }

    /// The whole of a value as a number, or a note.
    template <class Number, class... Base>
    std::optional<double> Parsed(const KeyInfo& key, std::string_view piece, std::string_view value, Base... base) {
        std::string_view digits = value;
        if (digits.size() > 1 && digits[0] == '+' && digits[1] != '-') digits.remove_prefix(1);
        Number number{};
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number, base...);
        if (error == std::errc::invalid_argument || end != digits.data() + digits.size() ||
            !std::isfinite(static_cast<double>(number))) {
            Note(TextFault::Unreadable, "\"{}\" is not taken up as it stands; \"{}\" is no {}number", piece, value,
                 key.hexadecimal            ? "hexadecimal "
                 : key.kind == Kind::Number ? ""
                                            : "whole ");
            return std::nullopt;
        }
        if (error == std::errc::result_out_of_range) {
            Note(TextFault::TooLarge, "\"{}\" is not taken up as it stands; the number is too large", piece);
            return std::nullopt;
        }
        return static_cast<double>(number);
    }

    /// A filter that is off does nothing with what the text says, unless the text itself says that it is off.
    void CheckSwitches() {
        for (const KeyInfo& key : info_.keys) {
            if (!key.active || !namesAKey_ || text_.find(key.key) != text_.npos) continue;
            int value = 0;
            std::from_chars(key.value.data(), key.value.data() + key.value.size(), value);
            if ((value != 0) != (*key.active != 0))
                Note(TextFault::NoEffect, "the filter does nothing while {} is {}; add {}={}", key.key, value, key.key,
                     *key.active);
        }
    }

    const ParameterInfo& info_;
    std::string_view text_;
    std::vector<TextNote> notes_;
    bool namesAKey_ = false;
    int pieces_ = 0;
};

}  // namespace

std::vector<TextNote> CheckParameterText(const ParameterInfo& info, std::string_view text) {
    return Check(info, text).Run();
}

}  // namespace kestrel
