#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <vector>

#include "apps/kestrel/Commands.h"
#include "apps/kestrel/Console.h"
#include "apps/kestrel/StoreJson.h"
#include "kestrel/foundation/FileReplacement.h"
#include "kestrel/storage/IQvStorage.h"
#include "kestrel/storage/QvError.h"
#include "kestrel/storage/QvSimpStorage.h"
#include "kestrel/storage/QvStorage.h"
#include "kestrel/storage/StorageCopy.h"
#include "kestrel/storage/StorageError.h"
#include "kestrel/storage/StorageFileException.h"
#include "kestrel/storage/StoragePath.h"

namespace {

using namespace kestrel;

constexpr std::size_t kChunk = 1 << 20;
constexpr unsigned long kChange = kStorageRead | kStorageWrite;
constexpr unsigned long kMake = kChange | kStorageCreate;

struct Options {
    std::string store;
    std::string name;
    std::string file;
    std::string as;
    bool json = false;
    bool recursive = false;
};

/// Names come from files of anybody: control characters are shown as their number.
std::string Shown(const std::string& name) {
    std::string shown;
    for (const char c : name) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 32 || byte == 127)
            shown += fmt::format("\\x{:02X}", byte);
        else
            shown += c;
    }
    return shown;
}

[[noreturn]] void Fail(const std::string& what, const std::string& why) {
    throw console::Failure{fmt::format("store: {}: {}", what, why)};
}

/// Fails with the line that the storage left, which may name the element already.
[[noreturn]] void FailWithStorage(const Options& options, const std::string& name) {
    std::string why = LastStorageError();
    if (why.rfind(name + ": ", 0) == 0) why.erase(0, name.size() + 2);
    Fail(name.empty() ? options.store : options.store + ": " + Shown(name), why);
}

// Stores -------------------------------------------------------------------------------------------------------------

enum class Layout { Missing, Compound, Tree, Folder };

Layout LayoutOf(const std::string& path) {
    struct stat status;
    if (stat(path.c_str(), &status) == 0) return S_ISDIR(status.st_mode) ? Layout::Folder : Layout::Compound;
    return IsFolder(SystemPath(BoxFolder(path))) ? Layout::Tree : Layout::Missing;
}

QvStoragePtr OpenStore(const std::string& path, unsigned long mode, const std::string& as = "") {
    Layout layout = LayoutOf(path);
    if (layout == Layout::Missing) {
        if (!(mode & kStorageCreate)) Fail(path, "there is no such compound file or folder");
        layout = as == "folder" ? Layout::Folder : as == "tree" ? Layout::Tree : Layout::Compound;
    }
    QvStoragePtr store = layout == Layout::Compound
                             ? QvStorage::CreateNewQvStorage(path.c_str(), mode, false, false)
                             : QvSimpStorage::CreateNewQvStorage(path.c_str(), mode, true, layout == Layout::Folder);
    if (!store) FailWithStorage({.store = path, .name = {}, .file = {}, .as = {}}, path);
    return store;
}

void CheckKind(const std::string& as) {
    if (!as.empty() && as != "compound" && as != "tree" && as != "folder")
        throw console::UsageError{fmt::format("store: --as takes compound, tree or folder, not \"{}\"", as)};
}

/// Whether an element of that name is a storage; an empty name is the store itself. Fails when there is none.
bool IsStorage(IQvStorage& store, const Options& options, const std::string& name) {
    if (name.empty()) return true;
    const std::size_t slash = name.find_last_of("/\\");
    const std::string last = slash == std::string::npos ? name : name.substr(slash + 1);
    if (!store.Exists(name.c_str())) Fail(options.store, fmt::format("there is nothing named \"{}\"", Shown(name)));
    if (store.Kind() == 1) {
        const QvStoragePtr inner = store.OpenStorage(name.c_str(), kStorageRead);
        return inner && IsFolder(SystemPath(std::string(inner->Path())));
    }
    return store.OpenStorage(name.c_str(), kStorageRead) != nullptr;
}

