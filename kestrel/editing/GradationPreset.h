#pragma once
#include <filesystem>
#include <string>
#include <string_view>

#include "kestrel/editing/Gradation.h"
#include "kestrel/foundation/Export.h"

namespace kestrel {

// A preset is a small text file in lines: a header with the version, a section of flags, and a section for each curve.
// Version 1 has no flags and German keys; it is read only.

inline constexpr std::string_view kPresetExtension = ".fp2";
/// No larger file is a preset, in bytes; a whole one has less than 2000.
inline constexpr std::size_t kPresetMaximumSize = 1 << 16;

/// Takes a preset of either version from the bytes of a file; `version` says which one. The keys are searched forward
/// one after the other, whatever stands between them. False, and `gradation` is as before, when one is missing or its
/// value is cut off, and for a curve that no filter can have: fewer than two nodes, or more than 16. Of a curve with
/// more nodes than the editor takes, those that lie closest go.
KESTREL_API bool ParsePreset(std::string_view bytes, Gradation& gradation, int& version);
/// The preset as version 2.
KESTREL_API std::string FormatPreset(const Gradation& gradation);

/// Reads a preset of either version. One of version 1 is version 2 on the disk afterwards, unless it cannot be written.
/// False, and `gradation` is as before, when there is no such file or it is no preset.
KESTREL_API bool ReadPreset(const std::filesystem::path& path, Gradation& gradation);
/// Writes version 2, whole or not at all. What goes wrong stands in the log.
KESTREL_API bool WritePreset(const std::filesystem::path& path, const Gradation& gradation);

}  // namespace kestrel
