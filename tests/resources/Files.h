#pragma once
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace kestrel::test {

/// The root of the source tree.
inline const std::filesystem::path kSources = KESTREL_SOURCES;

inline std::string ReadFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace kestrel::test
