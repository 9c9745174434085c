// Pictures into boxes, out of them, and from one to another.
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <new>
#include <utility>

#include "apps/kestrel/BoxOptions.h"
#include "apps/kestrel/Console.h"
#include "apps/kestrel/Existing.h"
#include "apps/kestrel/Files.h"
#include "apps/kestrel/Interrupt.h"
#include "apps/kestrel/PictureBox.h"
#include "apps/kestrel/PictureFiles.h"
#include "apps/kestrel/PictureJson.h"
#include "apps/kestrel/Stores.h"
#include "kestrel/foundation/FileReplacement.h"

namespace {

using namespace kestrel;

using File = std::unique_ptr<std::FILE, StreamCloser>;

void CheckChoice(const char* option, const std::string& text, std::initializer_list<const char*> choices) {
    if (text.empty() || std::find(choices.begin(), choices.end(), text) != choices.end()) return;
    std::string all;
    for (const char* choice : choices) all.append(all.empty() ? "" : ", ").append(choice);
    throw console::UsageError{fmt::format("{}: \"{}\" is none of {}", option, text, all)};
}

void CheckAs(const BoxOptions& options) { CheckChoice("--as", options.as, {"compound", "tree", "folder"}); }

/// Runs `work` for each picture; one that fails does not stop the others.
template <class Item, class Work>
int ForEach(const std::vector<Item>& items, std::vector<PictureOutcome>& outcomes, const Work& work) {
    int code = console::kDone;
    for (const Item& item : items) {
        if (interrupt::Happened()) break;
        PictureOutcome outcome;
        try {
            work(item, outcome);
        } catch (const console::Failure& failure) {
            if (interrupt::Happened()) break;
            console::Error(failure.message);
            outcome.state = "failed";
            outcome.message = failure.message;
            code = console::kFailed;
        }
        outcomes.push_back(std::move(outcome));
    }
    return interrupt::Happened() ? interrupt::ExitCode() : code;
}

// Adding -------------------------------------------------------------------------------------------------------------

/// A file to add, which can be read from its start again; standard input is copied first.
File OpenSource(const std::string& path) {
    File file(std::fopen(path == "-" ? "/dev/stdin" : path.c_str(), "rbe"));
    if (!file) throw console::Failure{fmt::format("{}: {}", InputName(path), std::strerror(errno))};
    if (fseeko(file.get(), 0, SEEK_END) == 0 && std::filesystem::is_regular_file(path == "-" ? "/dev/stdin" : path)) {
        std::rewind(file.get());
        return file;
    }
    File copy(std::tmpfile());
    char block[1 << 16];
    for (std::size_t got; copy && (got = std::fread(block, 1, sizeof block, file.get())) > 0;)
        if (std::fwrite(block, 1, got, copy.get()) != got) copy.reset();
    if (!copy || std::ferror(file.get()) || std::fflush(copy.get()) != 0)
        throw console::Failure{fmt::format("{}: {}", InputName(path), std::strerror(errno))};
    std::rewind(copy.get());
    return copy;
}

/// The extension that the content deserves: that of the name, unless it belongs to another format.
std::string ExtensionOf(const std::string& path, std::FILE* file) {
    const std::string named(PicExtension(path));
    LoadOptions options{.sizeOnly = true};
    options.named = FormatOfName(named);
    const LoadResult seen = ImageLoader::Load(file, options);
    if (seen.error) throw console::Failure{fmt::format("{}: {}", InputName(path), seen.error.text)};
    return seen.format == FormatOfName(named) ? named : PicTypeName(static_cast<int>(seen.format));
}

std::string AddPixels(PictureBox& box, const BoxOptions& options, const std::string& path, const std::string& name) {
    const LoadResult loaded = LoadPicture(path, {});
    if (loaded.condition == Condition::Damaged)
        throw console::Failure{InputName(path) + ": is damaged; --form file stores it as it is"};
    const bool embedded = options.form == "jpeg";
    box.Box().SetJpegQuality(ParseQuality(options.quality));
    box.Box().PutExifData(loaded.metadata.exif.data(), loaded.metadata.exif.size());
    box.Box().PutIPTCData(loaded.metadata.iptc.data(), loaded.metadata.iptc.size());
    Dib* const mask = MaskHidesAnything(loaded.mask.get()) ? loaded.mask.get() : nullptr;
    if (box.Box().AddFile(name.c_str(), loaded.image.get(), mask, 0, 0, embedded, false, false) == 0)
        box.FailWithStorage(name, "cannot be stored");
    const std::string extension = mask || !embedded ? "" : "JPG";
    box.GiveWay(name, extension);
    return WrittenPicName(name, extension);
}

void AddOne(PictureBox& box, const BoxOptions& options, const std::string& path, PictureOutcome& outcome) {
    const Existing existing = ParseExisting(options.existing);
    outcome.input = path;
    const bool asFile = options.form.empty() || options.form == "file";
    const std::string asked =
        WithoutExtension(options.name.empty() ? std::filesystem::path(path).filename().string() : options.name);
    const File file = asFile ? OpenSource(path) : nullptr;
    const std::string extension = asFile ? ExtensionOf(path, file.get()) : "";
    const auto name = box.FreeName(asked, box.StoredExtension(extension), existing);
    outcome.state = name ? "added" : "skipped";
    if (!name) return;
    const std::string stream =
        asFile ? box.AddFile(*name, extension, file.get()) : AddPixels(box, options, path, *name);
    outcome.output = box.Shown(stream);
    if (WithoutExtension(stream) != asked)
        console::Note(fmt::format("{}: stored as {}", InputName(path), box.Shown(stream)));
}

// Getting ------------------------------------------------------------------------------------------------------------

/// Copies the bytes of the stored image into a file that appears whole or not at all.
void WriteStored(PictureBox& box, const StoredPicture& picture, const std::string& output) {
    std::uint64_t size = 0;
    const QvStreamPtr stream = box.OpenImage(picture, size);
    std::unique_ptr<FileReplacement> file;
    if (!IsPipe(output)) file = std::make_unique<FileReplacement>(output);
    if (file && !file->Stream()) FailStore(output, file->Error());
    const std::unique_ptr<char[]> buffer(new char[kStoreChunk]);
    for (std::uint64_t left = size; left > 0;) {
        const std::size_t got =
            stream->Read(buffer.get(), static_cast<std::size_t>(std::min<std::uint64_t>(left, kStoreChunk)));
        if (got == 0) box.FailWithStorage(picture.entry.stream, "cannot be read");
        left -= got;
        if (!file) console::Print({buffer.get(), got});
        if (file && std::fwrite(buffer.get(), 1, got, file->Stream()) != got) break;  // the commit reports why
    }
    if (file && !file->Commit()) FailStore(output, file->Error());
}

/// Whether the stored bytes are what is asked for.
bool WantsStored(const BoxOptions& options, const StoredPicture& picture, const std::string& output) {
    if (!picture.IsFile()) return false;
    if (!options.format.empty()) return ParseFormat(options.format) == picture.about.format;
    if (IsPipe(output)) return true;
    const std::string extension = std::filesystem::path(output).extension();
    if (picture.about.format != ImageFormat::Unknown) return FormatOfPath(output) == picture.about.format;
    return !extension.empty() && PicNamesEqual(extension.substr(1), picture.about.header.type);
}

int WriteEncoded(PictureBox& box, const BoxOptions& options, const StoredPicture& picture, const std::string& output) {
    SaveOptions save;
    save.format = !options.format.empty() ? ParseFormat(options.format)
                  : IsPipe(output)        ? ImageFormat::Png
                                          : FormatOfOutput(output);
    save.jpegQuality = ParseQuality(options.quality);
    LoadResult loaded = box.Load(picture, {});
    const std::string& stream = picture.entry.stream;
    for (const std::string& warning : loaded.warnings) console::Warning(box.Shown(stream) + ": " + warning);
    if (!loaded) box.Fail(stream, loaded.error.text);
    Picture pixels{std::move(loaded.image), std::move(loaded.mask)};
    FlattenFor(output, save.format, ParseBackground(options.background), pixels);
    TellLeftOut(output, loaded.metadata, save.format);
    save.metadata = &loaded.metadata;
    SavePicture(output, pixels, save);
    return loaded.condition == Condition::Damaged ? console::kDamagedInput : console::kDone;
}

// Copying ------------------------------------------------------------------------------------------------------------

struct CopyPlaces {
    BoxPath from;
    BoxPath to;  ///< the name is empty for that of the source
};

CopyPlaces PlacesOf(const BoxOptions& options) {
    const auto from = FindBoxPath(options.file, PathUse::Input);
    if (!from || from->name.empty())
        throw console::Failure{options.file + ": is no picture of a box, such as shop.box:harbour"};
    auto to = LayoutOf(options.target) == Layout::Missing ? FindBoxPath(options.target, PathUse::Output) : std::nullopt;
    if (!to) to = BoxPath{options.target, ""};
    if (to->name.find_first_of("*?") != std::string::npos) throw console::UsageError{"TO:NAME is a name, no mask"};
    return {*from, *to};
}

/// The extension by which the box finds the source and names the copy; `TYPE` is that of a stream without one.
std::string TypeOf(PictureBox& box, const PicEntry& entry) {
    std::string type = entry.extension;
    if (type.empty() && box.Box().AnalyzeFile(entry.name.c_str(), type) == 0) type.clear();
    if (type.empty() && box.Box().External()) type = PicExtension(entry.stream);
    return type.empty() ? "TYPE" : type;
}

class BoxCopy {
public:
    BoxCopy(PictureBox& from, PictureBox& to, const BoxOptions& options)
        : from_(from),
          to_(to),
          asFile_(to.Box().External() || options.form == "file"),
          existing_(ParseExisting(options.existing)) {}

