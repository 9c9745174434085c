#include "apps/kestrel/PictureFiles.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <system_error>

#include "apps/kestrel/Console.h"
#include "apps/kestrel/Files.h"
#include "apps/kestrel/Interrupt.h"
#include "apps/kestrel/PictureBox.h"
#include "apps/kestrel/Stores.h"
#include "kestrel/codec/PagePath.h"
#include "kestrel/foundation/FileReplacement.h"

using kestrel::ImageFormat;
using kestrel::Picture;

namespace {

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

[[noreturn]] void Fail(const std::string& name, const kestrel::CodecError& error) {
    const char* const option = LimitOption(error.fault);
    throw console::Failure{name + ": " + error.text +
                           (option ? std::string("; raise it with ") + option : std::string())};
}

/// Boxes belong to one thread at a time, compound files even to one process.
std::mutex& BoxGuard() {
    static std::mutex guard;
    return guard;
}

std::vector<std::uint8_t> ReadImage(PictureBox& box, const StoredPicture& picture) {
    std::uint64_t size = 0;
    const kestrel::QvStreamPtr stream = box.OpenImage(picture, size);
    std::vector<std::uint8_t> bytes(size);
    if (stream->Read(bytes.data(), bytes.size()) != bytes.size())
        box.FailWithStorage(picture.entry.stream, "cannot be read");
    return bytes;
}

/// A picture that is a file is decoded when the box is free again.
kestrel::LoadResult LoadFromBox(const BoxPath& place, kestrel::LoadOptions limits) {
    std::vector<std::uint8_t> bytes;
    {
        const std::lock_guard guard(BoxGuard());
        PictureBox box(place.box, kestrel::kStorageRead);
        const StoredPicture picture = box.Find(place.name);
        if (!picture.IsFile()) return box.Load(picture, limits);
        bytes = ReadImage(box, picture);
        limits.named = kestrel::FormatOfName(picture.about.header.type);
    }
    return kestrel::ImageLoader::Load(bytes, limits);
}

kestrel::LoadResult LoadFrom(const std::string& input, const kestrel::LoadOptions& limits) {
    if (IsPipe(input)) return kestrel::ImageLoader::Load(stdin, limits);
    const auto place = FindBoxPath(input, PathUse::Input);
    if (!place) {
        const kestrel::PagePath page = kestrel::SplitPage(input);
        kestrel::LoadOptions options = limits;
        options.page = page.page;
        return kestrel::ImageLoader::Load(page.path, options);
    }
    if (place->name.empty()) FailStore(input, "names no picture of the box");
    return LoadFromBox(*place, limits);
}

using WriteStream = std::function<kestrel::CodecError(std::FILE* stream)>;

/// Writes a file that appears whole or not at all; an interruption leaves none.
kestrel::CodecError WriteFile(const std::string& path, const WriteStream& write) {
    kestrel::FileReplacement file(path);
    if (!file.Stream()) return {kestrel::CodecFault::System, file.Error()};
    const auto stream = InterruptibleStream(file.Stream());
    if (!stream) throw std::bad_alloc();
    auto error = write(stream.get());
    if (!error && !file.Commit()) error = {kestrel::CodecFault::System, file.Error()};
    return error;
}

/// Encodes the picture first: the box is held for the time of a copy only, and never has half of one.
kestrel::CodecError SaveIntoBox(const BoxPath& place, const Picture& picture, const kestrel::SaveOptions& save) {
    std::vector<std::uint8_t> bytes;
    if (place.name.empty()) FailStore(place.box + ":", "names no picture of the box");
    if (auto error = kestrel::ImageLoader::Save(bytes, picture.image.get(), picture.mask.get(), save)) return error;
    const std::unique_ptr<std::FILE, StreamCloser> file(fmemopen(bytes.data(), bytes.size(), "rb"));
    if (!file) throw std::bad_alloc();
    const std::string_view told = kestrel::PicExtension(place.name);
    const bool fits = kestrel::FormatOfName(told) == save.format;
    const std::string extension = fits ? std::string(told) : kestrel::PicTypeName(static_cast<int>(save.format));
    const std::lock_guard guard(BoxGuard());
    PictureBox box(place.box, kMakeBox);
    // A name without an extension means the picture that it finds, whatever its format is.
    const auto old = told.empty() ? box.FindIfThere(place.name) : std::nullopt;
    const std::string stream = box.AddFile(WithoutExtension(place.name), extension, file.get());
    if (old && !kestrel::PicNamesEqual(old->entry.stream, stream)) box.Delete(old->entry);
    box.Finish();
    return {};
}

}  // namespace

