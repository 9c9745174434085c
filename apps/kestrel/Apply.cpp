#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>
#include <thread>

#include "apps/kestrel/ChainOptions.h"
#include "apps/kestrel/Commands.h"
#include "apps/kestrel/Console.h"
#include "apps/kestrel/Files.h"
#include "apps/kestrel/Interrupt.h"
#include "apps/kestrel/Values.h"
#include "kestrel/codec/ImageLoader.h"
#include "kestrel/foundation/FileReplacement.h"
#include "kestrel/host/Rendering.h"

namespace {

using kestrel::ImageFormat;
using kestrel::Picture;
using kestrel::Rendering;

/// The options as they were written.
struct Options {
    std::string input;
    std::string output;
    ChainOptions chain;
    std::string renderScale = "1";
    std::string printChain;
    std::string view;
    std::string region;
    std::string format;
    std::string quality = "92";
    std::string threads;
    std::string background = "#FFFFFF";
    std::string limitPixels = "400000000";
    std::string limitExpansion = "2000";
    std::string limitScans = "100";
    std::string limitInput = "1073741824";
    bool quiet = false;
    bool verbose = false;
};

/// The options as they are meant.
struct Job {
    double renderScale = 1;
    int threads = 1;
    std::optional<Size> view;
    std::optional<Region> region;
    kestrel::SaveOptions save;
    Rgba background;
    kestrel::LoadOptions limits;
};

bool IsPipe(const std::string& path) { return path == "-"; }
std::string Shown(const std::string& path, const char* pipe) { return IsPipe(path) ? pipe : path; }
std::string InputName(const Options& options) { return Shown(options.input, "standard input"); }
std::string OutputName(const Options& options) { return Shown(options.output, "standard output"); }

/// "bmp, gif, jpeg, ..."
std::string WritableFormats() {
    std::string names;
    for (const ImageFormat format : kestrel::WritableFormats())
        names.append(names.empty() ? "" : ", ").append(kestrel::FormatName(format));
    return names;
}

template <class Value>
Value Checked(const std::optional<Value>& value, bool inRange, const char* option, const std::string& text,
              const char* expected) {
    if (!value || !inRange) throw console::UsageError{fmt::format("{}: \"{}\" is not {}", option, text, expected)};
    return *value;
}

Job Check(const Options& options) {
    Job job;
    const auto scale = ParseNumber(options.renderScale);
    job.renderScale = Checked(scale, scale > 0.0, "--render-scale", options.renderScale, "a number above 0");
    const auto quality = ParseInteger(options.quality);
    job.save.jpegQuality = static_cast<int>(
        Checked(quality, quality >= 1 && quality <= 100, "--quality", options.quality, "a whole number from 1 to 100"));
    const std::string threads =
        options.threads.empty() ? fmt::to_string(std::max(std::thread::hardware_concurrency(), 1u)) : options.threads;
    const auto count = ParseInteger(threads);
    job.threads = static_cast<int>(
        Checked(count, count >= 1 && count <= 1024, "--threads", threads, "a whole number from 1 to 1024"));
    const auto limit = [](const char* option, const std::string& text) {
        const auto value = ParseInteger(text);
        return static_cast<std::uint64_t>(Checked(value, value >= 1, option, text, "a whole number above 0"));
    };
    job.limits.pixelLimit = limit("--limit-pixels", options.limitPixels);
    job.limits.expansionLimit = limit("--limit-expansion", options.limitExpansion);
    job.limits.scanLimit =
        static_cast<int>(std::min<std::uint64_t>(limit("--limit-scans", options.limitScans), INT_MAX));
    job.limits.inputLimit = limit("--limit-input", options.limitInput);
    const auto background = ParseColor(options.background);
    job.background =
        Checked(background, background && !background->hasAlpha, "--background", options.background, "a color #RRGGBB");
    if (!options.view.empty())
        job.view = Checked(ParseSize(options.view), true, "--view", options.view, "WxH: whole numbers from 1");
    if (!options.region.empty())
        job.region = Checked(ParseRegion(options.region), true, "--region", options.region,
                             "X,Y,W,H: whole numbers from 0, W and H from 1");
    if (!options.printChain.empty() && options.printChain != "pending" && options.printChain != "active")
        throw console::UsageError{fmt::format("--print-chain: \"{}\" is not pending or active", options.printChain)};
    if (options.quiet && options.verbose) throw console::UsageError{"--quiet and --verbose exclude each other"};
    if (IsPipe(options.input) && options.chain.ReadsStandardInput())
        throw console::UsageError{"INPUT - and --chain - both need standard input"};
    if (IsPipe(options.output) && !options.printChain.empty())
        throw console::UsageError{"OUTPUT - and --print-chain both need standard output"};

    if (!options.format.empty()) {
        job.save.format = kestrel::FormatOfName(options.format);
        if (job.save.format == ImageFormat::Unknown)
            throw console::UsageError{fmt::format("--format: \"{}\" is not a format that can be written ({})",
                                                  options.format, WritableFormats())};
    } else if (IsPipe(options.output)) {
        throw console::UsageError{"OUTPUT - needs --format, such as --format png"};
    } else {
        job.save.format = kestrel::FormatOfPath(options.output);
        if (job.save.format == ImageFormat::Unknown)
            throw console::Failure{
                fmt::format("{}: the name does not tell a format that can be written ({}); choose one with --format",
                            options.output, WritableFormats())};
    }
    if (IsPipe(options.output) && isatty(STDOUT_FILENO))
        throw console::UsageError{"OUTPUT - is a terminal; send it into a file or another program"};
    return job;
}

/// The option that raises the limit in the way, if one is.
const char* LimitOption(kestrel::CodecFault fault) {
    switch (fault) {
        case kestrel::CodecFault::PixelLimit:
            return "--limit-pixels";
        case kestrel::CodecFault::ExpansionLimit:
            return "--limit-expansion";
        case kestrel::CodecFault::ScanLimit:
            return "--limit-scans";
        case kestrel::CodecFault::InputLimit:
            return "--limit-input";
        default:
            return nullptr;
    }
}

/// The input picture and what the file says beside it.
kestrel::LoadResult Load(const Options& options, const Job& job) {
    const std::string name = InputName(options);
    console::Progress("reading " + name);
    kestrel::LoadResult loaded = IsPipe(options.input) ? kestrel::ImageLoader::Load(stdin, job.limits)
                                                       : kestrel::ImageLoader::Load(options.input, job.limits);
    for (const std::string& warning : loaded.warnings) console::Warning(name + ": " + warning);
    if (!loaded) {
        const char* const option = LimitOption(loaded.error.fault);
        throw console::Failure{name + ": " + loaded.error.text +
                               (option ? std::string("; raise it with ") + option : std::string())};
    }
    console::Detail(fmt::format("{}: {} x {} pixels, {}{}", name, loaded.image->biWidth, loaded.image->biHeight,
                                kestrel::FormatName(loaded.format), loaded.mask ? " with transparency" : ""));
    return loaded;
}

std::string SizeText(int width, int height) { return fmt::format("{} x {}", width, height); }

/// With `--verbose`: the size of each filter's output, and what became of the view's size.
void TellGeometry(const Options& options, const Job& job, Rendering& rendering) {
    if (!options.verbose) return;
    for (const kestrel::LinkGeometry& link : rendering.LinkGeometries()) {
        const kestrel::FilterGeometry& g = link.geometry;
        console::Detail(fmt::format("{}: {} pixels in a frame of {}, origin {}, {}",
                                    link.progId.empty() ? InputName(options) : link.progId, SizeText(g.Width, g.Height),
                                    SizeText(g.FullWidth, g.FullHeight), g.OffsetX, g.OffsetY));
    }
    if (!job.view) return;
    Size seen, required;
    rendering.GetViewSize(&seen.width, &seen.height);
    rendering.GetRequiredSize(&required.width, &required.height);
    console::Detail(fmt::format(
        "view {}: {} at the end of the chain, {}", options.view, SizeText(seen.width, seen.height),
        required.width > 0 ? "the picture is asked for in " + SizeText(required.width, required.height) + " pixels"
                           : "the picture may have any size"));
}

Picture Filter(const Options& options, const Job& job, Rendering& rendering, Picture picture) {
    if (rendering.SetRenderScale(job.renderScale) != kestrel::S_OK)
        throw console::Failure{"--render-scale: the number is too large"};
    if (job.view) rendering.SetViewSize(job.view->width, job.view->height);
    if (rendering.SetThreads(job.threads) != kestrel::S_OK || rendering.SetPicture(std::move(picture)) != kestrel::S_OK)
        throw console::Failure{InputName(options) + ": the picture cannot be filtered"};
    int width = 0, height = 0;
    rendering.GetOutputSize(&width, &height);
    TellGeometry(options, job, rendering);
    options.chain.TellWithPicture(rendering, job.renderScale);
    if (width <= 0 || height <= 0)
        throw console::Failure{
            fmt::format("{}: the filters leave no picture ({} x {} pixels)", InputName(options), width, height)};
    if (const std::int64_t largest = rendering.LargestPixelCount();
        largest > 0 && static_cast<std::uint64_t>(largest) > job.limits.pixelLimit)
        throw console::Failure{
            fmt::format("{}: the filters make a picture of {} pixels, the limit is {}; raise it with "
                        "--limit-pixels",
                        InputName(options), largest, job.limits.pixelLimit)};
    if (job.region && (job.region->x > width - job.region->width || job.region->y > height - job.region->height))
        throw console::Failure{
            fmt::format("--region {}: the result has only {} x {} pixels", options.region, width, height)};

    console::Progress(fmt::format("filtering {} x {} pixels", width, height));
    Picture result;
    {
        const interrupt::Stoppable scope([&] { rendering.SetAbort(true); });
        const kestrel::HRESULT done = rendering.RenderAndRelease(result);
        if (done == kestrel::E_OUTOFMEMORY) throw std::bad_alloc();
        if (done == kestrel::E_INVALIDARG)
            throw console::Failure{InputName(options) +
                                   ": a filter's values leave no picture, as margins that cross each other do"};
        if (done != kestrel::S_OK && !interrupt::Happened())
            throw console::Failure{
                fmt::format("{}: the filters failed (0x{:08X})", InputName(options), static_cast<unsigned>(done))};
    }
    console::Detail(fmt::format("{}: {} x {} pixels after {} filters", OutputName(options), width, height,
                                rendering.FilterCount()));
    return result;
}

/// What the format cannot hold goes: transparency is laid over the background, and one line says so.
void Flatten(const Options& options, const Job& job, Picture& picture) {
    if (!kestrel::MaskHidesAnything(picture.mask.get())) {
        picture.mask.reset();
    } else if (!kestrel::FormatHoldsAlpha(job.save.format)) {
        const Rgba& color = job.background;
        kestrel::Flatten(picture.image.get(), picture.mask.get(), color.red, color.green, color.blue);
        picture.mask.reset();
        console::Note(fmt::format("{}: {} files hold no transparency; the picture was laid over {} (--background)",
                                  OutputName(options), kestrel::FormatName(job.save.format), FormatColor(color)));
    }
}

/// Writes a file that appears whole or not at all; an interruption leaves none.
kestrel::CodecError SaveFile(const Options& options, const Job& job, const Picture& picture) {
    kestrel::FileReplacement file(options.output);
    if (!file.Stream()) return {kestrel::CodecFault::System, file.Error()};
    const auto stream = InterruptibleStream(file.Stream());
    if (!stream) throw std::bad_alloc();
    auto error = kestrel::ImageLoader::Save(stream.get(), picture.image.get(), picture.mask.get(), job.save);
    if (!error && !file.Commit()) error = {kestrel::CodecFault::System, file.Error()};
    return error;
}

void Save(const Options& options, const Job& job, const Picture& picture) {
    console::Progress("writing " + OutputName(options));
    kestrel::CodecError error;
    if (IsPipe(options.output)) {
        error = kestrel::ImageLoader::Save(stdout, picture.image.get(), picture.mask.get(), job.save);
    } else {
        // A file is written beside its name and would leave that file there. A named pipe or a device has no such file,
        // and its other end may keep us waiting for ever.
        std::error_code none;
        std::optional<interrupt::Remembered> scope;
        if (!std::filesystem::is_other(options.output, none)) scope.emplace();
        error = SaveFile(options, job, picture);
    }
    if (error && !interrupt::Happened()) throw console::Failure{OutputName(options) + ": " + error.text};
}

/// Are INPUT and OUTPUT one file, by whatever names?
bool IsInput(const Options& options) {
    struct stat input {
    }, output{};
    const bool inputKnown =
        (IsPipe(options.input) ? fstat(STDIN_FILENO, &input) : stat(options.input.c_str(), &input)) == 0;
    const bool outputKnown =
        (IsPipe(options.output) ? fstat(STDOUT_FILENO, &output) : stat(options.output.c_str(), &output)) == 0;
    return inputKnown && outputKnown && S_ISREG(input.st_mode) && input.st_dev == output.st_dev &&
           input.st_ino == output.st_ino;
}

/// Has the metadata written with the picture; says what the format cannot take.
void HandOn(const Options& options, const kestrel::ImageMetadata& metadata, Job& job) {
    job.save.metadata = &metadata;
    const std::string leftOut = kestrel::BlocksLeftOut(metadata, job.save.format);
    if (!leftOut.empty())
        console::Note(fmt::format("{}: {} files do not take all that INPUT holds; left out: {}", OutputName(options),
                                  kestrel::FormatName(job.save.format), leftOut));
}

int Run(const Options& options) {
    Job job = Check(options);
    console::SetTalk(options.quiet     ? console::Talk::Quiet
                     : options.verbose ? console::Talk::Verbose
                                       : console::Talk::Normal);
    Rendering rendering;
    options.chain.ApplyTo(rendering);
    kestrel::LoadResult loaded = Load(options, job);
    const bool damaged = loaded.condition == kestrel::Condition::Damaged;
    if (damaged && IsInput(options))
        throw console::Failure{OutputName(options) +
                               ": is damaged, and would be replaced by what could be read of it; name another OUTPUT"};
    HandOn(options, loaded.metadata, job);
    Picture picture = Filter(options, job, rendering, {std::move(loaded.image), std::move(loaded.mask)});
    if (interrupt::Happened()) return interrupt::ExitCode();
    if (job.region) picture = CutPicture(picture, job.region->x, job.region->y, job.region->width, job.region->height);
    if (!picture.image) throw std::bad_alloc();
    Flatten(options, job, picture);
    Save(options, job, picture);
    if (interrupt::Happened()) return interrupt::ExitCode();
    if (!options.printChain.empty()) console::Print(rendering.ChainText(options.printChain == "active"));
    return damaged ? console::kDamagedInput : console::kDone;
}

}  // namespace

