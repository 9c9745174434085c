// What may stand at the last place of an unfinished command line. The shells' scripts (apps/kestrel/completion) ask for
// it, so that commands, filters, keys and values are those of the program that is installed.
#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "apps/kestrel/Commands.h"
#include "apps/kestrel/Console.h"
#include "kestrel/codec/ImageFormat.h"
#include "kestrel/host/Catalogue.h"

namespace {

struct Candidate {
    std::string word;
    std::string text;
};
using Candidates = std::vector<Candidate>;

std::vector<std::string_view> Split(std::string_view text, char separator) {
    std::vector<std::string_view> pieces;
    for (std::size_t from = 0; from <= text.size();) {
        const std::size_t end = std::min(text.find(separator, from), text.size());
        pieces.push_back(text.substr(from, end - from));
        from = end + 1;
    }
    return pieces;
}

Candidates Filters(const std::string& after) {
    Candidates found;
    for (const kestrel::ClassRow* row : kestrel::ListFilters())
        found.push_back({kestrel::WordOf(*row->description) + after, row->description->summary});
    return found;
}

Candidates ValuesOf(const std::string& before, const kestrel::KeyInfo& key) {
    Candidates found;
    for (const kestrel::Choice& choice : key.choices)
        found.push_back({fmt::format("{}{}", before, choice.value), choice.words});
    if (key.kind == kestrel::Kind::Flag) found = {{before + "0", "off"}, {before + "1", "on"}};
    if (found.empty() && key.ranged)
        for (const double end : {key.minimum, key.maximum}) found.push_back({fmt::format("{}{}", before, end), ""});
    return found;
}

/// `word` is "Sepia:Se" or "Scale:Method=1,Wi".
Candidates KeysAndValues(const kestrel::ClassRow& filter, std::string_view word) {
    const std::size_t text = word.find(':') + 1;
    const std::size_t comma = word.rfind(',');
    const std::size_t piece = comma == word.npos ? text : std::max(text, comma + 1);
    const kestrel::ParameterInfo info = filter.parameters();
    Candidates found;
    for (const auto& alike : kestrel::OfferedKeys(info))
        for (const kestrel::KeyInfo& key : alike) {
            const std::string before = fmt::format("{}{}=", word.substr(0, piece), key.key);
            if (word.starts_with(before)) return ValuesOf(before, key);
            found.push_back({before, key.group.empty() ? key.meaning : key.group + ": " + key.meaning});
        }
    return found;
}

/// What may stand for a value of `type`; nothing where it is a file's name or the user's own word.
Candidates ValuesOf(const std::string& type, const std::string& word) {
    if (type == "FILTER") return Filters("");
    if (type == "NAME[:TEXT]") {
        const std::size_t colon = word.find(':');
        if (colon == word.npos) return Filters(":");
        const kestrel::ClassRow* const filter = kestrel::FindFilter(word.substr(0, colon));
        return filter ? KeysAndValues(*filter, word) : Candidates();
    }
    Candidates found;
    if (type == "LANG") {
        for (const char* language : {"en", "it", "fr", "es", "de"}) found.push_back({language, ""});
    } else if (type == "FORMAT") {
        for (const kestrel::FormatInfo& format : kestrel::KnownFormats())
            if (format.writes) found.push_back({format.name, format.title});
    } else if (type.find('|') != type.npos) {
        for (const std::string_view choice : Split(type, '|')) found.push_back({std::string(choice), ""});
    }
    return found;
}

bool Has(const OutlinedOption& option, std::string_view name) {
    return std::find(option.names.begin(), option.names.end(), name) != option.names.end();
}

const OutlinedOption* OptionOf(const OutlinedCommand& command, std::string_view name) {
    for (const OutlinedOption& option : command.options)
        if (Has(option, name)) return &option;
    return nullptr;
}

/// What an unfinished command line has come to before its last word.
struct Place {
    const OutlinedCommand* command;
    const OutlinedOption* option = nullptr;  ///< whose value is asked for, or null
    std::size_t words = 0;                   ///< of the command's own, in front
};

Place Walk(const OutlinedCommand& program, const std::vector<std::string>& words) {
    Place place{&program};
    int wanted = 0;  // values of the option
    for (std::size_t i = 0; i + 1 < words.size(); ++i) {
        const std::string& word = words[i];
        if (wanted > 0) {
            if (--wanted == 0) place.option = nullptr;
        } else if (word.size() > 1 && word.front() == '-') {
            place.option = OptionOf(*place.command, word);
            wanted = place.option ? place.option->values : 0;
            if (wanted == 0) place.option = nullptr;
        } else {
            const auto& below = place.command->commands;
            const auto next = std::find_if(below.begin(), below.end(),
                                           [&](const OutlinedCommand& command) { return command.name == word; });
            if (next == below.end())
                ++place.words;
            else
                place = {&*next};
        }
    }
    return place;
}

Candidates Options(const OutlinedCommand& command) {
    Candidates found;
    for (const OutlinedOption& option : command.options)
        for (const std::string& name : option.names) found.push_back({name, option.text});
    return found;
}

Candidates CandidatesFor(const OutlinedCommand& program, const std::vector<std::string>& words) {
    const std::string& last = words.back();
    const Place place = Walk(program, words);
    if (place.option) return ValuesOf(place.option->type, last);
    if (last.starts_with("--") && last.find('=') != last.npos) {
        const std::size_t equals = last.find('=');
        const OutlinedOption* const option = OptionOf(*place.command, std::string_view(last).substr(0, equals));
        Candidates found = option ? ValuesOf(option->type, last.substr(equals + 1)) : Candidates();
        for (Candidate& candidate : found) candidate.word.insert(0, last, 0, equals + 1);
        return found;
    }
    if (last.starts_with('-')) return Options(*place.command);
    if (!place.command->commands.empty()) {
        Candidates found;
        for (const OutlinedCommand& command : place.command->commands) found.push_back({command.name, command.text});
        return found;
    }
    return place.words < place.command->words.size() ? ValuesOf(place.command->words[place.words].names.front(), last)
                                                     : Candidates();
}

}  // namespace

void AddComplete(const Command& program) {
    const auto words = std::make_shared<std::vector<std::string>>();
    const Command command = program.HiddenSubcommand("complete", "What may stand at the end of an unfinished command");
    command.Words("WORD", *words, "The words after the program's name; the last one is to be completed");
    command.Run(Command::Log::kNo, [program, words] {
        if (words->empty()) words->emplace_back();
        for (const Candidate& candidate : CandidatesFor(program.Outline(), *words))
            if (candidate.word.starts_with(words->back()))
                console::Print(candidate.text.empty() ? candidate.word + "\n"
                                                      : fmt::format("{}\t{}\n", candidate.word, candidate.text));
        return console::kDone;
    });
}
