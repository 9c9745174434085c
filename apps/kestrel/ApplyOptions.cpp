#include "apps/kestrel/ApplyOptions.h"

#include <fmt/format.h>

#include <algorithm>
#include <climits>
#include <thread>

#include "apps/kestrel/Console.h"
#include "apps/kestrel/MemoryGate.h"
#include "apps/kestrel/PictureFiles.h"

namespace {

template <class Value>
Value Checked(const std::optional<Value>& value, bool inRange, const char* option, const std::string& text,
              const char* expected) {
    if (!value || !inRange) throw console::UsageError{fmt::format("{}: \"{}\" is not {}", option, text, expected)};
    return *value;
}

int ParseThreads(const std::string& text) {
    const std::string threads = text.empty() ? fmt::to_string(std::max(std::thread::hardware_concurrency(), 1u)) : text;
    const auto count = ParseInteger(threads);
    return static_cast<int>(
        Checked(count, count >= 1 && count <= 1024, "--threads", threads, "a whole number from 1 to 1024"));
}

std::uint64_t ParseLimit(const char* option, const std::string& text) {
    const auto value = ParseInteger(text);
    return static_cast<std::uint64_t>(Checked(value, value >= 1, option, text, "a whole number above 0"));
}

kestrel::LoadOptions CheckLimits(const ApplyOptions& options) {
    kestrel::LoadOptions limits;
    limits.pixelLimit = ParseLimit("--limit-pixels", options.limitPixels);
    limits.expansionLimit = ParseLimit("--limit-expansion", options.limitExpansion);
    limits.scanLimit =
        static_cast<int>(std::min<std::uint64_t>(ParseLimit("--limit-scans", options.limitScans), INT_MAX));
    limits.inputLimit = ParseLimit("--limit-input", options.limitInput);
    return limits;
}

/// Bytes, with K, M or G behind the number for 1024 of them and so on.
std::uint64_t ParseMemory(const std::string& text) {
    constexpr std::string_view kUnits = "KMG";
    const std::size_t unit = text.empty() ? kUnits.npos : kUnits.find(text.back());
    const auto value = ParseInteger(unit == kUnits.npos ? text : text.substr(0, text.size() - 1));
    const int shift = unit == kUnits.npos ? 0 : 10 * (static_cast<int>(unit) + 1);
    return static_cast<std::uint64_t>(
               Checked(value, value >= 1 && value <= INT64_MAX >> shift, "--memory", text, "a size such as 500M or 4G"))
           << shift;
}

/// "I/N", I from 1 to N.
void CheckShard(const std::string& text, ApplyJob& job) {
    const std::size_t slash = text.find('/');
    const auto part = ParseInteger(text.substr(0, slash));
    const auto parts = slash == text.npos ? std::nullopt : ParseInteger(text.substr(slash + 1));
    job.shard = static_cast<std::size_t>(
        Checked(part, part >= 1 && parts && *part <= *parts, "--shard", text, "I/N with I from 1 to N") - 1);
    job.shards = static_cast<std::size_t>(*parts);
}

void CheckMany(const ApplyOptions& options, ApplyJob& job) {
    ParseExisting(options.existing);
    job.jobs = std::max(1u, std::thread::hardware_concurrency());
    if (!options.jobs.empty()) {
        const auto jobs = ParseInteger(options.jobs);
        job.jobs = static_cast<std::size_t>(
            Checked(jobs, jobs >= 1 && jobs <= 1024, "--jobs", options.jobs, "a whole number from 1 to 1024"));
    }
    // The cores are busy with other pictures.
    if (options.threads.empty()) job.threads = std::max(1, job.threads / static_cast<int>(job.jobs));
    job.memory = options.memory.empty() ? AvailableMemory() / 2 : ParseMemory(options.memory);
    if (!options.shard.empty()) CheckShard(options.shard, job);
}

/// Options that mean nothing for one picture.
void CheckOne(const ApplyOptions& options) {
    const struct {
        const char* name;
        bool given;
    } rows[] = {{"--existing", options.existing != ApplyOptions().existing},
                {"--jobs", !options.jobs.empty()},
                {"--memory", !options.memory.empty()},
                {"--shard", !options.shard.empty()},
                {"--recursive", options.recursive},
                {"--dry-run", options.dryRun},
                {"--resume", options.resume},
                {"--json", options.json}};
    for (const auto& row : rows)
        if (row.given) throw console::UsageError{fmt::format("{} needs --output, for many pictures", row.name)};
}

}  // namespace

ApplyJob CheckApply(const ApplyOptions& options) {
    ApplyJob job;
    const auto scale = ParseNumber(options.renderScale);
    job.renderScale = Checked(scale, scale > 0.0, "--render-scale", options.renderScale, "a number above 0");
    job.save.jpegQuality = ParseQuality(options.quality);
    const auto chroma = kestrel::ChromaSamplingOfName(options.chroma);
    job.save.chroma = Checked(chroma, true, "--chroma", options.chroma, "auto, 444, 422, 420 or 411");
    const auto level = ParseInteger(options.pngLevel);
    job.save.pngCompression = static_cast<int>(
        Checked(level, level >= 0 && level <= 9, "--png-level", options.pngLevel, "a whole number from 0 to 9"));
    job.threads = ParseThreads(options.threads);
    job.limits = CheckLimits(options);
    options.pictures.Check(job.limits, job.save);
    job.background = ParseBackground(options.background);
    if (!options.view.empty())
        job.view = Checked(ParseSize(options.view), true, "--view", options.view, "WxH: whole numbers from 1");
    if (!options.region.empty())
        job.region = Checked(ParseRegion(options.region), true, "--region", options.region,
                             "X,Y,W,H: whole numbers from 0, W and H from 1");
    if (!options.printChain.empty() && options.printChain != "pending" && options.printChain != "active")
        throw console::UsageError{fmt::format("--print-chain: \"{}\" is not pending or active", options.printChain)};
    if (options.quiet && options.verbose) throw console::UsageError{"--quiet and --verbose exclude each other"};
    if (options.storedChain && options.chain.HasFile())
        throw console::UsageError{"--stored-chain and --chain exclude each other"};
    if (options.output.empty())
        CheckOne(options);
    else
        CheckMany(options, job);
    if (!options.format.empty()) job.save.format = ParseFormat(options.format);
    return job;
}
