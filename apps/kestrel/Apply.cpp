#include <unistd.h>

#include <memory>

#include "apps/kestrel/ApplyOptions.h"
#include "apps/kestrel/ApplyRun.h"
#include "apps/kestrel/Batch.h"
#include "apps/kestrel/Commands.h"
#include "apps/kestrel/Console.h"
#include "apps/kestrel/PictureFiles.h"
#include "apps/kestrel/Stores.h"

namespace {

/// INPUT and OUTPUT, with what they ask of the options.
ApplyTask OnlyTask(const ApplyOptions& options, ApplyJob& job) {
    if (options.files.size() < 2) throw console::UsageError{"OUTPUT is required (\"kestrel apply --help\" tells more)"};
    if (options.files.size() > 2)
        throw console::UsageError{"there are more files than INPUT and OUTPUT (\"kestrel apply --help\" tells more)"};
    ApplyTask task{options.files[0], options.files[1]};
    if (IsPipe(task.input) && options.chain.ReadsStandardInput())
        throw console::UsageError{"INPUT - and --chain - both need standard input"};
    if (IsPipe(task.output)) {
        if (!options.printChain.empty())
            throw console::UsageError{"OUTPUT - and --print-chain both need standard output"};
        if (options.format.empty()) throw console::UsageError{"OUTPUT - needs --format, such as --format png"};
        if (isatty(STDOUT_FILENO))
            throw console::UsageError{"OUTPUT - is a terminal; send it into a file or another program"};
    }
    if (options.format.empty()) job.save.format = FormatOfOutput(task.output);
    return task;
}

int Run(ApplyOptions& options) {
    ApplyJob job = CheckApply(options);
    console::SetTalk(options.quiet     ? console::Talk::Quiet
                     : options.verbose ? console::Talk::Verbose
                                       : console::Talk::Normal);
    if (!options.output.empty()) return RunBatch(options, job);
    const ApplyTask task = OnlyTask(options, job);
    options.chain.Read();
    return RunApply(options, job, task);
}

}  // namespace

void AddApply(const Command& program) {
    const auto options = std::make_shared<ApplyOptions>();
    const Command command = program.Subcommand("apply", "Run a picture through a chain of filters");
    command.Arguments("INPUT OUTPUT", options->files,
                      "The picture to read and the one to write, also INPUT itself;\n"
                      "- is a pipe, shop.box:harbour a picture in a picture box,\n"
                      "in.tif[2] the third page of a file. With --output, inputs\n"
                      "only: files, folders, 'shop.box:*'");
    options->chain.AddTo(command);
    options->pictures.AddTo(command);
    command.Flag("--stored-chain", options->storedChain,
                 "Take the chain that the box keeps with INPUT, in the place\nof --chain");
    command.Flag("--fast-load", options->fastLoad,
                 "Where the chain makes the picture smaller, let the decoder\n"
                 "of a JPEG, JPEG 2000 or raw file reduce it as far as the\n"
                 "chain allows, which is faster. Bytes then differ: on a\n"
                 "photograph by 1 to 3 of 255 on average and by up to 150 at\n"
                 "sharp edges; sharpening afterwards triples that");
    command.Option("--format", options->format, "FORMAT", "Format of OUTPUT, in place of the one that its name tells");
    command.Option("--quality", options->quality, "N", "Quality of a JPEG file, 1 to 100 [92]");
    command.Option("--chroma", options->chroma, "auto|444|422|420|411",
                   "Colors of a JPEG file: 444 keeps one for each pixel, 420 one\n"
                   "for four, which is a fifth smaller and softens edges between\n"
                   "colors; auto is 444 from quality 90 on, 420 below [auto]");
    command.Option("--png-level", options->pngLevel, "N", "Compression of a PNG file, 0 (none) to 9 (smallest) [6]");
    command.Option("--threads", options->threads, "N",
                   "Threads that share the work on a picture; the result is the\nsame for any N [the cores]");
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
    command.Option("-o,--output", options->output, "PATTERN",
                   "Many inputs: the names of the outputs, with {dir}, {stem}\n"
                   "and {ext} of the input, and {n}, its number in the list;\n"
                   "or a folder. Missing folders are made");
    AddExistingOption(command, options->existing);
    command.Flag("-r,--recursive", options->recursive, "Take the pictures in folders, and in those below");
    command.Option("-j,--jobs", options->jobs, "N", "Work on N pictures at a time [one for each core]");
    command.Option(
        "--memory", options->memory, "SIZE",
        "What pictures at work may need, such as 500M or 4G; others\nwait for their turn [half of what is free]");
    command.Option("--shard", options->shard, "I/N", "Take every Nth picture of the list only, from the Ith on");
    command.Flag("--resume", options->resume, "Leave out what an earlier run of the same command finished");
    command.Flag("--dry-run", options->dryRun, "Only tell what would be written");
    command.Flag("--json", options->json, "Tell what became of many pictures as JSON");
    command.Flag("-q,--quiet", options->quiet, "Tell errors and damaged input only");
    command.Flag("-v,--verbose", options->verbose, "Tell what is done, and the size after each filter");
    command.Footer(
        "Examples:\n"
        "  kestrel apply photo.jpg sepia.jpg -f Sepia:Sepia=080\n"
        "  kestrel apply in.png out.png -f Invert:Inversity=100 -f Blur:Blurness=030\n"
        "  kestrel apply in.png out.png -f 'Text:fsz=60,pos=9,txt=Hello, world'\n"
        "  kestrel apply in.png out.png --chain look.txt --print-chain pending\n"
        "  kestrel apply *.jpg --output small/{stem}.png --chain look.txt\n"
        "  kestrel apply photos --recursive -o 'out/{dir}/{stem}.jpg' -f Sepia:Sepia=080\n"
        "  kestrel apply shop.box:harbour out.jpg --stored-chain\n"
        "  curl ... | kestrel apply - - --format jpeg -f Sepia:Sepia=080 > out.jpg\n\n"
        "OUTPUT appears whole or not at all. INPUT that could be read in part only is\n"
        "filtered and written as far as it goes, with a warning and exit code 3; INPUT\n"
        "itself is never replaced by that.\n\n"
        "Of many pictures, one that fails does not stop the rest; exit code 1 says that\n"
        "some did. They are taken in the order of their names.");
    command.Run(Command::Log::kYes, Guarded([options] { return Run(*options); }));
}