    void Copy(const PicEntry& entry, const std::string& toName, PictureOutcome& outcome) {
        outcome.input = from_.Shown(entry.stream);
        outcome.state = "skipped";
        const StoredPicture picture = from_.Describe(entry);
        const PicEntry& source = picture.entry;
        const std::string asked = WithoutExtension(toName.empty() ? source.name : toName);
        const std::string type = TypeOf(from_, source);
        const std::string extension = ExtensionOfCopy(picture, type);
        if (&from_ == &to_ && existing_ == Existing::Replace && PicNamesEqual(asked, WithoutExtension(source.name)))
            return;  // it is what it would become
        const auto name = to_.FreeName(asked, extension, existing_);
        if (!name) return;
        const std::string chain = from_.Box().GetChain(source.name.c_str());
        PicInfoRecord record{};
        const bool hasRecord = !from_.Box().GetImageInfo(source.name.c_str(), record).empty();
        if (!from_.Box().CopyImage(source.name.c_str(), to_.Box(), name->c_str(), true, type.c_str(), !asFile_))
            from_.FailWithStorage(source.stream, "cannot be copied to " + to_.Path());
        to_.GiveWay(*name, extension);
        outcome.state = "copied";
        outcome.output = to_.Shown(WrittenPicName(*name, extension));
        KeepBeside(*name, chain, hasRecord ? &record : nullptr, source.stream);
    }

private:
    /// What the copy has behind its name; empty for a stream of the box's own form.
    std::string ExtensionOfCopy(const StoredPicture& picture, const std::string& type) const {
        const PicHeader& header = picture.about.header;
        if (!header.embedded) return to_.Box().External() ? "PNG" : "";
        const bool file =
            to_.Box().External() || from_.Box().External() || asFile_ || (header.native && to_.Root().Kind() == 1);
        return file ? type : "";
    }

