#include "apps/kestrel/Existing.h"

#include <fmt/format.h>

#include "apps/kestrel/CommandLine.h"
#include "apps/kestrel/Console.h"

void AddExistingOption(const Command& command, std::string& text) {
    command.Option("--existing", text, "refuse|skip|replace|rename",
                   "What to do where the name is taken; rename adds a number\n[refuse]");
}

Existing ParseExisting(const std::string& text) {
    if (text == "refuse") return Existing::Refuse;
    if (text == "skip") return Existing::Skip;
    if (text == "replace") return Existing::Replace;
    if (text == "rename") return Existing::Rename;
    throw console::UsageError{fmt::format("--existing: \"{}\" is not refuse, skip, replace or rename", text)};
}

std::string NumberedName(const std::string& name, int number) {
    return number < 2 ? name : fmt::format("{}-{}", name, number);
}