std::string InputName(const std::string& path) { return IsPipe(path) ? "standard input" : path; }
std::string OutputName(const std::string& path) { return IsPipe(path) ? "standard output" : path; }

std::string WritableNames() {
    std::string names;
    for (const ImageFormat format : kestrel::WritableFormats())
        names.append(names.empty() ? "" : ", ").append(kestrel::FormatName(format));
    return names;
}

ImageFormat ParseFormat(const std::string& text) {
    const ImageFormat format = kestrel::FormatOfName(text);
    if (format == ImageFormat::Unknown)
        throw console::UsageError{
            fmt::format("--format: \"{}\" is not a format that can be written ({})", text, WritableNames())};
    return format;
}

ImageFormat FormatOfOutput(const std::string& output) {
    const ImageFormat format = kestrel::FormatOfPath(output);
    if (format != ImageFormat::Unknown) return format;
    if (FindBoxPath(output, PathUse::Output)) return ImageFormat::Png;
    throw console::Failure{
        fmt::format("{}: the name does not tell a format that can be written ({}); choose one with --format", output,
                    WritableNames())};
}

int ParseQuality(const std::string& text) {
    const auto quality = ParseInteger(text);
    if (!quality || *quality < 1 || *quality > 100)
        throw console::UsageError{fmt::format("--quality: \"{}\" is not a whole number from 1 to 100", text)};
    return static_cast<int>(*quality);
}

Rgba ParseBackground(const std::string& text) {
    const auto color = ParseColor(text);
    if (!color || color->hasAlpha)
        throw console::UsageError{fmt::format("--background: \"{}\" is not a color #RRGGBB", text)};
    return *color;
}

kestrel::LoadResult LoadPicture(const std::string& input, const kestrel::LoadOptions& limits) {
    kestrel::LoadResult loaded = LoadFrom(input, limits);
    TellLoaded(input, loaded);
    return loaded;
}

std::unique_ptr<kestrel::RowDecoder> OpenRows(const std::string& input, const kestrel::LoadOptions& limits) {
    if (IsPipe(input)) return std::make_unique<kestrel::RowDecoder>(stdin, limits);
    if (FindBoxPath(input, PathUse::Input)) return nullptr;
    const kestrel::PagePath page = kestrel::SplitPage(input);
    kestrel::LoadOptions options = limits;
    options.page = page.page;
    return std::make_unique<kestrel::RowDecoder>(page.path, options);
}

void TellLoaded(const std::string& input, const kestrel::LoadResult& loaded) {
    const std::string name = InputName(input);
    for (const std::string& warning : loaded.warnings) console::Warning(name + ": " + warning);
    if (loaded.error) Fail(name, loaded.error);
    const bool stored = loaded.format == ImageFormat::Unknown;
    console::Detail(fmt::format("{}: {} x {} pixels, {}{}", name,
                                loaded.image ? loaded.image->biWidth : loaded.fullWidth,
                                loaded.image ? loaded.image->biHeight : loaded.fullHeight,
                                stored ? "stored pixels" : kestrel::FormatName(loaded.format),
                                loaded.hasAlpha || loaded.mask ? " with transparency" : ""));
}

kestrel::LoadResult InspectPicture(const std::string& input, kestrel::LoadOptions limits) {
    limits.sizeOnly = true;
    kestrel::LoadResult seen = LoadFrom(input, limits);
    if (seen.error) Fail(InputName(input), seen.error);
    return seen;
}

std::string StoredChainIfAny(const std::string& input) {
    const auto place = IsPipe(input) ? std::nullopt : FindBoxPath(input, PathUse::Input);
    if (!place) return {};
    const std::lock_guard guard(BoxGuard());
    PictureBox box(place->box, kestrel::kStorageRead);
    return box.Box().GetChain(box.Find(place->name).entry.name.c_str());
}

StoredChain StoredChainOf(const std::string& input) {
    const auto place = FindBoxPath(input, PathUse::Input);
    if (!place)
        throw console::Failure{InputName(input) + ": is no picture of a box; only boxes keep chains (--stored-chain)"};
    const std::lock_guard guard(BoxGuard());
    PictureBox box(place->box, kestrel::kStorageRead);
    const StoredPicture picture = box.Find(place->name);
    const std::string text = box.Box().GetChain(picture.entry.name.c_str());
    if (text.empty()) box.Fail(picture.entry.stream, "no chain is stored with it (--stored-chain)");
    return {box.Shown(picture.entry.stream), text};
}

