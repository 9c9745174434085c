#include "kestrel/codec/PagePath.h"

#include <charconv>
#include <filesystem>

namespace kestrel {

PagePath SplitPage(const std::string& name) {
    const std::size_t open = name.rfind('[');
    if (open == std::string::npos || open == 0 || !name.ends_with(']')) return {name};
    const char* const end = name.data() + name.size() - 1;
    int page = 0;
    const auto [stop, error] = std::from_chars(name.data() + open + 1, end, page);
    std::error_code none;
    if (error != std::errc() || stop != end || page < 0 || std::filesystem::exists(name, none)) return {name};
    return {name.substr(0, open), page};
}

}  // namespace kestrel
