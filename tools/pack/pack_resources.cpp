// Packs the built-in storage: pack_resources RESOURCES OUTPUT. The scripts come from the folder RESOURCES/Scripts, the
// icons are drawn. The same input produces the same bytes; an output that is already what it should be is not touched.
#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>

#include "kestrel/foundation/FileReplacement.h"
#include "kestrel/framework/ScriptStrings.h"
#include "kestrel/storage/compound/CompoundFile.h"
#include "kestrel/storage/compound/MemoryStore.h"
#include "resources/icons/Icons.h"
#include "tools/pack/IconStream.h"

namespace kestrel {
namespace {

namespace fs = std::filesystem;
using compound::Storage;
using Bytes = std::vector<std::uint8_t>;

void Expect(compound::Error error, const std::string& what) {
    if (error != compound::Error::kNone) throw std::runtime_error(fmt::format("{}: {}", what, compound::Text(error)));
}

template <class T>
T Expect(compound::Result<T> result, const std::string& what) {
    if (!result) Expect(result.Failure(), what);
    return std::move(*result);
}

Bytes ReadFile(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    Bytes bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (!file) throw std::runtime_error(fmt::format("{}: cannot be read", path.string()));
    return bytes;
}

/// Names in the storage are ASCII.
std::u16string Wide(const std::string& name) { return {name.begin(), name.end()}; }

Storage AddStorage(Storage& parent, const std::string& name) { return Expect(parent.CreateStorage(Wide(name)), name); }

void AddStream(Storage& parent, const std::string& name, const Bytes& bytes) {
    auto stream = Expect(parent.CreateStream(Wide(name)), name);
    Expect(stream.Write(bytes), name);
}

/// A strings file with a fault would lose texts without a word.
void CheckStrings(const fs::path& path, const Bytes& bytes) {
    const ScriptStrings strings(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
    for (const ScriptFault& fault : strings.Faults())
        throw std::runtime_error(fmt::format("{}:{}: {}", path.string(), fault.line, fault.reason));
}

void AddScripts(Storage& root, const fs::path& folder) {
    std::vector<fs::path> paths;
    for (const auto& entry : fs::directory_iterator(folder)) paths.push_back(entry.path());
    std::sort(paths.begin(), paths.end());
    Storage scripts = AddStorage(root, "Scripts");
    for (const fs::path& path : paths) {
        const Bytes bytes = ReadFile(path);
        if (path.extension() == ".strings") CheckStrings(path, bytes);
        AddStream(scripts, path.filename().string(), bytes);
    }
}

void AddIcons(Storage& root) {
    Storage pictures = AddStorage(root, "Pictures");
    for (const icons::Icon& icon : icons::AllIcons())
        for (const icons::State& state : icons::kStates)
            for (const icons::Size& size : icons::kSizes)
                AddStream(pictures, std::string(icon.name) + state.ending + size.ending,
                          IconStream(icons::Draw(icon, state, size.side), size.side));
}

Bytes Pack(const fs::path& resources) {
    auto store = std::make_unique<compound::MemoryStore>();
    const compound::MemoryStore::Block block = store->Bytes();
    auto file = Expect(compound::CompoundFile::Create(std::move(store)), "the storage");
    {
        Storage root = Expect(file.Root(), "the root");
        AddScripts(root, resources / "Scripts");
        AddIcons(root);
        AddStorage(root, "PicMask");
        AddStorage(root, "Pic_Mask");
    }
    Expect(file.Commit(), "the storage");
    return *block;
}

void Write(const std::string& path, const Bytes& bytes) {
    if (fs::exists(path) && ReadFile(path) == bytes) return;
    FileReplacement output(path);
    const bool written = output.Stream() && std::fwrite(bytes.data(), 1, bytes.size(), output.Stream()) == bytes.size();
    if (!written || !output.Commit()) throw std::runtime_error(fmt::format("{}: {}", path, output.Error()));
}

}  // namespace
}  // namespace kestrel

int main(int argc, char** argv) {
    if (argc != 3) {
        fmt::print(stderr, "usage: pack_resources RESOURCES OUTPUT\n");
        return 2;
    }
    try {
        kestrel::Write(argv[2], kestrel::Pack(argv[1]));
    } catch (const std::exception& error) {
        fmt::print(stderr, "pack_resources: {}\n", error.what());
        return 1;
    }
    return 0;
}
