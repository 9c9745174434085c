#include "apps/kestrel/UnreadValues.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <new>
#include <optional>
#include <string_view>

#include "apps/kestrel/Values.h"
#include "kestrel/foundation/NearestWord.h"
#include "kestrel/host/Rendering.h"

namespace {

// Texts of real filters stay far below; hostile ones cost no more than this.
constexpr std::size_t kMaximumPieces = 400;
constexpr std::size_t kMaximumLines = 8;

std::string_view Trimmed(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

/// A piece of a parameter text: what stands between commas.
struct Piece {
    std::size_t begin, end;  ///< in the text, with the comma after it
    std::string_view words;
    std::string key;  ///< empty without an equals sign
    std::string_view value;
};

std::vector<Piece> PiecesOf(std::string_view text) {
    std::vector<Piece> pieces;
    for (std::size_t begin = 0; begin < text.size() && pieces.size() < kMaximumPieces;) {
        const std::size_t comma = std::min(text.find(',', begin), text.size());
        Piece piece{begin, std::min(comma + 1, text.size()), Trimmed(text.substr(begin, comma - begin)), "", {}};
        if (const std::size_t equals = piece.words.find('='); equals != piece.words.npos) {
            piece.key = Trimmed(piece.words.substr(0, equals));
            piece.value = Trimmed(piece.words.substr(equals + 1));
        }
        begin = piece.end;
        if (!piece.words.empty()) pieces.push_back(piece);
    }
    return pieces;
}

/// What a fresh filter writes after it was given a text.
std::string Written(const kestrel::ClassRow& filter, const std::string& text) {
    kestrel::Rendering rendering;
    if (rendering.AddFilter(filter.description->progId, text.c_str()) != kestrel::S_OK) throw std::bad_alloc();
    std::string chain = rendering.ChainText(false);
    chain.erase(0, chain.find('\t') + 1);
    chain.erase(chain.find_last_not_of('\n') + 1);
    return chain;
}

std::optional<std::string_view> ValueOf(std::string_view text, std::string_view key) {
    for (const Piece& piece : PiecesOf(text))
        if (piece.key == key) return piece.value;
    return std::nullopt;
}

/// The same number but for the digits that the filter does not write, or the same word but for leading zeros.
bool SameValue(std::string_view given, std::string_view written) {
    if (given.starts_with('+')) given.remove_prefix(1);
    const auto number = ParseNumber(given);
    const auto kept = ParseNumber(written);
    if (number && kept) {
        const std::size_t point = written.find('.');
        const int decimals = point == written.npos ? 0 : static_cast<int>(written.size() - point) - 1;
        const bool whole = decimals == 0;
        return std::abs(*number - *kept) <= (whole ? 0.0 : 0.501 * std::pow(10.0, -decimals));
    }
    const auto digits = [](std::string_view word) {
        word.remove_prefix(std::min(word.find_first_not_of('0'), word.size()));
        return word;
    };
    return std::ranges::equal(digits(given), digits(written), {}, ::tolower, ::tolower);
}

/// Words are written with escapes where none were given.
bool IsWords(std::string_view key) { return key == "txt" || key == "fname"; }

bool HasKey(const kestrel::ParameterInfo& info, const std::string& key) {
    return std::any_of(info.keys.begin(), info.keys.end(), [&](const auto& row) { return row.key == key; });
}

std::string UnknownKey(const kestrel::ClassRow& filter, const kestrel::ParameterInfo& info, const Piece& piece) {
    std::vector<std::string> keys;
    for (const auto& row : info.keys) keys.push_back(row.key);
    const std::string near = piece.key.empty() ? "" : kestrel::NearestWord(piece.key, keys);
    return fmt::format("\"{}\" is not taken up; {}", piece.words,
                       near.empty()
                           ? fmt::format("\"kestrel describe {}\" lists the keys", kestrel::WordOf(*filter.description))
                           : fmt::format("did you mean {}?", near));
}

}  // namespace

std::vector<std::string> UnreadValues(const kestrel::ClassRow& filter, const std::string& text) {
    std::vector<std::string> lines;
    const kestrel::ParameterInfo info = filter.parameters();
    const std::string written = Written(filter, text);
    for (const Piece& piece : PiecesOf(text)) {
        if (lines.size() == kMaximumLines) break;
        const auto kept = ValueOf(written, piece.key);
        if (!piece.key.empty() && kept) {
            if (!IsWords(piece.key) && !SameValue(piece.value, *kept))
                lines.push_back(
                    fmt::format("\"{}\" is not taken up as it stands; {} is {}", piece.words, piece.key, *kept));
            continue;
        }
        if (HasKey(info, piece.key)) continue;  // a key that is not written in this state of the filter
        // Readers look for their key anywhere: what changes the filter is taken up, whatever it looks like.
        std::string without = text;
        without.erase(piece.begin, piece.end - piece.begin);
        if (Written(filter, without) == written) lines.push_back(UnknownKey(filter, info, piece));
    }
    return lines;
}
