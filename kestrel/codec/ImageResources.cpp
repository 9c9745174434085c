#include "kestrel/codec/ImageResources.h"

#include <algorithm>
#include <cstring>

namespace kestrel {

std::span<const std::uint8_t> FindResource(std::span<const std::uint8_t> resources, ImageResource resource) {
    // Mark, number, name with its length, size, data; name and data are padded to even lengths.
    while (resources.size() >= 12 && std::memcmp(resources.data(), "8BIM", 4) == 0) {
        const std::size_t data = 10 + ((resources[6] + std::size_t{2}) & ~std::size_t{1});
        if (resources.size() < data) break;
        std::size_t size = 0;
        for (std::size_t i = data - 4; i < data; ++i) size = size << 8 | resources[i];
        if (size > resources.size() - data) break;
        if ((resources[4] << 8 | resources[5]) == static_cast<int>(resource)) return resources.subspan(data, size);
        resources = resources.subspan(std::min(resources.size(), data + size + size % 2));
    }
    return {};
}

void AddResource(std::vector<std::uint8_t>& resources, ImageResource resource, std::span<const std::uint8_t> data) {
    if (data.empty()) return;
    const auto put = [&](std::size_t value, int size) {
        for (int shift = 8 * (size - 1); shift >= 0; shift -= 8)
            resources.push_back(static_cast<std::uint8_t>(value >> shift));
    };
    put(0x3842494D, 4);  // 8BIM
    put(static_cast<std::size_t>(resource), 2);
    put(0, 2);  // no name
    put(data.size(), 4);
    resources.insert(resources.end(), data.begin(), data.end());
    if (data.size() % 2) resources.push_back(0);
}

}  // namespace kestrel
