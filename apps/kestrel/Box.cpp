#include <fmt/format.h>

#include <memory>
#include <vector>

#include "apps/kestrel/BoxOptions.h"
#include "apps/kestrel/ChainOptions.h"
#include "apps/kestrel/Commands.h"
#include "apps/kestrel/Console.h"
#include "apps/kestrel/PictureBox.h"
#include "apps/kestrel/PictureJson.h"
#include "apps/kestrel/Stores.h"

namespace {

using namespace kestrel;

constexpr std::size_t kLongestStoredChain = 1 << 20;  // bytes, of a chain that a box keeps

/// What is known of a picture; one that cannot be read gets a line all the same.
BoxLine LineOf(PictureBox& box, const PicEntry& entry) {
    BoxLine line{{entry, {}}, {}, {}, {}};
    if (!box.Box().Describe(line.picture.entry, line.picture.about)) line.problem = line.picture.about.problem;
    return line;
}

int List(const BoxOptions& options) {
    PictureBox box(options.box, kStorageRead);
    const auto chains = box.ChainNames();
    std::vector<BoxLine> lines;
    for (const PicEntry& entry : options.name.empty() ? box.Entries() : box.Matching(options.name)) {
        lines.push_back(LineOf(box, entry));
        if (chains.count(WrittenPicName(entry.name))) lines.back().chain = "chain";
    }
    if (options.json) console::Print(PicturesAsJson(lines));
    int code = console::kDone;
    for (const BoxLine& line : lines) {
        const PicDescription& about = line.picture.about;
        const std::string& name = line.picture.entry.stream;
        if (!line.problem.empty()) {
            console::Error(box.Shown(name) + ": " + line.problem);
            code = console::kFailed;
        }
        if (options.json) continue;
        const std::string size = about.width > 0 ? fmt::format("{} x {}", about.width, about.height) : "?";
        console::Print(fmt::format("{:>12}  {:>13}  {:<8}  {:<5}  {:<7}  {:<4}  {:<5}  {}\n", about.bytes, size,
                                   FormName(line), FormatText(line),
                                   about.header.kind == PicKind::MaskOnly ? "mask" : "picture",
                                   about.hasMask ? "mask" : "-", line.chain.empty() ? "-" : "chain", Shown(name)));
    }
    return code;
}

int Info(const BoxOptions& options) {
    PictureBox box(options.box, kStorageRead);
    const StoredPicture picture = box.Find(options.name);
    BoxLine line{picture, {}, box.Box().GetChain(picture.entry.name.c_str()), {}};
    PicInfoRecord record{};
    line.record = box.Box().GetImageInfo(picture.entry.name.c_str(), record);
    if (options.json) {
        console::Print(PictureAsJson(line));
        return console::kDone;
    }
    const PicDescription& about = picture.about;
    const auto print = [](const char* what, const std::string& text) {
        console::Print(fmt::format("{:<9} {}\n", fmt::format("{}:", what), Shown(text)));
    };
    print("name", picture.entry.stream);
    if (!picture.entry.storage.empty()) print("storage", picture.entry.storage);
    print("kind", KindName(line));
    print("form", FormName(line));
    print("format", FormatText(line));
    print("size", about.width > 0 ? fmt::format("{} x {} pixels", about.width, about.height) : "?");
    print("bytes", std::to_string(about.bytes));
    if (!about.header.native) print("position", fmt::format("{}, {}", about.x, about.y));
    if (!line.record.empty()) print("record", line.record);
    if (!about.problem.empty()) print("problem", about.problem);
    if (!line.chain.empty()) console::Print("chain:\n" + line.chain + (line.chain.ends_with('\n') ? "" : "\n"));
    return console::kDone;
}

int Remove(const BoxOptions& options) {
    PictureBox box(options.box, kChangeBox);
    const std::vector<PicEntry> entries = box.Matching(options.name);
    std::vector<PictureOutcome> outcomes;
    for (const PicEntry& entry : entries) {
        box.Delete(entry);
        outcomes.push_back({box.Shown(entry.stream), "", "removed", ""});
    }
    box.Finish();
    if (options.json) console::Print(OutcomesAsJson(outcomes));
    return console::kDone;
}

int Analyze(const BoxOptions& options) {
    PictureBox box(options.box, kStorageRead);
    const StoredPicture picture = box.Find(options.name);
    std::string extension = picture.entry.extension;
    const int type = box.Box().AnalyzeFile(picture.entry.name.c_str(), extension);
    if (type == 0) extension.clear();
    if (options.json)
        console::Print(AnalysisAsJson(picture.entry.stream, type, extension));
    else
        console::Print(type == 0 ? "0  no file: pixels, or a format that is not known\n"
                                 : fmt::format("{}  {}\n", type, extension));
    return console::kDone;
}

int Chain(const BoxOptions& options) {
    if (options.clear && !options.set.empty()) throw console::UsageError{"--set and --clear exclude each other"};
    const bool changes = options.clear || !options.set.empty();
    const std::string text = options.set.empty() ? "" : ReadChain(options.set, false);
    if (!options.set.empty() && text.empty())
        throw console::Failure{options.set + ": holds no filter; --clear removes the chain of a picture"};
    if (text.size() > kLongestStoredChain) throw console::Failure{options.set + ": a box keeps chains of up to 1 MiB"};
    PictureBox box(options.box, changes ? kChangeBox : kStorageRead);
    const StoredPicture picture = box.Find(options.name);
    const std::string& stream = picture.entry.stream;
    if (box.Box().External()) box.Fail(stream, "a plain folder keeps no chains");
    if (changes && !box.Box().SetChain(picture.entry.name.c_str(), text))
        box.FailWithStorage(stream, "the chain cannot be stored");
    const std::string chain = box.Box().GetChain(picture.entry.name.c_str());
    box.Finish();
    if (options.json)
        console::Print(ChainAsJson(stream, chain));
    else if (!changes && chain.empty())
        box.Fail(stream, "no chain is stored with it");
    else if (!changes)
        console::Print(chain);
    return console::kDone;
}

}  // namespace

