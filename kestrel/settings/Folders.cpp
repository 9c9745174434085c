#include "kestrel/settings/Folders.h"

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

path UserFolder(const char* own, const char* xdg, const char* inHome) {
    if (path folder = FromEnvironment(own); !folder.empty()) return folder;
    path base = FromEnvironment(xdg);
    if (base.empty()) base = HomeFolder() / inHome;
    return base / "kestrel";
}

}  // namespace

path ConfigFolder() { return UserFolder("KESTREL_CONFIG_DIR", "XDG_CONFIG_HOME", ".config"); }
path StateFolder() { return UserFolder("KESTREL_STATE_DIR", "XDG_STATE_HOME", ".local/state"); }

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
