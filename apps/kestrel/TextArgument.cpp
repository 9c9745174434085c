#include "apps/kestrel/TextArgument.h"

#include <fmt/format.h>

#include <algorithm>
#include <vector>

#include "apps/kestrel/Console.h"
#include "apps/kestrel/Values.h"
#include "kestrel/foundation/CodePage.h"
#include "kestrel/foundation/FontProperty.h"
#include "kestrel/host/Catalogue.h"
#include "kestrel/host/CharSets.h"

namespace {

/// `key` is empty for what begins with no key of the filter.
struct Piece {
    std::string key;
    std::string value;
};

bool HoldsText(const Piece& piece) { return piece.key == "txt" || piece.key == "fname"; }

std::string KeyOf(std::string_view piece) {
    static const kestrel::ParameterInfo info = kestrel::FindFilter("Text")->parameters();
    piece.remove_prefix(std::min(piece.find_first_not_of(' '), piece.size()));
    const std::string key(piece.substr(0, piece.find('=')));
    const bool known = key.size() < piece.size() &&
                       std::any_of(info.keys.begin(), info.keys.end(), [&](const auto& row) { return row.key == key; });
    return known ? key : "";
}

std::vector<Piece> PiecesOf(std::string_view text) {
    std::vector<Piece> pieces;
    while (!text.empty()) {
        const std::size_t comma = text.find(',');
        const std::string_view piece = text.substr(0, comma);
        text.remove_prefix(comma == text.npos ? text.size() : comma + 1);
        if (const std::string key = KeyOf(piece); !key.empty())
            pieces.push_back({key, std::string(piece.substr(piece.find('=') + 1))});
        else if (!pieces.empty() && HoldsText(pieces.back()))
            pieces.back().value.append(",").append(piece);
        else
            pieces.push_back({"", std::string(piece)});
    }
    return pieces;
}

Piece* Find(std::vector<Piece>& pieces, std::string_view key) {
    const auto found = std::find_if(pieces.begin(), pieces.end(), [&](const Piece& piece) { return piece.key == key; });
    return found == pieces.end() ? nullptr : &*found;
}

[[noreturn]] void Refuse(const std::string& option, const std::string& why) {
    throw console::UsageError{option + ": " + why};
}

std::optional<std::uint8_t> CharSetOf(const std::string& option, const Piece* piece) {
    if (!piece) return std::nullopt;
    const auto number = ParseInteger(piece->value);
    if (!number || *number < 0 || *number > 255)
        Refuse(option, fmt::format("fchs: \"{}\" is not a character set, 0 to 255", piece->value));
    return static_cast<std::uint8_t>(*number);
}

/// The font color as the filter reads it: blue * 65536 + green * 256 + red.
std::string FontColor(const std::string& option, const std::string& value) {
    if (!value.starts_with('#')) return value;
    const auto color = ParseColor(value);
    if (!color || color->hasAlpha) Refuse(option, fmt::format("fcol: \"{}\" is not a color #RRGGBB", value));
    return std::to_string(color->blue << 16 | color->green << 8 | color->red);
}

/// Names of fonts are Windows-1252.
std::string FontName(const std::string& option, const std::string& value) {
    const kestrel::TextValue name = kestrel::MakeTextValue(value, 0, true);
    if (!name.error.empty()) Refuse(option, fmt::format("fname: \"{}\" is not a name in Windows-1252", value));
    if (value.empty() || value.size() >= kestrel::FontProperty::kNameSize)
        Refuse(option, fmt::format("fname: a font's name has 1 to {} bytes", kestrel::FontProperty::kNameSize - 1));
    return name.value;
}

}  // namespace

std::string TextArgument(const std::string& option, std::string_view written, const std::optional<std::string>& words) {
    std::vector<Piece> pieces = PiecesOf(written);
    if (Piece* const color = Find(pieces, "fcol")) color->value = FontColor(option, color->value);
    if (Piece* const name = Find(pieces, "fname")) name->value = FontName(option, name->value);
    if (words && Find(pieces, "txt")) Refuse(option, "the text is told twice, by txt= and by --text-of");
    if (words) pieces.push_back({"txt", *words});
    if (Piece* const text = Find(pieces, "txt")) {
        const auto charSet = CharSetOf(option, Find(pieces, "fchs"));
        const kestrel::TextValue value = kestrel::MakeTextValue(text->value, charSet, !words);
        if (!value.error.empty()) Refuse(option, value.error);
        text->value = value.value;
        if (!charSet) pieces.insert(pieces.begin(), {"fchs", std::to_string(value.charSet)});
    }
    std::string made;
    for (const Piece& piece : pieces)
        made.append(made.empty() ? "" : ",").append(piece.key).append(piece.key.empty() ? "" : "=").append(piece.value);
    return made;
}
