#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "apps/kestrel/ApplyOptions.h"
#include "apps/kestrel/BatchJournal.h"
#include "kestrel/codec/ImageFormat.h"

/// What is to become of one input of a run over many.
struct BatchEntry {
    enum class State {
        Planned,
        Skipped,   ///< its output is there
        Finished,  ///< by an earlier run
        Failed     ///< `problem` says why
    };
    std::string input{};
    std::string output{};
    kestrel::ImageFormat format = kestrel::ImageFormat::Unknown;
    State state = State::Planned;
    std::string problem{};
    bool mayReplace = false;  ///< what is under the output's name may give way
    Size size{};              ///< of the input, where that is known already
};

/// The inputs in the order of their names, each with an output of its own: no output is another one's, or another
/// input. Of a share of the list all others are left out; names and numbers are those of the whole list.
std::vector<BatchEntry> PlanBatch(const ApplyOptions& options, const ApplyJob& job, const BatchJournal& journal);
