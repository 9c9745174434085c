#pragma once
#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "kestrel/host/Rendering.h"

/// Refuses an option with an empty value, as an unset variable of a script gives it.
CLI::Validator NotEmpty();

/// The options that say which filters run: `--chain`, then each `-f` in its order.
class ChainOptions {
public:
    /// Adds the options to a command.
    void AddTo(CLI::App& command);
    bool ReadsStandardInput() const { return chainFile_ == "-"; }
    /// Puts the filters into a rendering: the chain text as it stands, then each `-f` by its cost.
    void ApplyTo(kestrel::Rendering& rendering) const;

private:
    std::string chainFile_;
    std::vector<std::string> filters_;
};