void FlattenFor(const std::string& output, ImageFormat format, const Rgba& background, Picture& picture) {
    if (!kestrel::MaskHidesAnything(picture.mask.get())) {
        picture.mask.reset();
    } else if (!kestrel::FormatHoldsAlpha(format)) {
        kestrel::Flatten(picture.image.get(), picture.mask.get(), background.red, background.green, background.blue);
        picture.mask.reset();
        TellFlattened(output, format, background);
    }
}

void TellFlattened(const std::string& output, ImageFormat format, const Rgba& background) {
    console::Note(fmt::format("{}: {} files hold no transparency; the picture was laid over {} (--background)",
                              OutputName(output), kestrel::FormatName(format), FormatColor(background)));
}

void TellLeftOut(const std::string& output, const kestrel::ImageMetadata& metadata, ImageFormat format) {
    const std::string leftOut = kestrel::BlocksLeftOut(metadata, format);
    if (!leftOut.empty())
        console::Note(fmt::format("{}: {} files do not take all that INPUT holds; left out: {}", OutputName(output),
                                  kestrel::FormatName(format), leftOut));
}

OutputKind KindOf(const std::string& output) {
    if (IsPipe(output)) return OutputKind::Pipe;
    if (FindBoxPath(output, PathUse::Output)) return OutputKind::Box;
    std::error_code none;
    return std::filesystem::is_other(output, none) ? OutputKind::Pipe : OutputKind::File;
}

void WriteOutput(const std::string& output, const WriteStream& write) {
    // A file is written beside its name and would leave that file there. A named pipe or a device has no such file,
    // and its other end may keep us waiting for ever.
    std::optional<interrupt::Remembered> scope;
    if (KindOf(output) == OutputKind::File) scope.emplace();
    const kestrel::CodecError error = IsPipe(output) ? write(stdout) : WriteFile(output, write);
    if (error && !interrupt::Happened()) throw console::Failure{OutputName(output) + ": " + error.text};
}

void SavePicture(const std::string& output, const Picture& picture, const kestrel::SaveOptions& save) {
    const auto place = IsPipe(output) ? std::nullopt : FindBoxPath(output, PathUse::Output);
    if (!place)
        return WriteOutput(output, [&](std::FILE* stream) {
            return kestrel::ImageLoader::Save(stream, picture.image.get(), picture.mask.get(), save);
        });
    const interrupt::Remembered scope;
    const kestrel::CodecError error = SaveIntoBox(*place, picture, save);
    if (error && !interrupt::Happened()) throw console::Failure{OutputName(output) + ": " + error.text};
}

void RefuseToReplace(const std::string& input, const std::string& output) {
    if (IsSamePicture(input, output))
        throw console::Failure{OutputName(output) +
                               ": is damaged, and would be replaced by what could be read of it; name another OUTPUT"};
}

bool IsSamePicture(const std::string& input, const std::string& output) {
    const auto from = IsPipe(input) ? std::nullopt : FindBoxPath(input, PathUse::Input);
    const auto to = IsPipe(output) ? std::nullopt : FindBoxPath(output, PathUse::Output);
    if (from && to) {
        if (BoxIdentity(from->box) != BoxIdentity(to->box)) return false;
        const std::lock_guard guard(BoxGuard());
        PictureBox box(from->box, kestrel::kStorageRead);
        return kestrel::PicNamesEqual(box.Find(from->name).entry.name,
                                      kestrel::CleanPicName(WithoutExtension(to->name)));
    }
    struct stat inputStatus {
    }, outputStatus{};
    const std::string path = kestrel::SplitPage(input).path;
    const bool inputKnown = (IsPipe(input) ? fstat(STDIN_FILENO, &inputStatus) : stat(path.c_str(), &inputStatus)) == 0;
    const bool outputKnown =
        (IsPipe(output) ? fstat(STDOUT_FILENO, &outputStatus) : stat(output.c_str(), &outputStatus)) == 0;
    return inputKnown && outputKnown && S_ISREG(inputStatus.st_mode) && inputStatus.st_dev == outputStatus.st_dev &&
           inputStatus.st_ino == outputStatus.st_ino;
}
