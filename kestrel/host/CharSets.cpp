#include "kestrel/host/CharSets.h"

#include <fmt/format.h>
#include <iconv.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "kestrel/foundation/CodePage.h"
#include "kestrel/framework/TextRenderRequest.h"
#include "kestrel/parameters/TextEscapes.h"

namespace kestrel {
namespace {

struct CharSet {
    std::uint8_t number;
    const char* codePage;
};

/// In the order in which a set is looked for: those of one byte first. What Chinese and Japanese share is Japanese.
constexpr CharSet kCharSets[] = {
    {238, "CP1250"},  // Central European
    {204, "CP1251"},  // Cyrillic
    {161, "CP1253"},  // Greek
    {162, "CP1254"},  // Turkish
    {186, "CP1257"},  // Baltic
    {163, "CP1258"},  // Vietnamese
    {177, "CP1255"},  // Hebrew
    {178, "CP1256"},  // Arabic
    {222, "CP874"},   // Thai
    {128, "CP932"},   // Japanese
    {134, "CP936"},   // simplified Chinese
    {136, "CP950"},   // traditional Chinese
    {129, "CP949"},   // Korean
};

constexpr std::string_view kBreak = "\\n";

/// A piece of a text: characters, or bytes that are no characters of it.
struct Piece {
    std::string text;
    bool isBytes = false;
};

/// Takes a text apart at its escapes and line breaks.
std::vector<Piece> PiecesOf(std::string_view text, bool escapes) {
    std::vector<Piece> pieces(1);
    const auto add = [&](std::string bytes) {
        pieces.push_back({std::move(bytes), true});
        pieces.emplace_back();
    };
    while (!text.empty()) {
        std::size_t taken = 1;
        if (text.starts_with(kBreak)) {
            taken = kBreak.size();
            add("\n");
        } else if (const std::string byte = UnescapeText(text.substr(0, 3));
                   escapes && byte.size() == 1 && text[0] == '\\' && text.size() >= 3) {
            taken = 3;
            add(byte);
        } else {
            pieces.back().text += text[0];
        }
        text.remove_prefix(taken);
    }
    return pieces;
}

/// The characters in a code page (null: Windows-1252); nothing when it lacks one of them.
std::optional<std::string> Encoded(const std::string& utf8, const char* codePage) {
    if (!codePage) {
        std::string bytes = Windows1252FromUtf8(utf8);
        return Utf8From1252(bytes) == utf8 ? std::optional(std::move(bytes)) : std::nullopt;
    }
    const iconv_t converter = iconv_open(codePage, "UTF-8");
    if (converter == reinterpret_cast<iconv_t>(-1)) return std::nullopt;
    const std::unique_ptr<void, decltype(&iconv_close)> closed(converter, &iconv_close);
    std::string input = utf8;
    std::string output(2 * utf8.size() + 16, '\0');
    char* from = input.data();
    char* to = output.data();
    std::size_t left = input.size();
    std::size_t room = output.size();
    if (iconv(converter, &from, &left, &to, &room) != 0 || iconv(converter, nullptr, nullptr, &to, &room) != 0)
        return std::nullopt;  // a character that is missing, or has a look-alike only
    output.resize(output.size() - room);
    return output;
}

std::optional<std::string> Encoded(const std::vector<Piece>& pieces, const char* codePage) {
    std::string bytes;
    for (const Piece& piece : pieces) {
        if (piece.isBytes) {
            bytes += piece.text;
        } else if (const auto encoded = Encoded(piece.text, codePage)) {
            bytes += *encoded;
        } else {
            return std::nullopt;
        }
    }
    // The filter makes line breaks after everything else: a character whose second byte is a backslash, before an n,
    // would become one.
    if (bytes.find(kBreak) != bytes.npos) return std::nullopt;
    return bytes;
}

}  // namespace

const char* CodePageOf(std::uint8_t charSet) {
    for (const CharSet& set : kCharSets)
        if (set.number == charSet) return set.codePage;
    return nullptr;
}

std::string Utf8FromCharSet(std::string_view text, std::uint8_t charSet) {
    const char* page = CodePageOf(charSet);
    const iconv_t converter = page ? iconv_open("UTF-8", page) : reinterpret_cast<iconv_t>(-1);
    if (converter == reinterpret_cast<iconv_t>(-1)) return Utf8From1252(text);
    constexpr std::size_t kFailed = static_cast<std::size_t>(-1);
    constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
    std::string input(text);
    std::string output(4 * input.size() + 16, '\0');  // no byte becomes more than four
    char* from = input.data();
    std::size_t left = input.size();
    char* to = output.data();
    std::size_t room = output.size();
    for (bool done = false; !done;) {
        done = iconv(converter, &from, &left, &to, &room) != kFailed || left == 0;
        // A letter waits for the marks that may follow it (Hebrew, Vietnamese) until the input has ended.
        iconv(converter, nullptr, nullptr, &to, &room);
        if (done || room < kReplacement.size()) break;
        to = std::copy(kReplacement.begin(), kReplacement.end(), to);
        room -= kReplacement.size();
        ++from;
        --left;
    }
    iconv_close(converter);
    output.resize(output.size() - room);
    return output;
}

TextValue MakeTextValue(std::string_view utf8, std::optional<std::uint8_t> charSet, bool escapes) {
    TextValue made;
    made.charSet = charSet.value_or(0);
    std::optional<std::string> bytes;
    if (!IsUtf8(utf8)) {
        bytes = escapes ? UnescapeText(utf8) : std::string(utf8);
    } else {
        const std::vector<Piece> pieces = PiecesOf(utf8, escapes);
        bytes = Encoded(pieces, CodePageOf(made.charSet));
        for (const CharSet& set : kCharSets) {
            if (bytes || charSet) break;
            made.charSet = set.number;
            bytes = Encoded(pieces, set.codePage);
        }
    }
    constexpr std::size_t kLongest = kTextFieldSize - 1;
    if (!bytes && charSet)
        made.error = fmt::format("character set {} does not hold all characters of the text", *charSet);
    else if (!bytes)
        made.error = "no character set holds all characters of the text";
    else if (bytes->find('\0') != bytes->npos)
        made.error = "a text holds no zero byte";
    else if (bytes->size() > kLongest)
        made.error = fmt::format("the text has {} bytes, {} is the maximum", bytes->size(), kLongest);
    else
        made.value = EscapeText(*bytes);
    return made;
}

}  // namespace kestrel