/// What is known of a stream without reading it.
void Measure(IQvStorage& storage, const std::string& name, StoreElement& element) {
    try {
        const QvStreamPtr stream = storage.OpenStream(name.c_str(), kStorageRead);
        if (stream)
            element.size = static_cast<std::uint64_t>(stream->Size());
        else
            element.problem = LastStorageError();
    } catch (const StorageFileException& error) {
        element.problem = error.OneLine();
    }
}

/// The elements of a storage; with `deep` those below them as well, each after the storage that holds it.
std::vector<StoreElement> Elements(IQvStorage& store, const std::string& start, bool deep) {
    std::vector<StoreElement> all;
    std::vector<StoreElement> pending{{start, true, {}, {}}};
    while (!pending.empty()) {
        StoreElement element = std::move(pending.back());
        pending.pop_back();
        const bool isStart = all.empty() && element.path == start;
        const QvStoragePtr opened = element.isStorage && !element.path.empty()
                                        ? store.OpenStorage(element.path.c_str(), kStorageRead)
                                        : nullptr;
        IQvStorage* storage = element.path.empty() ? &store : opened.get();
        if (element.isStorage && !storage) element.problem = LastStorageError();
        std::vector<StoreElement> inside;
        QvString name;
        unsigned long flags = 0;
        const bool looks = element.isStorage && storage && (deep || isStart);
        for (bool more = looks && storage->FirstElement(name, flags); more; more = storage->NextElement(name, flags))
            inside.push_back({std::string(name), flags == kElementStorage, {}, {}});
        for (StoreElement& one : inside) {
            if (!one.isStorage) Measure(*storage, one.path, one);
            if (!element.path.empty()) one.path = element.path + "/" + one.path;
        }
        pending.insert(pending.end(), std::make_move_iterator(inside.rbegin()), std::make_move_iterator(inside.rend()));
        all.push_back(std::move(element));
    }
    all.erase(all.begin());  // the start itself
    return all;
}

// Commands -----------------------------------------------------------------------------------------------------------

int Tell(const Options& options, bool deep) {
    const QvStoragePtr store = OpenStore(options.store, kStorageRead);
    if (!IsStorage(*store, options, options.name))
        Fail(options.store, fmt::format("\"{}\" is a stream; \"get\" reads it", Shown(options.name)));
    const std::vector<StoreElement> elements = Elements(*store, options.name, deep);
    int code = console::kDone;
    if (options.json) console::Print(ElementsAsJson(elements));
    for (const StoreElement& element : elements) {
        if (!element.problem.empty()) {
            console::Error(fmt::format("store: {}: {}: {}", options.store, Shown(element.path), element.problem));
            code = console::kFailed;
        }
        if (options.json) continue;
        const std::string below = options.name.empty() ? element.path : element.path.substr(options.name.size() + 1);
        const std::string size = element.size ? std::to_string(*element.size) : element.isStorage ? "" : "?";
        console::Print(fmt::format("{:>12}  {}{}\n", size, Shown(below), element.isStorage ? "/" : ""));
    }
    return code;
}

int Get(const Options& options) {
    const bool toOutput = options.file.empty() || options.file == "-";
    if (toOutput && options.json) throw console::UsageError{"store: --json needs a file to write the stream to"};
    const QvStoragePtr store = OpenStore(options.store, kStorageRead);
    if (IsStorage(*store, options, options.name))
        Fail(options.store, fmt::format("\"{}\" is a storage; \"copy\" takes it out", Shown(options.name)));
    const QvStreamPtr stream = store->OpenStream(options.name.c_str(), kStorageRead);
    if (!stream) FailWithStorage(options, options.name);
    std::unique_ptr<FileReplacement> file;
    if (!toOutput) file = std::make_unique<FileReplacement>(options.file);
    if (file && !file->Stream()) Fail(options.file, file->Error());
    const std::unique_ptr<char[]> buffer(new char[kChunk]);
    std::uint64_t bytes = 0;
    for (std::size_t got; (got = stream->Read(buffer.get(), kChunk)) > 0; bytes += got) {
        if (toOutput)
            console::Print({buffer.get(), got});
        else if (std::fwrite(buffer.get(), 1, got, file->Stream()) != got)
            break;  // the commit tells why
    }
    if (stream->HasFailed()) FailWithStorage(options, options.name);
    if (file && !file->Commit()) Fail(options.file, file->Error());
    if (options.json)
        console::Print(ReportAsJson({{{"name", options.name}, {"file", options.file}}, {{"bytes", bytes}}, {}}));
    return console::kDone;
}

