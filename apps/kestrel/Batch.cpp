#include "apps/kestrel/Batch.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <new>
#include <system_error>
#include <thread>
#include <vector>

#include "apps/kestrel/ApplyRun.h"
#include "apps/kestrel/BatchPlan.h"
#include "apps/kestrel/Console.h"
#include "apps/kestrel/Interrupt.h"
#include "apps/kestrel/MemoryGate.h"
#include "apps/kestrel/PictureBox.h"
#include "apps/kestrel/PictureFiles.h"
#include "apps/kestrel/PictureJson.h"
#include "kestrel/host/Rendering.h"

namespace {

using Clock = std::chrono::steady_clock;
using State = BatchEntry::State;

class Batch {
public:
    Batch(const ApplyOptions& options, const ApplyJob& job, BatchJournal& journal, std::vector<BatchEntry> entries)
        : options_(options),
          job_(job),
          journal_(journal),
          gate_(job.memory),
          entries_(std::move(entries)),
          outcomes_(entries_.size()) {}

    /// All entries, on as many threads as there are jobs.
    void Run() {
        std::vector<std::thread> threads;
        const std::size_t jobs = std::min(job_.jobs, entries_.size());
        try {
            while (threads.size() + 1 < jobs) threads.emplace_back([this] { Work(); });
        } catch (const std::system_error&) {  // fewer threads do the same work
        }
        Work();
        for (std::thread& thread : threads) thread.join();
        console::ClearProgress();
    }

    const std::vector<PictureOutcome>& Outcomes() const { return outcomes_; }
    std::size_t Count(const char* state) const {
        return static_cast<std::size_t>(std::count_if(outcomes_.begin(), outcomes_.end(),
                                                      [&](const PictureOutcome& one) { return one.state == state; }));
    }
    double Seconds() const { return std::chrono::duration<double>(Clock::now() - start_).count(); }

private:
    void Work() {
        for (std::size_t i; (i = next_++) < entries_.size();) {
            outcomes_[i] = {entries_[i].input, entries_[i].output, "not begun", ""};
            if (interrupt::Happened()) continue;
            RunOne(entries_[i], outcomes_[i]);
            Tell(outcomes_[i]);
        }
    }

    void RunOne(const BatchEntry& entry, PictureOutcome& outcome) {
        try {
            if (entry.state == State::Failed) throw console::Failure{entry.problem};
            outcome.state = entry.state == State::Skipped    ? "skipped"
                            : entry.state == State::Finished ? "done before"
                            : options_.dryRun                ? "planned"
                                                             : Apply(entry);
        } catch (const console::Failure& failure) {
            Fail(outcome, failure.message);
        } catch (const console::UsageError& error) {
            Fail(outcome, entry.input + ": " + error.message);
        } catch (const std::bad_alloc&) {
            Fail(outcome, entry.input + ": there is not enough memory");
        } catch (const std::exception& error) {
            Fail(outcome, entry.input + ": " + error.what());
        }
    }

    static void Fail(PictureOutcome& outcome, const std::string& message) {
        if (interrupt::Happened()) return;
        console::Error(message);
        outcome.state = "failed";
        outcome.message = message;
    }

    const char* Apply(const BatchEntry& entry) {
        ApplyJob job = job_;
        job.save.format = entry.format;
        const ApplyTask task{entry.input, entry.output, false};
        const MemoryGate::Pass pass(gate_, MemoryOfApply(options_, job, task, entry.size));
        if (interrupt::Happened()) return "not begun";
        if (!FindBoxPath(entry.output, PathUse::Output)) MakeWay(entry);
        journal_.Begin(entry.input, entry.output);
        const int code = RunApply(options_, job, task);
        if (code != console::kDone && code != console::kDamagedInput) return "not begun";
        journal_.Finish(entry.input, entry.output);
        return code == console::kDone ? "done" : "damaged";
    }

    /// Makes the folder of the output; looks once more for what may have come under its name.
    static void MakeWay(const BatchEntry& entry) {
        std::error_code error;
        const std::filesystem::path folder = std::filesystem::path(entry.output).parent_path();
        if (!folder.empty()) std::filesystem::create_directories(folder, error);
        if (error) throw console::Failure{folder.string() + ": " + error.message()};
        if (!entry.mayReplace && std::filesystem::exists(std::filesystem::symlink_status(entry.output, error)))
            throw console::Failure{entry.output + ": has come meanwhile; --existing replace would replace it"};
    }

