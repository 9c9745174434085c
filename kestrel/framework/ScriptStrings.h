#pragma once
#include <array>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/foundation/Export.h"

namespace kestrel {

/// The languages of the texts, in the order in which an entry of a strings file usually has them.
enum class Language { English, Italian, French, Spanish, German };
inline constexpr std::size_t kLanguageCount = 5;

/// "German", as it stands in a strings file.
KESTREL_API std::string_view LanguageName(Language language);
/// "de"
KESTREL_API std::string_view LanguageCode(Language language);
/// The language that "German", "de", "de-AT" or "de_DE.UTF-8" means, upper or lower case; none for any other text.
KESTREL_API std::optional<Language> ParseLanguage(std::string_view name);

/// A place in a strings file that could not be read as it was meant.
struct ScriptFault {
    int line = 0;             ///< counted from 1
    const char* reason = "";  ///< without a full stop
};

/// The texts of a strings file: keys, and for each key a text in one or more languages.
///
/// The file is Windows-1252 and so are the texts. One entry is a key, "=", and texts of the form `German("Farbe")` in
/// any order of languages, with "," between them and ";" at the end. In a text `\n` is a line break, `\"` a quotation
/// mark and `\\` a backslash. Comments run from two slashes to the end of the line, or stand between slash-star and
/// star-slash. A text with a control character or with a byte that is no character of Windows-1252 is left out. What
/// cannot be read is skipped up to the next line and listed among the faults; the rest is kept.
///
/// Immutable once read, so that threads may share it.
class KESTREL_API ScriptStrings {
public:
    ScriptStrings() = default;
    /// Reads any bytes, in time and memory linear to their number.
    explicit ScriptStrings(std::string_view file);

    /// The text of a key in a language; in English where that language is missing; none for an unknown key, or where
    /// both are missing. The text is Windows-1252 and lives as long as this object.
    std::optional<std::string_view> Text(std::string_view key, Language language) const;
    /// The same without going back to English.
    std::optional<std::string_view> TextIn(std::string_view key, Language language) const;
    bool Has(std::string_view key) const { return entries_.find(key) != entries_.end(); }

    /// All keys, in the order of the file; they live as long as this object.
    const std::vector<std::string>& Keys() const { return keys_; }
    const std::vector<ScriptFault>& Faults() const { return faults_; }

private:
    friend class ScriptStringsReader;
    using Texts = std::array<std::optional<std::string>, kLanguageCount>;

    std::map<std::string, Texts, std::less<>> entries_;
    std::vector<std::string> keys_;
    std::vector<ScriptFault> faults_;
};

}  // namespace kestrel
