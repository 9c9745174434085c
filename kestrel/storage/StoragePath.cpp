#include "kestrel/storage/StoragePath.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace kestrel {
namespace {

constexpr std::string_view kSeparators = "/\\";
constexpr std::string_view kBoxEnd = "_qv";

}  // namespace

std::string SystemPath(std::string_view path) {
    std::string system(path);
    std::replace(system.begin(), system.end(), '\\', '/');
    return system;
}

std::string StoragePath(std::string_view path) {
    std::string stored(path);
    std::replace(stored.begin(), stored.end(), '/', '\\');
    return stored;
}

bool SplitStorageName(std::string_view path, std::vector<std::string>& names) {
    names.clear();
    bool inside = path.empty() || kSeparators.find(path.front()) == std::string_view::npos;
    while (!path.empty()) {
        const std::string_view name = path.substr(0, path.find_first_of(kSeparators));
        if (name == "..") inside = false;
        if (!name.empty() && name != ".") names.emplace_back(name);
        path.remove_prefix(std::min(name.size() + 1, path.size()));
    }
    if (!inside) names.clear();
    return !names.empty();
}

bool IsFolder(const std::string& path) {
    struct stat status;
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool MakeFolders(const std::string& path) {
    for (std::size_t slash = path.find('/', 1);; slash = path.find('/', slash + 1)) {
        const std::string prefix = path.substr(0, slash);
        if (access(prefix.c_str(), F_OK) != 0 && mkdir(prefix.c_str(), 0777) != 0 && errno != EEXIST) return false;
        if (slash >= path.size()) return IsFolder(path) || (errno = ENOTDIR, false);
    }
}

std::string BoxFolder(std::string_view path, bool (*isFolder)(const std::string&)) {
    const auto isWay = [isFolder](std::string_view prefix) {
        return prefix.empty() || (!isFolder(SystemPath(prefix).append(kBoxEnd)) && isFolder(SystemPath(prefix)));
    };
    std::size_t slash = path.find('/');
    while (slash != std::string_view::npos && isWay(path.substr(0, slash))) slash = path.find('/', slash + 1);
    std::string folder(path.substr(0, slash));
    folder += kBoxEnd;
    if (slash != std::string_view::npos) folder.append("\\").append(path.substr(slash + 1));
    return StoragePath(folder);
}

}  // namespace kestrel
