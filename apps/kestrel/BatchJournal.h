#pragma once
#include <cstdio>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "apps/kestrel/Files.h"

/// What a run over many pictures has begun and finished, a line each, so that one that was stopped can be resumed. It
/// lies with the program's logs, under a name that stands for the whole command, and goes when all is done. Any thread
/// may write.
class BatchJournal {
public:
    enum class Known {
        Nothing,
        Begun,    ///< an earlier run may have left the output
        Finished  ///< and neither input nor output has changed since
    };

    /// `command` is all that decides about the outputs. Throws `console::Failure` when the same run is under way, and,
    /// with `resumes`, when there can be no journal. Without `writes` it is only read.
    BatchJournal(const std::string& command, bool resumes, bool writes);
    ~BatchJournal();
    BatchJournal(const BatchJournal&) = delete;
    BatchJournal& operator=(const BatchJournal&) = delete;

    /// What earlier runs left; nothing unless the run resumes.
    Known Find(const std::string& input, const std::string& output) const;
    /// A journal that cannot be written is no failure of the work.
    void Begin(const std::string& input, const std::string& output);
    void Finish(const std::string& input, const std::string& output);
    /// All is done: there is nothing to resume. A journal that is only read stays.
    void Remove();

private:
    void Read();
    void Write(const std::string& line);

    std::string path_;
    std::unique_ptr<std::FILE, StreamCloser> file_;
    std::mutex guard_;
    std::map<std::pair<std::string, std::string>, std::string> known_;  // input and output: their marks when finished
};
