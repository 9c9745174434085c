#pragma once
#include <string>
#include <vector>

#include "apps/kestrel/CommandLine.h"
#include "kestrel/host/Rendering.h"

/// What to say about a name that no filter has.
std::string UnknownFilter(const std::string& name);

/// The text of a chain file (-: standard input) without what does not belong to the chain, checked as `--chain` does.
std::string ReadChain(const std::string& path, bool strict);

/// A chain text as people keep it in a file: without what does not belong to the chain.
struct ChainFile {
    std::string text;
    std::vector<int> lines;  ///< for each line of the text its number in the file, from 1
};

/// The chain that a picture box keeps with a picture.
struct StoredChain {
    std::string picture;  ///< for messages
    std::string text;
};

/// The options that say which filters run: `--chain`, then each `-f` in its order, `--text-of` for their
/// words.
class ChainOptions {
public:
    /// Adds the options to a command.
    void AddTo(const Command& command);
    bool ReadsStandardInput() const { return chainFile_ == "-"; }
    bool HasFile() const { return !chainFile_.empty(); }
    /// Equal for equal filters and texts; `--chain` is read before.
    std::string Identity() const;
    /// Reads `--chain`; from then on several threads may call `ApplyTo`.
    void Read();
    /// Puts the filters into a rendering: the chain text as it stands, then each `-f` by its cost. `stored` is a text
    /// that takes the place of `--chain`'s, if any. Without `tells` nothing is said about texts that are not taken up.
    void ApplyTo(kestrel::Rendering& rendering, const StoredChain* stored = nullptr, bool tells = true) const;
    /// Reports what the filters cannot do to the picture that the rendering holds by now.
    void TellWithPicture(kestrel::Rendering& rendering, double renderScale) const;

private:
    std::string chainFile_;
    ChainFile chain_;
    std::vector<std::string> filters_;
    std::vector<std::string> texts_;  ///< pairs: the number of an -f, the words for it
    bool strict_ = false;
};
