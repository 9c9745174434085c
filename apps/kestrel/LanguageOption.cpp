#include "apps/kestrel/LanguageOption.h"

#include <fmt/format.h>

#include "apps/kestrel/Console.h"

void LanguageOption::AddTo(const Command& command) {
    command.Option("--lang", name_, "LANG", "Language of the texts: en, it, fr, es or de");
}

std::optional<kestrel::Language> LanguageOption::Value(const char* command) const {
    if (name_.empty()) return {};
    const auto language = kestrel::ParseLanguage(name_);
    if (!language)
        throw console::UsageError{
            fmt::format("{}: there are no texts in \"{}\", only in en, it, fr, es and de", command, name_)};
    return language;
}
