#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <vector>

#include "apps/kestrel/Commands.h"
#include "apps/kestrel/Console.h"
#include "apps/kestrel/StoreCheck.h"
#include "apps/kestrel/StoreJson.h"
#include "apps/kestrel/Stores.h"
#include "kestrel/foundation/FileReplacement.h"
#include "kestrel/storage/IQvStorage.h"
#include "kestrel/storage/StorageCopy.h"
#include "kestrel/storage/StorageError.h"
#include "kestrel/storage/StoragePath.h"

namespace {

using namespace kestrel;

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

void CheckKind(const std::string& as) {
    if (!as.empty() && as != "compound" && as != "tree" && as != "folder")
        throw console::UsageError{fmt::format("store: --as takes compound, tree or folder, not \"{}\"", as)};
}

int Tell(const Options& options, bool deep) {
    const QvStoragePtr store = OpenStore(options.store, kStorageRead);
    if (!IsStorage(*store, options.store, options.name))
        FailStore(options.store, fmt::format("\"{}\" is a stream; \"get\" reads it", Shown(options.name)));
    const std::vector<StoreElement> elements = StoreElements(*store, options.name, deep);
    int code = console::kDone;
    if (options.json) console::Print(ElementsAsJson(elements));
    for (const StoreElement& element : elements) {
        if (!element.problem.empty()) {
            console::Error(fmt::format("{}: {}: {}", options.store, Shown(element.path), element.problem));
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
    if (IsStorage(*store, options.store, options.name))
        FailStore(options.store, fmt::format("\"{}\" is a storage; \"copy\" takes it out", Shown(options.name)));
    const QvStreamPtr stream = store->OpenStream(options.name.c_str(), kStorageRead);
    if (!stream) FailWithStorage(options.store, options.name);
    std::unique_ptr<FileReplacement> file;
    if (!toOutput) file = std::make_unique<FileReplacement>(options.file);
    if (file && !file->Stream()) FailStore(options.file, file->Error());
    const std::unique_ptr<char[]> buffer(new char[kStoreChunk]);
    std::uint64_t bytes = 0;
    for (std::size_t got; (got = stream->Read(buffer.get(), kStoreChunk)) > 0; bytes += got) {
        if (toOutput)
            console::Print({buffer.get(), got});
        else if (std::fwrite(buffer.get(), 1, got, file->Stream()) != got)
            break;  // the commit reports why
    }
    if (stream->HasFailed()) FailWithStorage(options.store, options.name);
    if (file && !file->Commit()) FailStore(options.file, file->Error());
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
        if (store.Kind() == 0 && !store.OpenStorage(storage.c_str(), kMake)) FailWithStorage(options.store, storage);
    }
}

int Put(const Options& options) {
    CheckKind(options.as);
    const bool fromInput = options.file == "-";
    const std::unique_ptr<std::FILE, InputCloser> input(fromInput ? stdin : std::fopen(options.file.c_str(), "rbe"));
    if (!input) FailStore(options.file, std::strerror(errno));
    if (std::vector<std::string> names; !SplitStorageName(options.name, names))
        FailStore(options.store, fmt::format("\"{}\" leads out of the store", Shown(options.name)));
    QvStoragePtr store = OpenStore(options.store, kMake, options.as);
    MakeWay(*store, options);
    QvStreamPtr stream = store->CreateStream(options.name.c_str(), kMake | kStorageTruncate);
    if (!stream) FailWithStorage(options.store, options.name);
    const std::unique_ptr<char[]> buffer(new char[kStoreChunk]);
    std::uint64_t bytes = 0;
    for (std::size_t got; (got = std::fread(buffer.get(), 1, kStoreChunk, input.get())) > 0; bytes += got)
        if (stream->Write(buffer.get(), got) != got) FailWithStorage(options.store, options.name);
    if (std::ferror(input.get())) FailStore(options.file, std::strerror(errno));
    if (!CloseStream(stream) || !CloseStorage(store)) FailWithStorage(options.store, options.name);
    if (options.json) console::Print(ReportAsJson({{{"name", options.name}}, {{"bytes", bytes}}, {}}));
    return console::kDone;
}

int Remove(const Options& options) {
    QvStoragePtr store = OpenStore(options.store, kChange);
    std::vector<StoreElement> elements{{options.name, IsStorage(*store, options.store, options.name), {}, {}}};
    if (elements[0].isStorage) {
        auto inside = StoreElements(*store, options.name, true);
        if (!inside.empty() && !options.recursive)
            FailStore(options.store, fmt::format("\"{}\" holds {} elements; --recursive removes them as well",
                                                 Shown(options.name), inside.size()));
        elements.insert(elements.end(), inside.begin(), inside.end());
    }
    const std::size_t count = elements.size();
    if (store->Kind() == 0) elements.resize(1);  // goes with all that it holds
    for (; !elements.empty(); elements.pop_back()) {
        const StoreElement& last = elements.back();
        const bool folder = last.isStorage && store->Kind() == 1;
        if (!(folder ? store->DeleteStorage(last.path.c_str()) : store->DeleteElement(last.path.c_str())))
            FailWithStorage(options.store, last.path);
    }
    if (!CloseStorage(store)) FailWithStorage(options.store, options.name);
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
        FailStore(options.file, "the target lies within the store that is to be copied");
}

int Copy(const Options& options) {
    CheckKind(options.as);
    CheckApart(options);
    const QvStoragePtr from = OpenStore(options.store, kStorageRead);
    QvStoragePtr to = OpenStore(options.file, kMake, options.as);
    const StorageCopy copy = CopyElements(*from, *to);
    const bool closed = CloseStorage(to);
    for (const std::string& failure : copy.failures)
        console::Error(fmt::format("{}: {}", options.store, Shown(failure)));
    if (!closed) FailStore(options.file, LastStorageError());
    if (options.json)
        console::Print(ReportAsJson({{{"from", options.store}, {"to", options.file}},
                                     {{"storages", copy.storages}, {"streams", copy.streams}, {"bytes", copy.bytes}},
                                     copy.failures}));
    return copy.failures.empty() ? console::kDone : console::kFailed;
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
        one.Option("--as", options->as, "compound|tree|folder", "What a store that is missing becomes [compound]");
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

    const Command check = add("check", "Verify that nothing is lost or damaged; exit code 1 when it is");
    check.Run(Log::kNo, Guarded([options] { return CheckStore({options->store, "", options->json}); }));

    const Command repair = add("repair", "Save what can be saved of a damaged compound file into a new one");
    repair.Argument("NEW", options->file, "The new compound file");
    repair.Run(Log::kYes, Guarded([options] { return RepairStore({options->store, options->file, options->json}); }));

    const Command copy = add("copy", "Copy everything into another store, replacing streams of the same name");
    copy.Argument("TARGET", options->file, "The other store; made when it is missing");
    as(copy);
    copy.Run(Log::kYes, Guarded([options] { return Copy(*options); }));
}
