#include "apps/kestrel/ApplyOptions.h"

#include <fmt/format.h>

#include <algorithm>
#include <climits>
#include <thread>

#include "apps/kestrel/Console.h"
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

}  // namespace

ApplyJob CheckApply(const ApplyOptions& options) {
    ApplyJob job;
    const auto scale = ParseNumber(options.renderScale);
    job.renderScale = Checked(scale, scale > 0.0, "--render-scale", options.renderScale, "a number above 0");
    job.save.jpegQuality = ParseQuality(options.quality);
    job.threads = ParseThreads(options.threads);
    job.limits = CheckLimits(options);
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
    if (!options.format.empty()) job.save.format = ParseFormat(options.format);
    return job;
}
