// Writes the sample picture: make_sample [WIDTH HEIGHT] OUTPUT. Any size; the extension chooses the format.
#include <fmt/format.h>

#include <cstdlib>

#include "kestrel/codec/ImageLoader.h"
#include "tools/SamplePicture.h"

int main(int argc, char** argv) {
    const bool sized = argc == 4;
    const int width = sized ? std::atoi(argv[1]) : 1920, height = sized ? std::atoi(argv[2]) : 1280;
    if ((argc != 2 && !sized) || width < 1 || height < 1) {
        fmt::print(stderr, "usage: make_sample [WIDTH HEIGHT] OUTPUT\n");
        return 2;
    }
    const char* output = argv[argc - 1];
    const kestrel::DibPtr picture = kestrel::sample::Render(width, height);
    const kestrel::CodecError error = kestrel::ImageLoader::Save(output, picture.get(), nullptr);
    if (error) fmt::print(stderr, "{}: {}\n", output, error.text);
    return error ? 1 : 0;
}
