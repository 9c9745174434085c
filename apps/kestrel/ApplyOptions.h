#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "apps/kestrel/ChainOptions.h"
#include "apps/kestrel/Existing.h"
#include "apps/kestrel/PictureOptions.h"
#include "apps/kestrel/Values.h"
#include "kestrel/codec/ImageLoader.h"

/// The options of `kestrel apply` as they were written.
struct ApplyOptions {
    std::vector<std::string> files;  ///< INPUT and OUTPUT; with a pattern for the output, inputs only
    ChainOptions chain;
    PictureOptions pictures;
    bool storedChain = false;
    bool fastLoad = false;
    std::string renderScale = "1";
    std::string printChain;
    std::string view;
    std::string region;
    std::string format;
    std::string quality = "92";
    std::string chroma = "auto";
    std::string pngLevel = "6";
    std::string threads;
    std::string background = "#FFFFFF";
    std::string limitPixels = "400000000";
    std::string limitExpansion = "2000";
    std::string limitScans = "100";
    std::string limitInput = "1073741824";
    std::string output;  ///< pattern of the outputs of many inputs; empty for one INPUT and OUTPUT
    std::string existing = "refuse";
    std::string jobs;
    std::string memory;
    std::string shard;
    bool recursive = false;
    bool dryRun = false;
    bool resume = false;
    bool json = false;
    bool quiet = false;
    bool verbose = false;
};

/// The options as they are meant, for every picture of the run.
struct ApplyJob {
    double renderScale = 1;
    int threads = 1;
    std::optional<Size> view;
    std::optional<Region> region;
    kestrel::SaveOptions save;  ///< without a format where the name of the output tells it
    Rgba background;
    kestrel::LoadOptions limits;
    std::size_t jobs = 1;               ///< pictures at a time
    std::uint64_t memory = 0;           ///< bytes that all of them may need
    std::size_t shard = 0, shards = 1;  ///< this part of the list, from 0, and how many there are
};

/// Throws `console::UsageError` for options that cannot be.
ApplyJob CheckApply(const ApplyOptions& options);
