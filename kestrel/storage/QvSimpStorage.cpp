#include "kestrel/storage/QvSimpStorage.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <system_error>

#include "kestrel/diagnostics/TMDebugMonitor.h"
#include "kestrel/storage/NameMask.h"
#include "kestrel/storage/QvSimpStream.h"
#include "kestrel/storage/StorageError.h"
#include "kestrel/storage/StoragePath.h"

namespace kestrel {
namespace {

constexpr int kLeadsOut = EXDEV;

std::string WithBackslash(std::string path) {
    if (path.empty() || path.back() != '\\') path += '\\';
    return path;
}

std::string RealPath(const std::string& path) {
    const std::unique_ptr<char, decltype(&std::free)> real(realpath(path.c_str(), nullptr), &std::free);
    return real ? real.get() : "";
}

/// Whether a symbolic link leads to something that is there and lies within the folder.
bool StaysInside(const std::string& link, const std::string& folder) {
    const std::string real = RealPath(link);
    const std::string root = RealPath(folder);
    return !root.empty() && (root == "/" || real == root || real.compare(0, root.size() + 1, root + "/") == 0);
}

std::string Message(int error) {
    return error == kLeadsOut ? "the name leads out of the storage" : std::generic_category().message(error);
}

}  // namespace

QvStoragePtr QvSimpStorage::CreateNewQvStorage(const char* path, unsigned long mode, bool keepNative, bool external) {
    if (!path || !*path) {
        SetLastStorageError("a folder without a name cannot be opened");
        return nullptr;
    }
    const std::string folder = WithBackslash(external ? StoragePath(path) : BoxFolder(path));
    return QvStoragePtr(new QvSimpStorage(path, folder, SystemPath(folder), mode, keepNative, external));
}

QvSimpStorage::QvSimpStorage(std::string name, const std::string& path, const std::string& root, unsigned long mode,
                             bool keepNative, bool external)
    : name_(std::move(name)),
      path_(path),
      system_(SystemPath(path)),
      root_(root),
      keepNative_(keepNative),
      external_(external) {
    if (external && (mode & kStorageCreate) && !MakeFolders(system_)) Failed("mkdir", path_, errno);
}

/// Tells the monitor and keeps the line for a person; always false.
bool QvSimpStorage::Failed(const char* operation, const std::string& name, int error) const {
    const std::string why = Message(error);
    TMDebugMonitor("QvStorage", "Operation %s schlug fehl f\xFCr %s: %s", operation, name.c_str(), why.c_str());
    SetLastStorageError(name + ": " + why);
    return false;
}

/// The system's path of an element; false for names that lead out of the tree, as by a link.
bool QvSimpStorage::Locate(const char* name, std::string& path) const {
    std::vector<std::string> names;
    if (!name || !SplitStorageName(name, names)) return false;
    path = system_;
    for (const std::string& part : names) {
        if (path.back() != '/') path += '/';
        path += part;
        struct stat status;
        if (lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode) && !StaysInside(path, root_)) return false;
    }
    return true;
}

QvStreamPtr QvSimpStorage::CreateStream(const char* name, unsigned long mode) {
    return OpenStream(name, mode | kStorageCreate);
}

QvStreamPtr QvSimpStorage::OpenStream(const char* name, unsigned long mode) {
    std::string path;
    if (!Locate(name, path)) {
        Failed("open", name ? name : "", kLeadsOut);
        return nullptr;
    }
    if (mode & kStorageCreate) {
        if (const std::string folder = path.substr(0, path.rfind('/')); !folder.empty() && !MakeFolders(folder)) {
            Failed("mkdir", folder, errno);
            return nullptr;
        }
    } else if (access(path.c_str(), F_OK) != 0) {
        Failed("open", path, errno);
        return nullptr;
    }
    return QvSimpStream::Open(path, mode);
}

bool QvSimpStorage::DeleteElement(const char* name) {
    std::string path;
    if (!Locate(name, path)) return Failed("unlink", name ? name : "", kLeadsOut);
    return unlink(path.c_str()) == 0 || Failed("unlink", path, errno);
}

QvStoragePtr QvSimpStorage::CreateStorage(const char* name, unsigned long mode) { return OpenStorage(name, mode); }

QvStoragePtr QvSimpStorage::OpenStorage(const char* name, unsigned long mode) {
    std::string path;
    if (!Locate(name, path)) {
        Failed("open", name ? name : "", kLeadsOut);
        return nullptr;
    }
    return QvStoragePtr(new QvSimpStorage(name, WithBackslash(StoragePath(path)), root_, mode, keepNative_, external_));
}

bool QvSimpStorage::DeleteStorage(const char* name) {
    std::string path = system_;
    if (name && !Locate(name, path)) return Failed("rmdir", name, kLeadsOut);
    return rmdir(path.c_str()) == 0 || Failed("rmdir", path, errno);
}

bool QvSimpStorage::FirstElement(QvString& name, unsigned long& flags, const char* mask) {
    found_.clear();
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(system_.c_str()), &closedir);
    if (!folder) return Failed("opendir", path_, errno);
    while (const dirent* entry = readdir(folder.get())) {
        const std::string_view found = entry->d_name;
        if (found == "." || found == ".." || !MaskFits(mask ? mask : "", found)) continue;
        struct stat status;
        const bool isFolder = fstatat(dirfd(folder.get()), entry->d_name, &status, 0) == 0 && S_ISDIR(status.st_mode);
        found_.push_back({std::string(found), isFolder ? kElementStorage : kElementStream});
    }
    // The system lists in any order; people and tests want the same one every time.
    std::sort(found_.begin(), found_.end(), [](const Found& a, const Found& b) { return a.name > b.name; });
    return NextElement(name, flags);
}

bool QvSimpStorage::NextElement(QvString& name, unsigned long& flags) {
    if (found_.empty()) return false;
    name = found_.back().name.c_str();
    flags = found_.back().flags;
    found_.pop_back();
    return true;
}

bool QvSimpStorage::Exists(const char* name) {
    std::string path;
    return Locate(name, path) && access(path.c_str(), F_OK) == 0;
}

bool QvSimpStorage::Close() {
    delete this;
    return true;
}

bool QvSimpStorage::Stat(QvStat& stat) {
    struct stat status;
    if (::stat(system_.c_str(), &status) != 0) return Failed("stat", path_, errno);
    stat = {};
    stat.name = Name();
    stat.flags = kElementStorage;
    stat.modified = status.st_mtime;
    return true;
}

}  // namespace kestrel
