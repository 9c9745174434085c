// Any bytes as a picture file: an error or a picture, and a picture can be saved again.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <vector>

#include "kestrel/codec/ImageLoader.h"

using namespace kestrel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    LoadResult result = ImageLoader::Load(std::span(data, size), {.pixelLimit = 1 << 18});
    if (bool(result.error) == (result.image != nullptr)) std::abort();
    if ((result.condition == Condition::Nothing) != (result.image == nullptr)) std::abort();
    if (!result) return 0;
    std::vector<std::uint8_t> bytes;
    const SaveOptions png{.format = ImageFormat::Png, .pngCompression = 0};
    if (ImageLoader::Save(bytes, result.image.get(), result.mask.get(), png)) std::abort();
    const LoadResult again = ImageLoader::Load(bytes);
    if (!again || (again.mask != nullptr) != MaskHidesAnything(result.mask.get())) std::abort();
    return 0;
}
