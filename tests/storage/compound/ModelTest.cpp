// Random operations on a compound file and on a model of it in memory, which must never differ.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "kestrel/storage/compound/CompoundFile.h"
#include "kestrel/storage/compound/MemoryStore.h"
#include "tests/support/CompoundReader.h"

namespace kestrel::compound {
namespace {

using tests::CompoundContent;
using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kMaxElements = 120;
constexpr int kNames = 40;

class Model {
public:
    Model(Version version, unsigned seed) : random_(seed) {
        EXPECT_TRUE(CompoundFile::Create(std::make_unique<MemoryStore>(block_), version));
        Open();
    }

    void Run(int operations) {
        for (int i = 0; i < operations && !testing::Test::HasFailure(); ++i) {
            SCOPED_TRACE("operation " + std::to_string(i));
            const auto choice = Random(100);
            if (choice < 20)
                Create();
            else if (choice < 30)
                Remove();
            else if (choice < 36)
                Rename();
            else if (choice < 66)
                Write();
            else if (choice < 76)
                Resize();
            else if (choice < 97)
                Read();
            else
                Close(choice == 97);
        }
        Close(false);
    }

private:
    std::size_t Random(std::size_t bound) { return random_() % bound; }

    void Open() {
        auto file = CompoundFile::Open(std::make_unique<MemoryStore>(block_), Access::kReadWrite);
        ASSERT_TRUE(file);
        file_.emplace(std::move(*file));
    }

    /// Commits or drops, then compares what another reader finds, and what the engine finds after opening again.
    void Close(bool drop) {
        if (drop)
            now_ = committed_;
        else
            ASSERT_EQ(file_->Commit(), Error::kNone);
        committed_ = now_;
        file_.reset();
        Open();
        Bytes all = *block_;
        std::string fault;
        const CompoundContent content = tests::ReadCompound(all, fault);
        ASSERT_EQ(fault, "");
        ASSERT_TRUE(content == now_);
        CompareStorage();
    }

    void CompareStorage() {
        CompoundContent found;
        std::vector<std::u16string> storages{u""};
        while (!storages.empty()) {
            const std::u16string path = storages.back();
            storages.pop_back();
            const auto storage = At(path);
            ASSERT_TRUE(storage);
            const auto elements = storage->Elements();
            ASSERT_TRUE(elements);
            for (const ElementInfo& info : *elements) {
                const std::u16string name = path + info.name + (info.kind == ElementKind::kStorage ? u"/" : u"");
                found[name].resize(info.size);
                if (info.kind == ElementKind::kStorage) storages.push_back(name);
            }
        }
        ASSERT_EQ(found.size(), now_.size());
        for (const auto& [path, bytes] : now_) ASSERT_EQ(found[path].size(), bytes.size());
    }

    /// The storage of a path that ends in '/', or the root.
    Result<Storage> At(const std::u16string& path) {
        auto storage = file_->Root();
        for (std::size_t at = 0; storage && at < path.size();) {
            const std::size_t slash = path.find(u'/', at);
            auto inner = storage->OpenStorage(path.substr(at, slash - at));
            storage = std::move(inner);
            at = slash + 1;
        }
        return storage;
    }

    static std::u16string Folder(const std::u16string& path) {
        const auto slash = path.find_last_of(u'/', path.size() - 2);
        return slash == path.npos || path.size() < 2 ? u"" : path.substr(0, slash + 1);
    }
    static std::u16string Name(const std::u16string& path) {
        std::u16string name = path.substr(Folder(path).size());
        if (name.back() == u'/') name.pop_back();
        return name;
    }
    bool Taken(const std::u16string& path) const { return now_.count(path) != 0 || now_.count(path + u"/") != 0; }

