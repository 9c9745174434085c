// Linked into every test program: whatever it and its children do, settings and logs stay out of the user's folders.
#include <cstdlib>
#include <filesystem>

namespace kestrel::test {
namespace {

[[maybe_unused]] const bool moved = [] {
    const auto home = std::filesystem::temp_directory_path() / "kestrel-test-home";
    setenv("KESTREL_CONFIG_DIR", (home / "config").c_str(), 1);
    setenv("KESTREL_SYSTEM_DIR", (home / "system").c_str(), 1);
    setenv("KESTREL_STATE_DIR", (home / "state").c_str(), 1);
    setenv("KESTREL_DATA_DIR", (home / "data").c_str(), 1);
    return true;
}();

}  // namespace
}  // namespace kestrel::test
