#pragma once
#include <cstdint>
#include <string>

#include "apps/kestrel/ApplyOptions.h"

/// One picture of a run.
struct ApplyTask {
    std::string input;
    std::string output;
    bool alone = true;  ///< the only one: its steps are shown as progress, its chain is told about
};

/// Reads a picture, runs it through the filters and writes it. `job` has the output's format. Returns `kDone`,
/// `kDamagedInput` or the code of an interruption; throws `console::Failure` and `console::UsageError`. Several threads
/// may run tasks of their own.
int RunApply(const ApplyOptions& options, ApplyJob job, const ApplyTask& task);

/// Bytes of memory that `RunApply` needs for a task, roughly and rather too many. `size` is that of the input, or 0 for
/// one that has to be asked.
std::uint64_t MemoryOfApply(const ApplyOptions& options, const ApplyJob& job, const ApplyTask& task, Size size);