void AddBox(const Command& program) {
    const auto options = std::make_shared<BoxOptions>();
    const Command command = program.Subcommand("box", "Look into picture boxes, and change them");
    command.Footer(
        "A box is a compound file, a folder tree (x.box lives in the folder x.box_qv) or a plain folder of pictures.\n"
        "NAME is that of a stream, or without its extension where only one picture has the name.\n"
        "list, remove and copy take masks as well: 'har*', '*.JPG'.\n\n"
        "Examples:\n  kestrel box add shop.box harbour.jpg beach.png\n  kestrel box list shop.box\n"
        "  kestrel box get shop.box harbour out.png\n  kestrel box chain shop.box harbour --set look.txt\n"
        "  kestrel box copy shop.box:harbour archive.box:harbour-2026\n"
        "  kestrel apply shop.box:harbour out.jpg --stored-chain");
    using Log = Command::Log;
    const auto add = [&](const char* name, const char* text) {
        const Command one = command.Subcommand(name, text);
        one.Flag("--json", options->json, "Tell the result as JSON");
        return one;
    };
    const auto box = [&](const Command& one) { one.Argument("BOX", options->box, "The box"); };
    const auto name = [&](const Command& one, const char* text) { one.Argument("NAME", options->name, text); };
    const auto run = [&](const Command& one, Log log, int (*work)(const BoxOptions&)) {
        one.Run(log, Guarded([options, work] { return work(*options); }));
    };
    const auto as = [&](const Command& one) {
        one.Option("--as", options->as, "compound|tree|folder",
                   "What a box that is missing becomes: compound (the default),\ntree, folder");
    };

    const Command list = add("list", "List pictures: bytes, pixels, form, format, kind, mask, chain, name");
    box(list);
    list.OptionalArgument("MASK", options->name, "Names to list, such as 'har*'");
    run(list, Log::kNo, List);

    const Command info = add("info", "Tell all that is known of a picture");
    box(info);
    name(info, "The picture");
    run(info, Log::kNo, Info);

    const Command into = add("add", "Add picture files");
    box(into);
    into.Arguments("FILE", options->files, "The files; - is standard input");
    into.Option("--name", options->name, "NAME", "The picture's name; that of the file without this option");
    AddExistingOption(into, options->existing);
    into.Option("--form", options->form, "file|pixels|jpeg",
                "How it is stored: file, as it is (the default); pixels, losslessly\n"
                "with its mask; jpeg, as JPEG with its mask beside it");
    into.Option("--quality", options->quality, "N", "Quality of --form jpeg, 1 to 100 [92]");
    as(into);
    run(into, Log::kYes, AddToBox);

    const Command get = add("get", "Write a picture into a file");
    box(get);
    name(get, "The picture");
    get.OptionalArgument(
        "OUTPUT", options->file,
        "The file; - and nothing are standard output. A stored file of\nthis format is written as it is");
    get.Option("--format", options->format, "FORMAT", "Format of OUTPUT, in place of the one that its name tells");
    get.Option("--quality", options->quality, "N", "Quality of a JPEG file that is made, 1 to 100 [92]");
    get.Option("--background", options->background, "#RRGGBB",
               "Color behind transparent pixels where the format holds no\ntransparency [#FFFFFF]");
    run(get, Log::kNo, GetFromBox);

    const Command remove = add("remove", "Remove a picture and what belongs to it");
    box(remove);
    name(remove, "The picture, or a mask such as 'har*'");
    run(remove, Log::kYes, Remove);

    const Command copy = add("copy", "Copy pictures into another box, with their chains");
    copy.Argument("FROM:NAME", options->file, "The picture, or a mask such as 'shop.box:*'");
    copy.Argument("TO[:NAME]", options->target, "The other box, or the same one; another name for the copy");
    AddExistingOption(copy, options->existing);
    copy.Option("--form", options->form, "same|file",
                "How it is stored: same, as it is (the default); file, where the\n"
                "image is encoded, as a file of its own format. A plain folder\nholds files only");
    as(copy);
    run(copy, Log::kYes, CopyBetweenBoxes);

    const Command analyze = add("analyze", "Tell the format that a copy as a file would have: number, extension");
    box(analyze);
    name(analyze, "The picture");
    run(analyze, Log::kNo, Analyze);

    const Command chain = add("chain", "Print the chain that is kept with a picture, set it, or remove it");
    box(chain);
    name(chain, "The picture");
    chain.Option("--set", options->set, "FILE", "Keep this chain text (-: standard input), once it is checked");
    chain.Flag("--clear", options->clear, "Remove the chain");
    run(chain, Log::kYes, Chain);
}
