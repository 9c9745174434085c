// The manual pages of the commands, made from what `--help` is made from.
#include <fmt/format.h>

#include <algorithm>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>

#include "apps/kestrel/Commands.h"
#include "apps/kestrel/Console.h"
#include "kestrel/foundation/Version.h"

namespace {

/// A text as the formatter prints it, character by character; an empty line is a paragraph's end.
std::string Escaped(std::string_view text) {
    std::string escaped;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (i == 0 || text[i - 1] == '\n')
            if (c == '.' || c == '\'') escaped += "\\&";
        if (c == '\\')
            escaped += "\\e";
        else if (c == '-')
            escaped += "\\-";
        else
            escaped += c;
    }
    return escaped;
}

std::string NamesOf(const OutlinedOption& option) {
    std::string names;
    for (const std::string& name : option.names)
        names += fmt::format("{}\\fB{}\\fR", names.empty() ? "" : ", ", Escaped(name));
    return option.type.empty() ? names : fmt::format("{} \\fI{}\\fR", names, Escaped(option.type));
}

std::string Synopsis(const OutlinedCommand& command, const std::string& name) {
    std::string line = fmt::format("\\fB{}\\fR", Escaped(name));
    for (const OutlinedOption& word : command.words) {
        const std::string& own = word.names.front();  // "INPUT OUTPUT" tells itself how many there are
        const bool several = word.repeatable && own.find(' ') == own.npos;
        const std::string shown = fmt::format("\\fI{}\\fR{}", Escaped(own), several ? "..." : "");
        line += word.required ? " " + shown : fmt::format(" [{}]", shown);
    }
    return line + " [\\fIOPTION\\fR]...\n";
}

void AddParts(std::string& page, const OutlinedCommand& command) {
    for (const OutlinedOption& word : command.words)
        page += fmt::format(".TP\n\\fI{}\\fR\n{}\n", Escaped(word.names.front()), Escaped(word.text));
    for (const OutlinedOption& option : command.options) {
        if (option.names.back() == "--help") continue;  // the page is the longer help
        page += fmt::format(".TP\n{}\n{}\n", NamesOf(option), Escaped(option.text));
    }
}

/// Lines that are indented are examples, which keep their line ends.
void AddNotes(std::string& page, std::string_view footer) {
    bool example = false;
    while (!footer.empty()) {
        const std::size_t end = std::min(footer.find('\n'), footer.size());
        const std::string_view line = footer.substr(0, end);
        footer.remove_prefix(std::min(end + 1, footer.size()));
        if (line.starts_with("  ") != example) page += example ? ".fi\n" : ".PP\n.nf\n";
        example = line.starts_with("  ");
        page += line.empty() ? ".PP\n" : Escaped(line) + "\n";
    }
    if (example) page += ".fi\n";
}

std::string PageOf(const OutlinedCommand& command) {
    const std::string name = "kestrel " + command.name;
    std::string page;
    page += fmt::format(".TH KESTREL\\-{} 1 \"\" \"Kestrel {}\" \"User Commands\"\n", Escaped(command.name),
                        kestrel::Version());
    page += fmt::format(".SH NAME\nkestrel\\-{} \\- {}\n.SH SYNOPSIS\n", Escaped(command.name), Escaped(command.text));
    if (command.commands.empty()) page += Synopsis(command, name);
    const char* between = "";
    for (const OutlinedCommand& below : command.commands) {
        page += between + Synopsis(below, name + " " + below.name);
        between = ".br\n";
    }
    if (command.commands.empty()) {
        page += ".SH OPTIONS\n";
        AddParts(page, command);
    } else {
        page += ".SH COMMANDS\n";
        for (const OutlinedCommand& below : command.commands) {
            page += fmt::format(".SS {}\n{}.\n", below.name, Escaped(below.text));
            AddParts(page, below);
        }
    }
    if (!command.footer.empty()) {
        page += ".SH NOTES\n";
        AddNotes(page, command.footer);
    }
    return page + ".SH SEE ALSO\n.BR kestrel (1)\n";
}

}  // namespace

void AddManual(const Command& program) {
    const auto folder = std::make_shared<std::string>();
    const Command command = program.HiddenSubcommand("manual", "Write the manual pages of the commands, for man(1)");
    command.Argument("FOLDER", *folder, "Where to");
    command.Run(Command::Log::kNo, [program, folder] {
        for (const OutlinedCommand& one : program.Outline().commands) {
            const std::string path = fmt::format("{}/kestrel-{}.1", *folder, one.name);
            std::ofstream file(path, std::ios::binary);
            file << PageOf(one) << std::flush;
            if (!file) throw console::Failure{path + ": cannot be written"};
        }
        return console::kDone;
    });
}
