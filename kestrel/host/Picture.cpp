#include "kestrel/host/Picture.h"

#include <cstring>

namespace kestrel {

Picture MakePicture(int width, int height) {
    Picture picture{DibPtr(DibCreate(24, width, height)), DibPtr(DibCreate(8, width, height))};
    if (!picture.image || !picture.mask) return {};
    for (int y = 0; y < height; ++y) std::memset(DibRow(picture.mask.get(), y), 255, DibRowSize(picture.mask.get()));
    return picture;
}

}  // namespace kestrel
