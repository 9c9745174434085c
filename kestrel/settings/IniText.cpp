#include "kestrel/settings/IniText.h"

#include <algorithm>

#include "kestrel/foundation/CodePage.h"

namespace kestrel {
namespace {

constexpr std::string_view kBlanks = " \t\r\v\f";

std::string_view Trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

bool SameName(std::string_view left, std::string_view right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](char a, char b) { return LowerCase1252(a) == LowerCase1252(b); });
}

bool IsQuoted(std::string_view text) {
    return text.size() >= 2 && text.front() == text.back() && (text.front() == '"' || text.front() == '\'');
}

enum class Kind { kOther, kSection, kEntry };

struct Line {
    std::size_t begin = 0;
    std::size_t end = 0;  ///< after the line feed
    Kind kind = Kind::kOther;
    std::string_view name;
    std::string_view value;
    bool blank = false;
};

/// Where the first line begins: editors put a mark in front of UTF-8.
std::size_t FirstLine(std::string_view text) {
    constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
    return text.starts_with(kUtf8Mark) ? kUtf8Mark.size() : 0;
}

/// The line at `begin`.
Line ReadLine(std::string_view text, std::size_t begin) {
    Line line;
    line.begin = begin;
    const auto feed = text.find('\n', begin);
    line.end = feed == std::string_view::npos ? text.size() : feed + 1;
    const auto content = Trimmed(text.substr(begin, std::min(feed, text.size()) - begin));
    line.blank = content.empty();
    if (line.blank || content.front() == ';') return line;
    if (content.front() == '[') {
        line.kind = Kind::kSection;
        line.name = Trimmed(content.substr(1, content.find(']') - 1));
        return line;
    }
    const auto equals = content.find('=');
    if (equals == std::string_view::npos) return line;
    line.kind = Kind::kEntry;
    line.name = Trimmed(content.substr(0, equals));
    line.value = Trimmed(content.substr(equals + 1));
    if (IsQuoted(line.value)) line.value = line.value.substr(1, line.value.size() - 2);
    return line;
}

/// The lines after the first header of that name up to the next header; `visit` ends the walk with true. False: there
/// is no such section.
template <class Visit>
bool WalkSection(std::string_view text, std::string_view section, Visit visit) {
    bool inside = false;
    for (std::size_t at = FirstLine(text); at < text.size();) {
        const Line line = ReadLine(text, at);
        at = line.end;
        if (line.kind == Kind::kSection) {
            if (inside) return true;
            inside = SameName(line.name, section);
            if (!inside) continue;
        }
        if (inside && visit(line)) return true;
    }
    return inside;
}

}  // namespace

std::optional<std::string> IniText::Get(std::string_view section, std::string_view key) const {
    std::optional<std::string> found;
    WalkSection(bytes_, section, [&](const Line& line) {
        if (line.kind == Kind::kEntry && SameName(line.name, key)) found = line.value;
        return found.has_value();
    });
    return found;
}

void IniText::Set(std::string_view section, std::string_view key, std::string_view value) {
    const auto feed = bytes_.find('\n');
    const bool carriage = feed != std::string::npos && feed > 0 && bytes_[feed - 1] == '\r';
    const std::string lineEnd = carriage ? "\r\n" : "\n";

    std::size_t begin = bytes_.size();  // what the new line replaces: nothing, or the entry's old line
    std::size_t end = begin;
    std::string line(key);
    const bool hasSection = WalkSection(bytes_, section, [&](const Line& old) {
        if (old.kind == Kind::kEntry && SameName(old.name, key)) {
            begin = old.begin;
            end = old.end;
            line = old.name;
            return true;
        }
        if (!old.blank) begin = end = old.end;  // so far the place after the section's last line
        return false;
    });
    const bool quote = Trimmed(value) != value || IsQuoted(value);
    line.append("=").append(quote ? "\"" : "").append(value).append(quote ? "\"" : "").append(lineEnd);
    if (!hasSection) line.insert(0, (bytes_.empty() ? "[" : lineEnd + "[") + std::string(section) + "]" + lineEnd);
    if (begin > 0 && bytes_[begin - 1] != '\n') line.insert(0, lineEnd);
    bytes_.replace(begin, end - begin, line);
}

void IniText::DeleteSection(std::string_view section) {
    std::string kept = bytes_.substr(0, FirstLine(bytes_));
    bool inside = false;
    for (std::size_t at = FirstLine(bytes_); at < bytes_.size();) {
        const Line line = ReadLine(bytes_, at);
        at = line.end;
        if (line.kind == Kind::kSection) inside = SameName(line.name, section);
        if (!inside) kept.append(bytes_, line.begin, line.end - line.begin);
    }
    bytes_ = std::move(kept);
}

std::vector<std::string> IniText::Sections() const {
    std::vector<std::string> names;
    for (std::size_t at = FirstLine(bytes_); at < bytes_.size();) {
        const Line line = ReadLine(bytes_, at);
        at = line.end;
        if (line.kind == Kind::kSection) names.emplace_back(line.name);
    }
    return names;
}

std::vector<std::pair<std::string, std::string>> IniText::Entries(std::string_view section) const {
    std::vector<std::pair<std::string, std::string>> entries;
    WalkSection(bytes_, section, [&](const Line& line) {
        if (line.kind == Kind::kEntry) entries.emplace_back(line.name, line.value);
        return false;
    });
    return entries;
}

bool IniText::IsValue(std::string_view text) { return text.find_first_of(std::string_view("\r\n\0", 3)) == text.npos; }

bool IniText::IsSection(std::string_view name) {
    return !name.empty() && Trimmed(name) == name && IsValue(name) && name.find(']') == name.npos;
}

bool IniText::IsKey(std::string_view name) {
    return !name.empty() && Trimmed(name) == name && IsValue(name) && name.find('=') == name.npos &&
           name.front() != '[' && name.front() != ';';
}

}  // namespace kestrel
