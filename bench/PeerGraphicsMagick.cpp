#include <Magick++.h>

#include "bench/Bench.h"

namespace kestrel::bench {
namespace {

constexpr double kBlur[] = {1, 2, 1, 2, 4, 2, 1, 2, 1};
constexpr double kSharp[] = {0, -1, 0, -1, 5, -1, 0, -1, 0};

// The copy that `work` changes shares its pixels until then, so each run pays for its own.
template <class Work>
void AddMagick(const char* name, const Work& work, const char* like, const Magick::Image& picture) {
    Add(
        name,
        [=] {
            Magick::Image image(picture);
            work(image);
        },
        like);
}

void AddGraphicsMagick() {
    Magick::InitializeMagick(nullptr);
    MagickLib::SetMagickResourceLimit(MagickLib::ThreadsResource, 1);
    const Dib* dib = BenchPicture();
    const Magick::Image picture(static_cast<unsigned>(DibRowSize(dib) / 3), static_cast<unsigned>(dib->biHeight), "BGR",
                                Magick::CharPixel, DibRow(dib, 0));

    AddMagick(
        "GraphicsMagick/negate", [](auto& image) { image.negate(); }, "filter/Invert", picture);
    AddMagick(
        "GraphicsMagick/grey", [](auto& image) { image.type(Magick::GrayscaleType); }, "filter/BlackWhiteness",
        picture);
    AddMagick(
        "GraphicsMagick/convolve 3x3", [](auto& image) { image.convolve(3, kBlur); }, "filter/Blur", picture);
    AddMagick(
        "GraphicsMagick/convolve sharpen", [](auto& image) { image.convolve(3, kSharp); }, "filter/Sharpen", picture);
    AddMagick(
        "GraphicsMagick/scale", [](auto& image) { image.scale("50%"); }, "scale/half", picture);
    AddMagick(
        "GraphicsMagick/rotate", [](auto& image) { image.rotate(25); }, "filter/Rotate", picture);
}

const Peer kGraphicsMagick(AddGraphicsMagick);

}  // namespace
}  // namespace kestrel::bench
