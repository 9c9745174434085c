#pragma once
#include <cstddef>
#include <filesystem>

#include "kestrel/foundation/Export.h"

namespace kestrel {

/// Longest path with its terminator that the product's records hold, in bytes.
inline constexpr std::size_t kMaxPath = 260;

// Where Kestrel keeps its files. An environment variable names another folder for each kind; tests use them. Folders
// are not made here.

/// Settings of the current user: KESTREL_CONFIG_DIR, else "kestrel" in XDG_CONFIG_HOME or ~/.config.
KESTREL_API std::filesystem::path ConfigFolder();
/// Settings of all users: KESTREL_SYSTEM_DIR, else /var/lib/kestrel.
KESTREL_API std::filesystem::path SystemFolder();
/// What programs leave behind, logs above all: KESTREL_STATE_DIR, else "kestrel" in XDG_STATE_HOME or ~/.local/state.
KESTREL_API std::filesystem::path StateFolder();
/// What the user makes and keeps, such as presets: KESTREL_DATA_DIR, else "kestrel" in XDG_DATA_HOME or ~/.local/share.
KESTREL_API std::filesystem::path DataFolder();
/// What was installed with the library for reading: KESTREL_SHARE_DIR, else "share/kestrel" in the nearest of the
/// folders above the library, so that a moved installation finds its own. Empty when there is none.
KESTREL_API std::filesystem::path ShareFolder();
/// The running program's file; empty when the system does not tell.
KESTREL_API std::filesystem::path ProgramFile();
/// The folder of the running program: KESTREL_PROGRAM_DIR, else where `ProgramFile` lies.
KESTREL_API std::filesystem::path ProgramFolder();

}  // namespace kestrel