struct InputCloser {
    void operator()(std::FILE* file) const {
        if (file != stdin) std::fclose(file);
    }
};

/// Makes the storages on the way to an element of a compound file; folder trees do so by themselves.
void MakeWay(IQvStorage& store, const Options& options) {
    for (std::size_t at = options.name.find_first_of("/\\"); at != std::string::npos;
         at = options.name.find_first_of("/\\", at + 1)) {
        const std::string storage = options.name.substr(0, at);
        if (store.Kind() == 0 && !store.OpenStorage(storage.c_str(), kMake)) FailWithStorage(options, storage);
    }
}

int Put(const Options& options) {
    CheckKind(options.as);
    const bool fromInput = options.file == "-";
    const std::unique_ptr<std::FILE, InputCloser> input(fromInput ? stdin : std::fopen(options.file.c_str(), "rbe"));
    if (!input) Fail(options.file, std::strerror(errno));
    if (std::vector<std::string> names; !SplitStorageName(options.name, names))
        Fail(options.store, fmt::format("\"{}\" leads out of the store", Shown(options.name)));
    QvStoragePtr store = OpenStore(options.store, kMake, options.as);
    MakeWay(*store, options);
    QvStreamPtr stream = store->CreateStream(options.name.c_str(), kMake | kStorageTruncate);
    if (!stream) FailWithStorage(options, options.name);
    const std::unique_ptr<char[]> buffer(new char[kChunk]);
    std::uint64_t bytes = 0;
    for (std::size_t got; (got = std::fread(buffer.get(), 1, kChunk, input.get())) > 0; bytes += got)
        if (stream->Write(buffer.get(), got) != got) FailWithStorage(options, options.name);
    if (std::ferror(input.get())) Fail(options.file, std::strerror(errno));
    if (!CloseStream(stream) || !CloseStorage(store)) FailWithStorage(options, options.name);
    if (options.json) console::Print(ReportAsJson({{{"name", options.name}}, {{"bytes", bytes}}, {}}));
    return console::kDone;
}

int Remove(const Options& options) {
    QvStoragePtr store = OpenStore(options.store, kChange);
    std::vector<StoreElement> elements{{options.name, IsStorage(*store, options, options.name), {}, {}}};
    if (elements[0].isStorage) {
        auto inside = Elements(*store, options.name, true);
        if (!inside.empty() && !options.recursive)
            Fail(options.store, fmt::format("\"{}\" holds {} elements; --recursive removes them as well",
                                            Shown(options.name), inside.size()));
        elements.insert(elements.end(), inside.begin(), inside.end());
    }
    const std::size_t count = elements.size();
    if (store->Kind() == 0) elements.resize(1);  // goes with all that it holds
    for (; !elements.empty(); elements.pop_back()) {
        const StoreElement& last = elements.back();
        const bool folder = last.isStorage && store->Kind() == 1;
        if (!(folder ? store->DeleteStorage(last.path.c_str()) : store->DeleteElement(last.path.c_str())))
            FailWithStorage(options, last.path);
    }
    if (!CloseStorage(store)) FailWithStorage(options, options.name);
    if (options.json) console::Print(ReportAsJson({{{"name", options.name}}, {{"removed", count}}, {}}));
    return console::kDone;
}

/// Where a store lies, whether it is there or not.
std::filesystem::path PlaceOf(const std::string& path, const std::string& as) {
    const Layout layout = LayoutOf(path);
    const bool tree = layout == Layout::Tree || (layout == Layout::Missing && as == "tree");
    return std::filesystem::weakly_canonical(tree ? SystemPath(BoxFolder(path)) : SystemPath(path));
}

