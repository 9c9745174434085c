#include "apps/kestrel/OutputPattern.h"

#include <fmt/format.h>

#include <filesystem>
#include <system_error>

#include "apps/kestrel/Console.h"

namespace {

/// Null for a word that means nothing.
const std::string* ValueOf(const std::string& word, const PatternValues& values, const std::string& number) {
    if (word == "dir") return &values.folder;
    if (word == "stem") return &values.stem;
    if (word == "ext") return &values.extension;
    if (word == "n") return &number;
    return nullptr;
}

}  // namespace

OutputPattern::OutputPattern(std::string text) : text_(std::move(text)) {
    std::error_code none;
    if (!text_.ends_with('/') && std::filesystem::is_directory(text_, none)) text_ += '/';
    if (text_.ends_with('/')) text_ += "{stem}.{ext}";
    Expand({});
}

std::string OutputPattern::Expand(const PatternValues& values) const {
    const std::size_t digits = std::to_string(values.count).size();
    const std::string number = fmt::format("{:0{}}", values.number, digits);
    std::string name;
    for (std::size_t at = 0; at < text_.size();) {
        const std::size_t open = text_.find('{', at);
        name.append(text_, at, open - at);
        if (open == text_.npos) break;
        const std::size_t close = text_.find('}', open);
        const std::string word = text_.substr(open + 1, close == text_.npos ? close : close - open - 1);
        const std::string* const value = close == text_.npos ? nullptr : ValueOf(word, values, number);
        if (!value)
            throw console::UsageError{fmt::format("--output: \"{}\" is not {{dir}}, {{stem}}, {{ext}} or {{n}}",
                                                  text_.substr(open, close == text_.npos ? close : close + 1 - open))};
        name += *value;
        at = close + 1;
    }
    return name;
}
