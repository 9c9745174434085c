#include "kestrel/framework/ScriptStrings.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "kestrel/foundation/CodePage.h"

namespace kestrel {
namespace {

struct LanguageRow {
    std::string_view name;
    std::string_view code;
};
constexpr std::array<LanguageRow, kLanguageCount> kLanguages{
    {{"English", "en"}, {"Italian", "it"}, {"French", "fr"}, {"Spanish", "es"}, {"German", "de"}}};

bool EqualNoCase(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return LowerCase1252(x) == LowerCase1252(y); });
}

constexpr bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

constexpr bool IsWordCharacter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
}

/// Whether a byte is a character of Windows-1252 that a person can see: no control character, none of the five bytes
/// that the code page leaves open.
bool IsPrintable(char c) {
    const char16_t code = UnicodeFrom1252(c);
    return code >= 0x20 && (code < 0x7F || code >= 0xA0);
}

}  // namespace

std::string_view LanguageName(Language language) { return kLanguages[static_cast<std::size_t>(language)].name; }
std::string_view LanguageCode(Language language) { return kLanguages[static_cast<std::size_t>(language)].code; }

std::optional<Language> ParseLanguage(std::string_view name) {
    const std::string_view code = name.substr(0, name.find_first_of("-_."));
    for (std::size_t i = 0; i < kLanguageCount; ++i)
        if (EqualNoCase(name, kLanguages[i].name) || EqualNoCase(code, kLanguages[i].code))
            return static_cast<Language>(i);
    return {};
}

/// One walk over the file.
class ScriptStringsReader {
public:
    ScriptStringsReader(std::string_view file, ScriptStrings& strings) : file_(file), strings_(strings) {}

    void Read() {
        while (SkipBlanks(), at_ < file_.size()) {
            const std::size_t start = at_;
            const bool read = ReadEntry();
            const bool atNextKey = at_ > start && file_[at_ - 1] == '\n';
            if (!read && !atNextKey) SkipLine();
        }
    }

private:
    /// A key and its texts; false at what cannot be read, after a fault was noted.
    bool ReadEntry() {
        const int line = line_;
        const std::string key(TakeWord());
        if (key.empty()) return Fault("a key was expected");
        if (!Take('=')) return Fault("an equals sign was expected after the key");
        ScriptStrings::Texts texts;
        const bool whole = ReadTexts(texts);
        if (!strings_.entries_.emplace(key, std::move(texts)).second)
            strings_.faults_.push_back({line, "the key stands here again; its first texts count"});
        else
            strings_.keys_.push_back(key);
        return whole;
    }

    bool ReadTexts(ScriptStrings::Texts& texts) {
        do {
            SkipBlanks();
            const std::pair start(at_, line_);
            const std::string_view name = TakeWord();
            if (name.empty()) return Fault("a language was expected");
            const auto row =
                std::find_if(kLanguages.begin(), kLanguages.end(), [name](const auto& r) { return r.name == name; });
            if (!Take('(')) {
                if (Here() == '=') std::tie(at_, line_) = start;  // the next key, after a comma that ends nothing
                return Fault("a bracket was expected after the language");
            }
            std::optional<std::string> text;
            if (!TakeText(text)) return false;
            if (!Take(')')) return Fault("a closing bracket was expected after the text");
            if (row == kLanguages.end()) {
                Fault("this language is unknown");
                continue;
            }
            auto& place = texts[static_cast<std::size_t>(row - kLanguages.begin())];
            if (place)
                Fault("the language stands here again; its first text counts");
            else
                place = std::move(text);
        } while (Take(','));
        return Take(';') || Fault("a comma or a semicolon was expected after the text");
    }

    /// A text in quotation marks, which ends on its line; `text` stays empty when it holds what no text may hold.
    bool TakeText(std::optional<std::string>& text) {
        SkipBlanks();
        if (Here() != '"') return Fault("a quotation mark was expected");
        std::string taken;
        bool printable = true;
        for (++at_; Here() != '"'; ++at_) {
            if (at_ >= file_.size() || Here() == '\n' || Here() == '\r')
                return Fault("the text has no end on its line");
            const char escaped = Here() == '\\' && at_ + 1 < file_.size() ? file_[at_ + 1] : '\0';
            if (escaped == 'n' || escaped == '"' || escaped == '\\') {
                taken += escaped == 'n' ? '\n' : escaped;
                ++at_;
            } else {
                printable = printable && IsPrintable(Here());
                taken += Here();
            }
        }
        ++at_;
        if (printable)
            text = std::move(taken);
        else
            Fault("the text holds a byte that is no printable character of Windows-1252");
        return true;
    }

    std::string_view TakeWord() {
        SkipBlanks();
        const std::size_t start = at_;
        while (IsWordCharacter(Here())) ++at_;
        return file_.substr(start, at_ - start);
    }

    bool Take(char c) {
        SkipBlanks();
        if (Here() != c || at_ >= file_.size()) return false;
        ++at_;
        return true;
    }

    /// Goes past blanks and comments; a comment without an end reaches to the end of the file.
    void SkipBlanks() {
        for (;;) {
            while (IsBlank(Here())) Advance();
            const std::string_view two = file_.substr(at_, 2);
            if (two == "//") {
                SkipLine();
            } else if (two == "/*") {
                const std::size_t close = file_.find("*/", at_ + 2);
                if (close == std::string_view::npos) Fault("the comment has no end");
                const std::size_t next = close == std::string_view::npos ? file_.size() : close + 2;
                while (at_ < next) Advance();
            } else {
                return;
            }
        }
    }

    void SkipLine() {
        while (at_ < file_.size() && Here() != '\n') ++at_;
        if (at_ < file_.size()) Advance();
    }

    void Advance() {
        if (Here() == '\n') ++line_;
        ++at_;
    }

    char Here() const { return at_ < file_.size() ? file_[at_] : '\0'; }

    bool Fault(const char* reason) {
        strings_.faults_.push_back({line_, reason});
        return false;
    }

    std::string_view file_;
    ScriptStrings& strings_;
    std::size_t at_ = 0;
    int line_ = 1;
};

ScriptStrings::ScriptStrings(std::string_view file) { ScriptStringsReader(file, *this).Read(); }

std::optional<std::string_view> ScriptStrings::TextIn(std::string_view key, Language language) const {
    const auto entry = entries_.find(key);
    if (entry == entries_.end()) return {};
    return entry->second[static_cast<std::size_t>(language)];
}

std::optional<std::string_view> ScriptStrings::Text(std::string_view key, Language language) const {
    const auto text = TextIn(key, language);
    return text || language == Language::English ? text : TextIn(key, Language::English);
}

}  // namespace kestrel