    std::u16string RandomName() {
        const std::string number = std::to_string(Random(kNames));
        return std::u16string(1 + Random(2), u'n') + std::u16string(number.begin(), number.end());
    }
    std::u16string RandomStorage() {
        std::vector<std::u16string> all{u"", u"", u""};
        for (const auto& [path, bytes] : now_)
            if (path.back() == u'/') all.push_back(path);
        return all[Random(all.size())];
    }
    /// Any element, or only a stream; empty when there is none.
    std::u16string RandomElement(bool stream) {
        std::vector<std::u16string> all;
        for (const auto& [path, bytes] : now_)
            if (!stream || path.back() != u'/') all.push_back(path);
        return all.empty() ? u"" : all[Random(all.size())];
    }
    /// Mostly around the sizes where something changes, sometimes far beyond.
    std::size_t RandomSize() {
        constexpr std::size_t kTurns[] = {0, 64, 512, 4095, 4096, 4097, 8192, 12000};
        return Random(50) == 0 ? Random(60000) : kTurns[Random(std::size(kTurns))] + Random(100);
    }

    void Create() {
        if (now_.size() >= kMaxElements) return;
        const std::u16string folder = RandomStorage();
        const std::u16string name = RandomName();
        auto storage = At(folder);
        ASSERT_TRUE(storage);
        const bool stream = Random(4) != 0;
        const Error error = stream ? storage->CreateStream(name).Failure() : storage->CreateStorage(name).Failure();
        ASSERT_EQ(error, Taken(folder + name) ? Error::kExists : Error::kNone);
        if (error == Error::kNone) now_[folder + name + (stream ? u"" : u"/")];
    }

    void Remove() {
        const std::u16string path = RandomElement(Random(3) != 0);
        if (path.empty()) return;
        ASSERT_EQ(At(Folder(path))->Remove(Name(path)), Error::kNone);
        std::erase_if(now_, [&](const auto& element) {
            return path.back() == u'/' ? element.first.starts_with(path) : element.first == path;
        });
    }

    void Rename() {
        const std::u16string path = RandomElement(true);
        if (path.empty()) return;
        const std::u16string to = RandomName();
        const Error error = At(Folder(path))->Rename(Name(path), to);
        const std::u16string target = Folder(path) + to;
        ASSERT_EQ(error, target != path && Taken(target) ? Error::kExists : Error::kNone);
        if (error != Error::kNone || target == path) return;
        now_[target] = now_[path];
        now_.erase(path);
    }

    Result<Stream> OpenStream(const std::u16string& path) { return At(Folder(path))->OpenStream(Name(path)); }

    void Write() {
        const std::u16string path = RandomElement(true);
        if (path.empty()) return;
        Bytes& model = now_[path];
        auto stream = OpenStream(path);
        ASSERT_TRUE(stream);
        for (int part = 0; part < 3; ++part) {
            const std::size_t at = RandomSize();
            Bytes bytes(Random(3) == 0 ? RandomSize() : Random(200));
            for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random_());
            ASSERT_TRUE(stream->Seek(static_cast<std::int64_t>(at), Origin::kBegin));
            ASSERT_EQ(stream->Write(bytes), Error::kNone);
            if (!bytes.empty()) model.resize(std::max(model.size(), at + bytes.size()));
            std::copy(bytes.begin(), bytes.end(), model.begin() + static_cast<std::ptrdiff_t>(bytes.empty() ? 0 : at));
        }
    }

    void Resize() {
        const std::u16string path = RandomElement(true);
        if (path.empty()) return;
        const std::size_t size = RandomSize();
        ASSERT_EQ(OpenStream(path)->SetSize(size), Error::kNone);
        now_[path].resize(size);
    }

    void Read() {
        const std::u16string path = RandomElement(true);
        if (path.empty()) return;
        const Bytes& model = now_[path];
        auto stream = OpenStream(path);
        ASSERT_TRUE(stream);
        Bytes bytes(model.size() + 10);
        const auto count = stream->Read(bytes);
        ASSERT_TRUE(count);
        ASSERT_EQ(*count, model.size());
        bytes.resize(*count);
        ASSERT_TRUE(bytes == model);
    }

    MemoryStore::Block block_ = std::make_shared<Bytes>();
    std::optional<CompoundFile> file_;
    CompoundContent now_;
    CompoundContent committed_;
    std::mt19937 random_;
};

TEST(Model, NeverDiffersFromTheFile) {
    for (const Version version : {Version::k3, Version::k4})
        for (unsigned seed = 0; seed < 5; ++seed) Model(version, seed).Run(10000);
}

}  // namespace
}  // namespace kestrel::compound
