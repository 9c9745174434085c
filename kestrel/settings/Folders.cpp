#include "kestrel/settings/Folders.h"

#include <dlfcn.h>
#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <system_error>

namespace kestrel {
namespace {

using std::filesystem::path;

/// The value of a variable when it is an absolute path; a relative one counts as not set, as the XDG rules ask.
path FromEnvironment(const char* variable) {
    const char* value = std::getenv(variable);
    return value && value[0] == '/' ? path(value) : path();
}

path HomeFolder() {
    if (path home = FromEnvironment("HOME"); !home.empty()) return home;
    const passwd* user = getpwuid(getuid());
    return user && user->pw_dir ? path(user->pw_dir) : path("/");
}

/// The file that this code was loaded from: the library, or a program that holds it.
path LibraryFile() {
    Dl_info info{};
    std::error_code error;
    if (dladdr(reinterpret_cast<const void*>(&HomeFolder), &info) == 0 || !info.dli_fname) return ProgramFile();
    const path file = std::filesystem::canonical(info.dli_fname, error);
    return error ? ProgramFile() : file;  // a program may have been started by a name that leads nowhere by now
}

path UserFolder(const char* own, const char* xdg, const char* inHome) {
    if (path folder = FromEnvironment(own); !folder.empty()) return folder;
    path base = FromEnvironment(xdg);
    if (base.empty()) base = HomeFolder() / inHome;
    return base / "kestrel";
}

}  // namespace

path ConfigFolder() { return UserFolder("KESTREL_CONFIG_DIR", "XDG_CONFIG_HOME", ".config"); }
path StateFolder() { return UserFolder("KESTREL_STATE_DIR", "XDG_STATE_HOME", ".local/state"); }

path DataFolder() { return UserFolder("KESTREL_DATA_DIR", "XDG_DATA_HOME", ".local/share"); }

path ShareFolder() {
    if (path folder = FromEnvironment("KESTREL_SHARE_DIR"); !folder.empty()) return folder;
    std::error_code error;
    for (path folder = LibraryFile().parent_path(); folder != folder.root_path(); folder = folder.parent_path())
        if (path share = folder / "share/kestrel"; std::filesystem::is_directory(share, error)) return share;
    return {};
}

path SystemFolder() {
    const path folder = FromEnvironment("KESTREL_SYSTEM_DIR");
    return folder.empty() ? path("/var/lib/kestrel") : folder;
}

path ProgramFile() {
    std::error_code error;
    return std::filesystem::read_symlink("/proc/self/exe", error);
}

path ProgramFolder() {
    const path folder = FromEnvironment("KESTREL_PROGRAM_DIR");
    return folder.empty() ? ProgramFile().parent_path() : folder;
}

}  // namespace kestrel