/// A copy into itself, or into a folder of its own, would never end.
void CheckApart(const Options& options) {
    const auto from = PlaceOf(options.store, ""), to = PlaceOf(options.file, options.as);
    if (std::mismatch(from.begin(), from.end(), to.begin(), to.end()).first == from.end())
        Fail(options.file, "the target lies within the store that is to be copied");
}

int Copy(const Options& options) {
    CheckKind(options.as);
    CheckApart(options);
    const QvStoragePtr from = OpenStore(options.store, kStorageRead);
    QvStoragePtr to = OpenStore(options.file, kMake, options.as);
    const StorageCopy copy = CopyElements(*from, *to);
    const bool closed = CloseStorage(to);
    for (const std::string& failure : copy.failures)
        console::Error(fmt::format("store: {}: {}", options.store, Shown(failure)));
    if (!closed) Fail(options.file, LastStorageError());
    if (options.json)
        console::Print(ReportAsJson({{{"from", options.store}, {"to", options.file}},
                                     {{"storages", copy.storages}, {"streams", copy.streams}, {"bytes", copy.bytes}},
                                     copy.failures}));
    return copy.failures.empty() ? console::kDone : console::kFailed;
}

/// Storages of folders throw where a file fails; here that is one more line.
std::function<int()> Guarded(std::function<int()> work) {
    return [work = std::move(work)] {
        try {
            return work();
        } catch (const StorageFileException& error) {
            throw console::Failure{"store: " + error.OneLine()};
        } catch (const CQvError& error) {
            throw console::Failure{std::string("store: ") + error.what()};
        }
    };
}

}  // namespace

void AddStore(const Command& program) {
    const auto options = std::make_shared<Options>();
    const Command command = program.Subcommand("store", "Look into stores of streams, and change them");
    command.Footer(
        "A store is a compound file, a folder tree (x.box lives in the folder x.box_qv) or a plain folder.\n"
        "A name is a path inside the store, with slashes or backslashes.\n\n"
        "Examples:\n  kestrel store tree shop.box\n  kestrel store get shop.box Pictures/harbour.jpg harbour.jpg\n"
        "  kestrel store copy shop.box folder --as folder");
    const auto add = [&](const char* name, const char* text) {
        const Command one = command.Subcommand(name, text);
        one.Argument("STORE", options->store, "The store");
        one.Flag("--json", options->json, "Tell the result as JSON");
        return one;
    };
    const auto as = [&](const Command& one) {
        one.Option("--as", options->as, "KIND",
                   "What a store that is missing becomes: compound (the default), tree, folder");
    };
    using Log = Command::Log;
    const Command list = add("list", "List a storage: sizes in bytes, and names");
    const Command tree = add("tree", "List all elements");
    for (const Command& one : {list, tree}) one.OptionalArgument("NAME", options->name, "A storage inside the store");
    list.Run(Log::kNo, Guarded([options] { return Tell(*options, false); }));
    tree.Run(Log::kNo, Guarded([options] { return Tell(*options, true); }));

    const Command get = add("get", "Write a stream into a file");
    get.Argument("NAME", options->name, "The stream");
    get.OptionalArgument("OUTPUT", options->file, "The file; - and nothing are standard output");
    get.Run(Log::kNo, Guarded([options] { return Get(*options); }));

    const Command put = add("put", "Store a file as a stream, in place of one of that name");
    put.Argument("NAME", options->name, "The stream; storages on the way to it are made");
    put.Argument("INPUT", options->file, "The file; - is standard input");
    as(put);
    put.Run(Log::kYes, Guarded([options] { return Put(*options); }));

    const Command remove = add("remove", "Remove a stream, or a storage");
    remove.Argument("NAME", options->name, "The element");
    remove.Flag("-r,--recursive", options->recursive, "A storage with all that it holds");
    remove.Run(Log::kYes, Guarded([options] { return Remove(*options); }));

    const Command copy = add("copy", "Copy everything into another store, replacing streams of the same name");
    copy.Argument("TARGET", options->file, "The other store; made when it is missing");
    as(copy);
    copy.Run(Log::kYes, Guarded([options] { return Copy(*options); }));
}
