// consumer OUT.png: asks the installed library for bytes that are known beforehand and leaves a picture behind.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>

#include "kestrel/codec/ImageLoader.h"
#include "kestrel/foundation/Version.h"
#include "kestrel/host/Rendering.h"

int main(int argc, char** argv) {
    using namespace kestrel;
    if (argc != 2) return 2;
    std::printf("found %s, running %s\n", FOUND_VERSION, Version());
    if (std::strcmp(FOUND_VERSION, Version()) != 0) return 1;

    Picture picture = MakePicture(2, 1);
    if (!picture.image) return 1;
    const std::uint8_t before[] = {10, 20, 30, 0, 128, 255};
    const std::uint8_t inverted[] = {245, 235, 225, 255, 127, 0};
    std::copy_n(before, 6, DibRow(picture.image.get(), 0));
    std::fill_n(DibRow(picture.mask.get(), 0), 2, std::uint8_t{0});

    Rendering rendering;
    Picture result;
    if (rendering.AddFilter("TMFilter.Invert.1", "Inversity=100") != S_OK) return 1;
    if (rendering.SetPicture(std::move(picture)) != S_OK || rendering.Render(result) != S_OK) return 1;
    if (!std::equal(inverted, inverted + 6, DibRow(result.image.get(), 0))) return 1;

    const CodecError error = ImageLoader::Save(argv[1], result.image.get(), result.mask.get());
    if (error) std::fprintf(stderr, "%s: %s\n", argv[1], error.text.c_str());
    return error ? 1 : 0;
}