    void KeepBeside(const std::string& name, const std::string& chain, const PicInfoRecord* record,
                    const std::string& source) {
        if (to_.Box().External()) {
            if (!chain.empty())
                console::Note(from_.Shown(source) + ": a plain folder keeps no chains; the copy has none");
            return;
        }
        if ((!chain.empty() && !to_.Box().SetChain(name.c_str(), chain)) ||
            (record && !to_.Box().SetImageInfo(name.c_str(), *record)))
            to_.FailWithStorage(name, "what belongs to the picture cannot be stored");
    }

    PictureBox& from_;
    PictureBox& to_;
    bool asFile_;
    Existing existing_;
};

}  // namespace

int AddToBox(const BoxOptions& options) {
    CheckAs(options);
    CheckChoice("--form", options.form, {"file", "pixels", "jpeg"});
    ParseExisting(options.existing);
    ParseQuality(options.quality);
    if (!options.name.empty() && options.files.size() > 1)
        throw console::UsageError{"--name is for one FILE; there are several"};
    if (std::count(options.files.begin(), options.files.end(), "-") > 0 && options.name.empty())
        throw console::UsageError{"FILE - needs --name"};
    const interrupt::Remembered scope;
    std::vector<PictureOutcome> outcomes;
    PictureBox box(options.box, kMakeBox, options.as);
    if (box.Box().External() && !options.form.empty() && options.form != "file")
        FailStore(options.box, "a plain folder holds files only; leave --form out");
    const int code = ForEach(options.files, outcomes, [&](const std::string& path, PictureOutcome& outcome) {
        AddOne(box, options, path, outcome);
    });
    box.Finish();
    if (options.json) console::Print(OutcomesAsJson(outcomes));
    return code;
}

