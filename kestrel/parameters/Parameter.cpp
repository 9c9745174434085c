#include "kestrel/parameters/Parameter.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <optional>

#include "kestrel/parameters/ParameterText.h"

namespace kestrel {
namespace {

using std::string_view;
constexpr std::size_t kNone = string_view::npos;

/// Bytes that are escaped by a letter, and their letters.
constexpr string_view kControls = "\a\b\t\n\v\f\r";
constexpr string_view kLetters = "abtnvfr";

string_view ViewOf(const char* text) { return text ? string_view(text) : string_view(); }

bool IsLineEnd(char c) { return c == '\r' || c == '\n'; }
bool HasAt(string_view text, std::size_t at, char c) { return at < text.size() && text[at] == c; }
/// Where `c` stands at or after `at`, or the end of the text.
std::size_t FindOrEnd(string_view text, char c, std::size_t at) { return std::min(text.find(c, at), text.size()); }

char OctalDigit(unsigned value) { return static_cast<char>('0' + (value & 7)); }

std::string Quoted(string_view value) {
    std::string text = "\"";
    for (const char c : value) {
        const unsigned byte = static_cast<unsigned char>(c);
        const std::size_t control = kControls.find(c);
        if (control != kNone)
            text.append({'\\', kLetters[control]});
        else if (c == '"' || c == '\\')
            text.append({'\\', c});
        else if (byte >= 32 && byte < 128)
            text += c;
        else
            text.append({'\\', OctalDigit(byte >> 6), OctalDigit(byte >> 3), OctalDigit(byte)});
    }
    return text + '"';
}

unsigned HexDigit(char c) {
    const char lower = static_cast<char>(c | 0x20);
    if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
    return lower >= 'a' && lower <= 'f' ? static_cast<unsigned>(lower - 'a' + 10) : 0;
}

/// Takes what follows a backslash and appends what it stands for; returns the index after it.
std::size_t Unescape(string_view text, std::size_t at, std::string& value) {
    if (at >= text.size()) return at;
    const char c = text[at++];
    unsigned byte = 0;
    if (c >= '0' && c <= '7') {
        const std::size_t end = std::min(at + 2, text.size());
        for (byte = HexDigit(c); at < end && text[at] >= '0' && text[at] <= '7'; ++at)
            byte = byte * 8 + HexDigit(text[at]);
        value += static_cast<char>(byte);
    } else if (c == 'x') {
        const std::size_t end = std::min(at + 2, text.size());
        const bool any = at < end;
        for (; at < end; ++at) byte = byte * 16 + HexDigit(text[at]);
        if (any) value += static_cast<char>(byte);
    } else if (!IsLineEnd(c)) {
        const std::size_t letter = kLetters.find(c);
        value += letter == kNone ? c : kControls[letter];
    }
    return at;
}

/// Decodes the value whose opening quote stands at `at`; returns the index after the closing one.
std::size_t Unquote(string_view text, std::size_t at, std::string& value) {
    for (++at; at < text.size();) {
        const char c = text[at++];
        if (c == '"') break;
        if (c == '\\')
            at = Unescape(text, at, value);
        else
            value += c;
    }
    return at;
}

std::size_t StepOverQuoted(string_view text, std::size_t at) {
    std::string ignored;
    return Unquote(text, at, ignored);
}

/// Index of the first byte of the tag's value.
std::optional<std::size_t> FindValue(string_view text, string_view tag) {
    std::size_t at = 0;
    while (at < text.size()) {
        at = std::min(text.find_first_not_of(' ', at), text.size());
        if (at < text.size() && IsLineEnd(text[at])) {
            ++at;
            continue;
        }
        if (text.substr(at, tag.size()) == tag && HasAt(text, at + tag.size(), '=')) return at + tag.size() + 1;
        at = FindOrEnd(text, '=', at) + 1;
        if (HasAt(text, at, '"')) at = StepOverQuoted(text, at);
        at = text.find(';', at);
        if (at == kNone) break;
        ++at;
    }
    return std::nullopt;
}

/// The value up to the next `;`, quotes not considered.
string_view UnquotedValue(string_view text, std::size_t at) { return text.substr(at, FindOrEnd(text, ';', at) - at); }

/// Reads a value by its type's reader, when the tag is present.
template <class Value, class Reader>
bool GetBy(string_view text, const char* tag, Value& value, const Reader& read) {
    const auto at = FindValue(text, ViewOf(tag));
    if (at) value = read(text.substr(*at));
    return at.has_value();
}

template <class Value>
Value GetOr(const Parameter& bag, const char* tag, Value value) {
    bag.Get(tag, value);
    return value;
}

/// The tag of the entry at `at`, which goes on to its value; none after the last entry.
std::optional<string_view> TakeTag(string_view text, std::size_t& at) {
    while (at < text.size() && IsLineEnd(text[at])) ++at;
    const std::size_t start = at;
    const std::size_t equals = text.find('=', at);
    if (equals == kNone) return std::nullopt;
    at = equals + 1;
    return text.substr(start, equals - start);
}

/// Are all entries of `own` in `other`, with their values?
bool HasEntries(const Parameter& own, string_view text, const Parameter& other, string_view otherText) {
    std::size_t at = 0;
    while (const auto entry = TakeTag(text, at)) {
        const std::string tag(*entry);
        if (HasAt(text, at, '"')) {
            if (own.GetString(tag.c_str()) != other.GetString(tag.c_str())) return false;
            at = StepOverQuoted(text, at) + 1;
        } else {
            const auto found = FindValue(otherText, tag);
            const string_view value = UnquotedValue(text, at);
            if (!found || UnquotedValue(otherText, *found) != value) return false;
            at += value.size() + 1;
        }
    }
    return true;
}

/// Are all tags of `text` in `other`? Whether a value is quoted is asked of `other`, at the index in `text`: the odd
/// answers that this yields are relied upon.
bool HasTags(string_view text, string_view other) {
    std::size_t at = 0;
    while (const auto tag = TakeTag(text, at)) {
        if (!FindValue(other, *tag)) return false;
        if (HasAt(other, at, '"')) {
            at = StepOverQuoted(other, at) + 1;
        } else {
            at = text.find(';', at);
            // A last entry without its `;` would send the walk back to the start, to find the same for ever.
            if (at == kNone) break;
            ++at;
        }
    }
    return true;
}

}  // namespace

bool Parameter::Get(const char* tag, int& value) const {
    return GetBy(View(), tag, value, [](string_view at) { return ReadDecimal(at).value_or(0); });
}

bool Parameter::Get(const char* tag, bool& value) const {
    return GetBy(View(), tag, value, [](string_view at) { return HasAt(at, 0, 't'); });
}

bool Parameter::Get(const char* tag, double& value) const {
    return GetBy(View(), tag, value, [](string_view at) { return ReadDouble(at).value_or(0); });
}

bool Parameter::Get(const char* tag, void*& value) const {
    return GetBy(View(), tag, value, [](string_view at) {  // the bag's text ends with a zero byte
        return reinterpret_cast<void*>(static_cast<std::intptr_t>(std::strtoll(at.data(), nullptr, 10)));
    });
}

bool Parameter::Get(const char* tag, QvString& value) const {
    const auto at = FindValue(View(), ViewOf(tag));
    if (!at || !HasAt(View(), *at, '"')) return false;
    std::string decoded;
    Unquote(View(), *at, decoded);
    value = QvString(decoded.data(), static_cast<int>(decoded.size()));
    return true;
}

int Parameter::GetInt(const char* tag) const { return GetOr(*this, tag, 0); }
bool Parameter::GetBool(const char* tag) const { return GetOr(*this, tag, false); }
double Parameter::GetDouble(const char* tag) const { return GetOr(*this, tag, 0.0); }
void* Parameter::GetPtr(const char* tag) const { return GetOr<void*>(*this, tag, nullptr); }
QvString Parameter::GetString(const char* tag) const { return GetOr(*this, tag, QvString()); }

void Parameter::Set(const char* tag, int value) { SetWritten(tag, std::to_string(value)); }
void Parameter::Set(const char* tag, bool value) { SetWritten(tag, value ? "true" : "false"); }
void Parameter::Set(const char* tag, void* value) {
    SetWritten(tag, std::to_string(reinterpret_cast<std::intptr_t>(value)));
}
void Parameter::Set(const char* tag, double value) {
    std::string written;
    AppendDouble(written, value, 6);
    SetWritten(tag, written);
}
void Parameter::Set(const char* tag, const char* value) { SetWritten(tag, Quoted(ViewOf(value))); }
void Parameter::Set(const char* tag, const QvString& value) {
    SetWritten(tag, Quoted({value, static_cast<std::size_t>(value.GetLength())}));
}

void Parameter::SetWritten(const char* tag, const std::string& value) {
    std::string text(View());
    if (const auto at = FindValue(text, ViewOf(tag))) {
        const std::size_t end = HasAt(text, *at, '"') ? StepOverQuoted(text, *at) : *at;
        text.replace(*at, FindOrEnd(text, ';', end) - *at, value);
    } else {
        text.append(ViewOf(tag)).append("=").append(value).append(";\r\n");
    }
    Assign(text);
}

bool Parameter::RemoveTag(const char* tag) {
    std::string text(View());
    const auto value = FindValue(text, ViewOf(tag));
    if (!value) return false;
    std::size_t cut = text.size();
    if (const std::size_t next = text.find('=', *value); next != kNone) {
        cut = *value + 1;
        for (std::size_t at = next; at-- > *value + 1;)
            if (text[at] == ';' || IsLineEnd(text[at])) {
                cut = at + 1;
                break;
            }
    }
    const std::size_t start = *value - ViewOf(tag).size() - 1;
    text.erase(start, cut - start);
    Assign(text);
    return true;
}

bool Parameter::operator==(const Parameter& other) const {
    return HasEntries(*this, View(), other, other.View()) && HasTags(other.View(), View());
}

}  // namespace kestrel