void AddApply(const Command& program) {
    const auto options = std::make_shared<Options>();
    const Command command = program.Subcommand("apply", "Run a picture through a chain of filters");
    command.Argument("INPUT", options->input, "The picture to read; - is standard input");
    command.Argument("OUTPUT", options->output, "The picture to write, also INPUT itself; - is standard output");
    options->chain.AddTo(command);
    command.Option("--format", options->format, "FORMAT", "Format of OUTPUT, in place of the one that its name tells");
    command.Option("--quality", options->quality, "N", "Quality of a JPEG file, 1 to 100 [92]");
    command.Option("--threads", options->threads, "N",
                   "Threads for chains whose filters work row by row; the\nresult is the same for any N [the cores]");
    command.Option("--background", options->background, "#RRGGBB",
                   "Color behind transparent pixels where OUTPUT's format\nholds no transparency [#FFFFFF]");
    command.Option("--region", options->region, "X,Y,W,H",
                   "Write only this part of the result, counted from its upper\n"
                   "left corner; the filters still see the whole picture");
    command.Option("--view", options->view, "WxH",
                   "The size in pixels in which INPUT is to be seen. A smaller\n"
                   "INPUT then is a preview, which Scale may enlarge again;\n"
                   "--verbose tells what becomes of the size");
    command.Option("--render-scale", options->renderScale, "S",
                   "INPUT's size over the size of the original that the chain\n"
                   "was made for; filters scale their pixel sizes by it [1]");
    command.Option("--print-chain", options->printChain, "pending|active",
                   "Print the chain after the run in the form that --chain\n"
                   "reads, with the values as set or as used");
    command.Option("--limit-pixels", options->limitPixels, "N",
                   "Refuse pictures of more pixels, read or made by a filter\n[400000000]");
    command.Option("--limit-expansion", options->limitExpansion, "N",
                   "Refuse files that claim more pixels for each of their bytes;\n"
                   "64 million pixels are always allowed [2000]");
    command.Option("--limit-scans", options->limitScans, "N", "Refuse progressive JPEG files of more scans [100]");
    command.Option("--limit-input", options->limitInput, "N", "Refuse more bytes from a pipe or a device [1073741824]");
    command.Flag("-q,--quiet", options->quiet, "Tell errors and damaged input only");
    command.Flag("-v,--verbose", options->verbose, "Tell what is done, and the size after each filter");
    command.Footer(
        "Examples:\n"
        "  kestrel apply photo.jpg sepia.jpg -f Sepia:Sepia=080\n"
        "  kestrel apply in.png out.png -f Invert:Inversity=100 -f Blur:Blurness=030\n"
        "  kestrel apply in.png out.png -f 'Text:fsz=60,pos=9,txt=Hello, world'\n"
        "  kestrel apply in.png out.png --chain look.txt --print-chain pending\n"
        "  curl ... | kestrel apply - - --format jpeg -f Sepia:Sepia=080 > out.jpg\n\n"
        "OUTPUT appears whole or not at all. INPUT that could be read in part only is\n"
        "filtered and written as far as it goes, with a warning and exit code 3; INPUT\n"
        "itself is never replaced by that.");
    command.Run(Command::Log::kYes, [options] { return Run(*options); });
}
