#pragma once
#include <string>
#include <vector>

#include "apps/kestrel/CommandLine.h"
#include "kestrel/host/Rendering.h"

/// What to say about a name that no filter has.
std::string UnknownFilter(const std::string& name);

/// The options that say which filters run: `--chain`, then each `-f` in its order, `--text-of` for their
/// words.
class ChainOptions {
public:
    /// Adds the options to a command.
    void AddTo(const Command& command);
    bool ReadsStandardInput() const { return chainFile_ == "-"; }
    /// Puts the filters into a rendering: the chain text as it stands, then each `-f` by its cost.
    void ApplyTo(kestrel::Rendering& rendering) const;
    /// Reports what the filters cannot do to the picture that the rendering holds by now.
    void TellWithPicture(kestrel::Rendering& rendering, double renderScale) const;

private:
    void ApplyFile(kestrel::Rendering& rendering) const;

    std::string chainFile_;
    std::vector<std::string> filters_;
    std::vector<std::string> texts_;  ///< pairs: the number of an -f, the words for it
    bool strict_ = false;
};
