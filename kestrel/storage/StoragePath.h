#pragma once
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/foundation/Export.h"

namespace kestrel {

/// The path as the system takes it: backslashes become slashes. Folders whose own names hold a backslash cannot be
/// reached.
KESTREL_API std::string SystemPath(std::string_view path);

/// The path as storages tell it: slashes become backslashes.
KESTREL_API std::string StoragePath(std::string_view path);

/// The names of a relative path, parted by either separator; empty parts and "." are left out. False, and no names, for
/// a path that is absolute or holds "..", which might lead out of a storage, and for one without any name.
[[nodiscard]] KESTREL_API bool SplitStorageName(std::string_view path, std::vector<std::string>& names);

/// Whether the folder that a system path names is there.
KESTREL_API bool IsFolder(const std::string& path);

/// Makes the folder and those above it that are missing. False when one cannot be made; `errno` says why.
[[nodiscard]] KESTREL_API bool MakeFolders(const std::string& path);

/// The folder that holds the box of this name, as a storage path: "_qv" is put behind the box file's name, so that
/// "x.box" lives in "x.box_qv" and "x.box/Pictures" in "x.box_qv\Pictures". The box file's name ends at the first
/// slash; slashes behind folders that are there (`isFolder`), on the way to the box, do not count.
KESTREL_API std::string BoxFolder(std::string_view path, bool (*isFolder)(const std::string&) = IsFolder);

}  // namespace kestrel
