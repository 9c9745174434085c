#include "kestrel/host/Picture.h"

#include <cstring>

namespace kestrel {

Picture MakePicture(int width, int height) {
    Picture picture{DibPtr(DibCreate(24, width, height)), DibPtr(DibCreate(8, width, height))};
    if (!picture.image || !picture.mask) return {};
    for (int y = 0; y < height; ++y) std::memset(DibRow(picture.mask.get(), y), 255, DibRowSize(picture.mask.get()));
    return picture;
}

Picture CutPicture(const Picture& picture, int left, int top, int width, int height) {
    const int bottom = picture.Height() - top - height;  // rows are counted from below
    const auto cut = [&](const Dib* from, int depth) {
        DibPtr part(DibCreate(depth, width, height));
        const auto bytes = static_cast<std::size_t>(depth / 8);
        for (int y = 0; part && y < height; ++y)
            std::memcpy(DibRow(part.get(), y), DibRow(from, bottom + y) + static_cast<std::size_t>(left) * bytes,
                        static_cast<std::size_t>(width) * bytes);
        return part;
    };
    Picture part{cut(picture.image.get(), 24), picture.mask ? cut(picture.mask.get(), 8) : nullptr};
    if (!part.image || (picture.mask && !part.mask)) return {};
    return part;
}

}  // namespace kestrel
