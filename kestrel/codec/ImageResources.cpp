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

}  // namespace kestrel
