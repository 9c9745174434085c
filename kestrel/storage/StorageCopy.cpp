#include "kestrel/storage/StorageCopy.h"

#include <cerrno>
#include <memory>
#include <system_error>

#include "kestrel/storage/CopyBlock.h"
#include "kestrel/storage/IQvStorage.h"
#include "kestrel/storage/QvCompoundStorage.h"
#include "kestrel/storage/QvError.h"
#include "kestrel/storage/StorageError.h"
#include "kestrel/storage/StorageFileException.h"
#include "kestrel/storage/StoragePath.h"

namespace kestrel {
namespace {

constexpr unsigned long kReplace = kStorageRead | kStorageWrite | kStorageCreate | kStorageTruncate;

/// A storage on the way down, and what of it is still to be copied.
struct Level {
    QvStoragePtr ownFrom, ownTo;  // null at the top
    IQvStorage* from;
    IQvStorage* to;
    std::string path;  // with a slash at its end, empty at the top
    std::vector<std::pair<std::string, unsigned long>> left;
};

Level LevelOf(IQvStorage* from, IQvStorage* to, std::string path) {
    Level level{nullptr, nullptr, from, to, std::move(path), {}};
    QvString name;
    unsigned long flags = 0;
    for (bool more = from->FirstElement(name, flags); more; more = from->NextElement(name, flags))
        level.left.emplace_back(std::string(name), flags);
    return level;
}

/// What is left of a stream, through a buffer. False when either end failed.
bool Pump(QvStream& from, QvStream& to, std::uint64_t& bytes) {
    const std::unique_ptr<char[]> buffer(new char[kCopyBlock]);
    for (std::size_t got; (got = from.Read(buffer.get(), kCopyBlock)) > 0; bytes += got)
        if (to.Write(buffer.get(), got) != got) return false;
    return !from.HasFailed();
}

/// Whether a name from a foreign file is one that can be opened, and no path.
bool IsName(const std::string& name) {
    std::vector<std::string> names;
    return SplitStorageName(name, names) && names.size() == 1 && names[0] == name;
}

/// One level deeper, or a line about why not.
std::string Descend(const Level& level, const std::string& name, Level& next) {
    QvStoragePtr from = level.from->OpenStorage(name.c_str(), kStorageRead);
    if (!from) return LastStorageError();
    QvStoragePtr to = level.to->OpenStorage(name.c_str(), kStorageRead | kStorageWrite | kStorageCreate);
    if (!to) return LastStorageError();
    // A folder tree makes its folders with the first stream; an empty storage is copied as well.
    const std::string folder = SystemPath(std::string(to->Path()));
    if (to->Kind() == 1 && !MakeFolders(folder)) return folder + ": " + std::generic_category().message(errno);
    next = LevelOf(from.get(), to.get(), level.path + name + "/");
    next.ownFrom = std::move(from);
    next.ownTo = std::move(to);
    return "";
}

void CopyLevels(IQvStorage& from, IQvStorage& to, StorageCopy& copy) {
    std::vector<Level> way;
    way.push_back(LevelOf(&from, &to, ""));
    while (!way.empty()) {
        Level& level = way.back();
        if (level.left.empty()) {
            if (level.ownTo && !CloseStorage(level.ownTo))
                copy.failures.push_back(level.path + ": " + LastStorageError());
            way.pop_back();
            continue;
        }
        const auto [name, flags] = std::move(level.left.back());
        level.left.pop_back();
        Level next{};
        const bool isStream = flags == kElementStream;
        const std::string why = !IsName(name) ? "the name cannot be opened"
                                : isStream ? CopyStream(*level.from, name.c_str(), *level.to, name.c_str(), copy.bytes)
                                           : Descend(level, name, next);
        if (!why.empty()) {
            const std::size_t named = why.rfind(name + ": ", 0) == 0 ? name.size() + 2 : 0;
            copy.failures.push_back(level.path + name + ": " + why.substr(named));
        } else if (isStream) {
            ++copy.streams;
        } else {
            ++copy.storages;
            way.push_back(std::move(next));
        }
    }
}

}  // namespace

std::string CopyStream(IQvStorage& from, const char* name, IQvStorage& to, const char* toName, std::uint64_t& bytes) {
    try {
        SetLastStorageError("");
        const QvStreamPtr source = from.OpenStream(name, kStorageRead);
        if (!source) return LastStorageError();
        QvStreamPtr target = to.CreateStream(toName, kReplace);
        if (!target || !Pump(*source, *target, bytes) || !CloseStream(target)) return LastStorageError();
        return "";
    } catch (const StorageFileException& error) {
        return error.OneLine();
    } catch (const CQvError& error) {
        return error.what();
    }
}

StorageCopy CopyElements(IQvStorage& from, IQvStorage& to) {
    StorageCopy copy;
    auto* compound = dynamic_cast<QvCompoundStorage*>(&to);
    if (compound) compound->PauseCommits();
    CopyLevels(from, to, copy);
    if (compound && !compound->ResumeCommits()) copy.failures.push_back(LastStorageError());
    return copy;
}

}  // namespace kestrel
