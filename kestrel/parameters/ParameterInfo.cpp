#include "kestrel/parameters/ParameterInfo.h"

#include <algorithm>
#include <cstddef>

namespace kestrel {

const char* NameOf(Kind kind) {
    constexpr const char* names[] = {"integer", "byte", "percent", "flag", "choice", "number", "text", "color"};
    return names[static_cast<std::size_t>(kind)];
}

const char* NameOf(Unit unit) {
    constexpr const char* names[] = {"",        "percent",  "pixels",  "degrees", "tenths of a degree",
                                     "radians", "fraction", "per inch"};
    return names[static_cast<std::size_t>(unit)];
}

const char* NameOf(Channel channel) {
    constexpr const char* names[] = {"", "red", "green", "blue"};
    return names[static_cast<std::size_t>(channel)];
}

std::string LineOf(std::string_view label, Channel channel) {
    if (channel == Channel::None || label.find('\n') == label.npos) return std::string(label);
    for (int skip = static_cast<int>(channel) - static_cast<int>(Channel::Red); skip > 0; --skip)
        label.remove_prefix(std::min(label.find('\n'), label.size() - 1) + 1);
    return std::string(label.substr(0, label.find('\n')));
}

std::vector<std::span<const KeyInfo>> OfferedKeys(const ParameterInfo& info) {
    std::vector<std::span<const KeyInfo>> offered;
    const std::span<const KeyInfo> keys = info.keys;
    for (std::size_t i = 0; i < keys.size();) {
        std::size_t end = i + 1;
        while (end < keys.size() && !keys[i].list.empty() && keys[end].list == keys[i].list) ++end;
        if (keys[i].role == Role::Setting) offered.push_back(keys.subspan(i, end - i));
        i = end;
    }
    return offered;
}

}  // namespace kestrel