    /// On a terminal how far the work is, elsewhere a line for each picture.
    void Tell(const PictureOutcome& outcome) {
        const std::size_t done = ++done_;
        if (options_.dryRun || interrupt::Happened()) return;
        if (!isatty(STDERR_FILENO)) {
            if (outcome.state == "done" || outcome.state == "damaged")
                console::Note(fmt::format("{} of {}: {} -> {}", done, entries_.size(), outcome.input, outcome.output));
            return;
        }
        const double seconds = Seconds(), rate = static_cast<double>(done) / std::max(seconds, 1e-3);
        console::Progress(fmt::format("{} of {} pictures, {:.1f} a second, {:.0f} s left", done, entries_.size(), rate,
                                      static_cast<double>(entries_.size() - done) / rate));
    }

    const ApplyOptions& options_;
    const ApplyJob& job_;
    BatchJournal& journal_;
    MemoryGate gate_;
    std::vector<BatchEntry> entries_;
    std::vector<PictureOutcome> outcomes_;
    std::atomic<std::size_t> next_{0}, done_{0};
    Clock::time_point start_ = Clock::now();
};

void TellSummary(const ApplyOptions& options, const Batch& batch) {
    const auto& outcomes = batch.Outcomes();
    if (options.json) return console::Print(OutcomesAsJson(outcomes));
    if (options.quiet) return;
    if (options.dryRun)
        for (const PictureOutcome& outcome : outcomes)
            if (outcome.state != "failed")
                console::Print(fmt::format("{} -> {}{}\n", outcome.input, outcome.output,
                                           outcome.state == "planned" ? "" : " (" + outcome.state + ")"));
    std::string counts;
    for (const char* state : {"done", "damaged", "planned", "done before", "skipped", "failed", "not begun"})
        if (const std::size_t count = batch.Count(state))
            counts += fmt::format("{}{} {}", counts.empty() ? "" : ", ", count, state);
    console::Print(fmt::format("{} picture{}: {}{}\n", outcomes.size(), outcomes.size() == 1 ? "" : "s",
                               counts.empty() ? "nothing to do" : counts,
                               options.dryRun ? "" : fmt::format("; {:.1f} s", batch.Seconds())));
}

/// All that decides about the bytes and names of the outputs.
std::string CommandText(const ApplyOptions& options) {
    std::string text;
    const auto add = [&](const std::string& part) { text.append(part).append(1, '\0'); };
    for (const std::string& file : options.files) add(file);
    for (const std::string* part : {&options.output, &options.existing, &options.shard, &options.renderScale,
                                    &options.view, &options.region, &options.format, &options.quality, &options.chroma,
                                    &options.pngLevel, &options.background, &options.pictures.strip})
        add(*part);
    for (const bool flag :
         {options.pictures.toSrgb, options.pictures.lossless, options.storedChain, options.recursive, options.fastLoad})
        add(flag ? "1" : "0");
    add(options.chain.Identity());
    return text;
}

}  // namespace

int RunBatch(ApplyOptions& options, const ApplyJob& job) {
    if (!options.printChain.empty()) throw console::UsageError{"--print-chain is for one picture; there is --output"};
    if (std::find(options.files.begin(), options.files.end(), "-") != options.files.end())
        throw console::UsageError{"--output is for files; FILE - is a pipe"};
    options.chain.Read();
    kestrel::Rendering line;  // what is wrong with the chain is told once, before anything begins
    options.chain.ApplyTo(line);
    BatchJournal journal(CommandText(options), options.resume, !options.dryRun);
    Batch batch(options, job, journal, PlanBatch(options, job, journal));
    {
        const interrupt::Remembered scope;
        batch.Run();
    }
    TellSummary(options, batch);
    if (interrupt::Happened()) return interrupt::ExitCode();
    if (batch.Count("failed") > 0) return console::kFailed;
    journal.Remove();
    return batch.Count("damaged") > 0 ? console::kDamagedInput : console::kDone;
}
