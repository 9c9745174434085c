#include <cstdio>
#include <string>
#include <utility>

#include "kestrel/codec/ImageLoader.h"
#include "kestrel/host/Rendering.h"

// example IN OUT: a warm tone.
int main(int argc, char** argv) {
    using namespace kestrel;
    if (argc != 3) return 2;

    LoadResult loaded = ImageLoader::Load(argv[1]);
    if (!loaded) {
        std::fprintf(stderr, "%s: %s\n", argv[1], loaded.error.text.c_str());
        return 1;
    }

    Rendering rendering;
    const auto fault = rendering.SetChainText(
        "TMFilter.Exposure.1\tRed=015,Green=020,Blue=000\n"
        "TMFilter.Sepia.1\tSepia=060\n");
    if (fault) {
        std::fprintf(stderr, "line %d: %s\n", fault->line, fault->reason.c_str());
        return 1;
    }

    Picture result;
    if (rendering.SetPicture({std::move(loaded.image), std::move(loaded.mask)}) != S_OK) return 1;
    if (rendering.Render(result) != S_OK) return 1;

    const CodecError error = ImageLoader::Save(argv[2], result.image.get(), result.mask.get());
    if (error) std::fprintf(stderr, "%s: %s\n", argv[2], error.text.c_str());
    return error ? 1 : 0;
}