int GetFromBox(const BoxOptions& options) {
    const std::string output = options.file.empty() ? "-" : options.file;
    if (IsPipe(output) && options.json) throw console::UsageError{"box: --json needs a file to write the picture to"};
    if (IsPipe(output) && isatty(STDOUT_FILENO))
        throw console::UsageError{"standard output is a terminal; name a file, or send it into another program"};
    PictureBox box(options.box, kStorageRead);
    const StoredPicture picture = box.Find(options.name);
    const bool asStored = WantsStored(options, picture, output);
    int code = console::kDone;
    if (asStored)
        WriteStored(box, picture, output);
    else
        code = WriteEncoded(box, options, picture, output);
    if (options.json)
        console::Print(
            OutcomesAsJson({{box.Shown(picture.entry.stream), output, asStored ? "as stored" : "encoded", ""}}));
    return code;
}

int CopyBetweenBoxes(const BoxOptions& options) {
    CheckAs(options);
    CheckChoice("--form", options.form, {"same", "file"});
    ParseExisting(options.existing);
    const CopyPlaces places = PlacesOf(options);
    const bool sameBox = BoxIdentity(places.from.box) == BoxIdentity(places.to.box);
    const interrupt::Remembered scope;
    PictureBox from(places.from.box, sameBox ? kMakeBox : kStorageRead);
    const std::vector<PicEntry> entries = from.Matching(places.from.name);
    if (entries.size() > 1 && !places.to.name.empty())
        throw console::UsageError{fmt::format("{} pictures cannot all be named {}", entries.size(), places.to.name)};
    const auto other = sameBox ? nullptr : std::make_unique<PictureBox>(places.to.box, kMakeBox, options.as);
    PictureBox& to = other ? *other : from;
    BoxCopy copy(from, to, options);
    std::vector<PictureOutcome> outcomes;
    const int code = ForEach(entries, outcomes, [&](const PicEntry& entry, PictureOutcome& outcome) {
        copy.Copy(entry, places.to.name, outcome);
    });
    to.Finish();
    if (options.json) console::Print(OutcomesAsJson(outcomes));
    return code;
}
