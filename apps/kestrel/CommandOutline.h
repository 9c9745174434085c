#pragma once
#include <string>
#include <vector>

/// An option or a word at its place, as `--help`, the manual pages and the completion of a shell tell it.
struct OutlinedOption {
    std::vector<std::string> names;  ///< "-f", "--filter"; the one name of a word: "INPUT"
    std::string type;                ///< of the value: "FILE", "pending|active"; empty for a flag
    std::string text;                ///< what `--help` says, its lines joined
    int values = 0;                  ///< words that follow the name; 0 for a flag
    bool required = false;
    bool repeatable = false;
};

/// A command with all that it takes.
struct OutlinedCommand {
    std::string name;
    std::string text;
    std::string footer;                 ///< with its line breaks
    std::vector<OutlinedOption> words;  ///< at their places, in order
    std::vector<OutlinedOption> options;
    std::vector<OutlinedCommand> commands;
};
