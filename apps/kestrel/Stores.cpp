#include "apps/kestrel/Stores.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <iterator>

#include "apps/kestrel/Console.h"
#include "apps/kestrel/Interrupt.h"
#include "kestrel/storage/QvError.h"
#include "kestrel/storage/QvSimpStorage.h"
#include "kestrel/storage/QvStorage.h"
#include "kestrel/storage/StorageError.h"
#include "kestrel/storage/StorageFileException.h"
#include "kestrel/storage/StoragePath.h"

using namespace kestrel;

namespace {

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

}  // namespace

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

void FailStore(const std::string& what, const std::string& why) {
    throw console::Failure{fmt::format("{}: {}", what, why)};
}

void FailWithStorage(const std::string& store, const std::string& name) {
    std::string why = LastStorageError();
    const std::string& named = name.empty() ? store : name;
    if (why.rfind(named + ": ", 0) == 0) why.erase(0, named.size() + 2);
    FailStore(name.empty() ? store : store + ": " + Shown(name), why);
}

Layout LayoutOf(const std::string& path) {
    struct stat status;
    if (stat(path.c_str(), &status) == 0) return S_ISDIR(status.st_mode) ? Layout::Folder : Layout::Compound;
    return IsFolder(SystemPath(BoxFolder(path))) ? Layout::Tree : Layout::Missing;
}

QvStoragePtr OpenStore(const std::string& path, unsigned long mode, const std::string& as) {
    Layout layout = LayoutOf(path);
    if (layout == Layout::Missing) {
        if (!(mode & kStorageCreate)) FailStore(path, "there is no such compound file or folder");
        layout = as == "folder" ? Layout::Folder : as == "tree" ? Layout::Tree : Layout::Compound;
    }
    QvStoragePtr store = layout == Layout::Compound
                             ? QvStorage::CreateNewQvStorage(path.c_str(), mode, false, false)
                             : QvSimpStorage::CreateNewQvStorage(path.c_str(), mode, true, layout == Layout::Folder);
    if (!store) FailWithStorage(path, "");
    return store;
}

bool IsStorage(IQvStorage& store, const std::string& path, const std::string& name) {
    if (name.empty()) return true;
    if (!store.Exists(name.c_str())) FailStore(path, fmt::format("there is nothing named \"{}\"", Shown(name)));
    if (store.Kind() == 1) {
        const QvStoragePtr inner = store.OpenStorage(name.c_str(), kStorageRead);
        return inner && IsFolder(SystemPath(std::string(inner->Path())));
    }
    return store.OpenStorage(name.c_str(), kStorageRead) != nullptr;
}

std::vector<StoreElement> StoreElements(IQvStorage& store, const std::string& start, bool deep) {
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

std::function<int()> Guarded(std::function<int()> work) {
    return [work = std::move(work)] {
        try {
            return work();
        } catch (const console::Failure&) {
            if (interrupt::Happened()) return interrupt::ExitCode();
            throw;
        } catch (const StorageFileException& error) {
            throw console::Failure{error.OneLine()};
        } catch (const CQvError& error) {
            throw console::Failure{error.what()};
        }
    };
}
