// Any bytes as a chain text over a small picture.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "fuzz/support/SmallPicture.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace kestrel;
    if (size < 2) return 0;
    Rendering rendering;
    const std::string_view text(reinterpret_cast<const char*>(data) + 2, size - 2);
    if (rendering.SetChainText(text)) return 0;
    fuzz::RenderSmall(rendering, 1 + data[0] % 40, 1 + data[1] % 40);
    return 0;
}
