#pragma once
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kestrel/foundation/Export.h"

namespace kestrel {

/// A text of "[section]" lines and "key=value" lines. Names are compared without case, the first of equal ones counts,
/// blanks and one pair of quotes around a value are not part of it, a line that begins with ';' is a comment, a UTF-8
/// mark at the start is none of the first line. Every byte that a change does not concern stays as it is: order,
/// comments, foreign lines, line ends, NUL bytes.
class KESTREL_API IniText {
public:
    explicit IniText(std::string bytes) : bytes_(std::move(bytes)) {}

    std::optional<std::string> Get(std::string_view section, std::string_view key) const;
    /// A value with blanks or quotes at its ends is put into quotes. Names and value must be `IsName` and `IsValue`.
    void Set(std::string_view section, std::string_view key, std::string_view value);
    /// Every section of that name, with all its lines.
    void DeleteSection(std::string_view section);

    std::vector<std::string> Sections() const;
    std::vector<std::pair<std::string, std::string>> Entries(std::string_view section) const;

    const std::string& Bytes() const { return bytes_; }

    /// What can be written and read back: no line ends or NUL, no blanks at the ends, for keys no '=' and no '[' or ';'
    /// in front.
    static bool IsSection(std::string_view name);
    static bool IsKey(std::string_view name);
    static bool IsValue(std::string_view text);

private:
    std::string bytes_;
};

}  // namespace kestrel
