#pragma once
#include <optional>
#include <string>

#include "apps/kestrel/CommandLine.h"
#include "kestrel/host/Strings.h"

/// `--lang LANG`, as several commands have it.
class LanguageOption {
public:
    void AddTo(const Command& command);

    /// What was asked for; none without the option. Throws `console::UsageError` for a language that is not there.
    std::optional<kestrel::Language> Value(const char* command) const;

private:
    std::string name_;
};
