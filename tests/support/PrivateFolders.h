#pragma once
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>

namespace kestrel::test {

/// A fresh folder under which this process keeps its settings, logs and program files; gone with the object. No test
/// touches the user's own.
class PrivateFolders {
public:
    PrivateFolders() {
        std::string name = (std::filesystem::temp_directory_path() / "kestrel-test-XXXXXX").string();
        if (!mkdtemp(name.data())) throw std::runtime_error("no temporary folder");
        root_ = name;
        Point("KESTREL_CONFIG_DIR", "config");
        Point("KESTREL_SYSTEM_DIR", "system");
        Point("KESTREL_STATE_DIR", "state");
        Point("KESTREL_DATA_DIR", "data");
        Point("KESTREL_SHARE_DIR", "share");
        Point("KESTREL_PROGRAM_DIR", "program");
        std::filesystem::create_directory(root_ / "program");
    }
    PrivateFolders(const PrivateFolders&) = delete;
    PrivateFolders& operator=(const PrivateFolders&) = delete;
    ~PrivateFolders() {
        for (const auto& [variable, value] : before_) setenv(variable.c_str(), value.c_str(), 1);
        std::error_code error;
        std::filesystem::remove_all(root_, error);
    }

    std::filesystem::path operator/(const std::string& name) const { return root_ / name; }

private:
    void Point(const char* variable, const char* name) {
        const char* value = std::getenv(variable);
        before_[variable] = value ? value : "";  // an empty one counts as not set
        setenv(variable, (root_ / name).c_str(), 1);
    }

    std::filesystem::path root_;
    std::map<std::string, std::string> before_;
};

inline std::string ReadBytes(const std::filesystem::path& file) {
    std::ostringstream bytes;
    bytes << std::ifstream(file, std::ios::binary).rdbuf();
    return bytes.str();
}

inline void WriteBytes(const std::filesystem::path& file, const std::string& bytes) {
    std::ofstream(file, std::ios::binary) << bytes;
}

}  // namespace kestrel::test
