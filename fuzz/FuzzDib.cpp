// Any bytes as a picture record: what is read is walked, converted, scaled and mapped.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <utility>
#include <vector>

#include "kestrel/image/Dib.h"
#include "kestrel/image/DibModule.h"
#include "kestrel/image/Mask.h"
#include "kestrel/image/Surface.h"
#include "kestrel/image/WorkImage.h"

using namespace kestrel;

namespace {

constexpr std::int64_t kMostPixels = 1 << 20;  // larger pictures are slow and find nothing more

void Use(Dib* dib) {
    if (std::int64_t{dib->biWidth} * dib->biHeight > kMostPixels) return;
    DIBFileSize(dib);
    const DibPtr converted(Make24BitDib(dib));
    if (converted) {
        const DibPtr smaller(DibScale(converted.get(), dib->biWidth / 2, dib->biHeight / 3));
        const DibPtr larger(DibScale(converted.get(), 61, 47));
        const DibPtr gray(GolorGray(converted.get()));
        MemorySurface surface(16, 16);
        DIBPaint(dib, surface, -3, 5);
        DIBDrawWithMask(surface, converted.get(), gray.get(), 2, -2, 20, 20, 1, 1, false);
        const CWorkImage work(converted.get(), gray.get(), 0, 0, 1, 1);
        std::free(ConvertMaskDibToArray(gray.get()));
    }
    DibSetUsage(dib, nullptr, kDibRgbColors);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    std::vector<std::uint8_t> bytes(data, data + size);
    std::FILE* file = fmemopen(bytes.data(), bytes.size(), "rb");
    if (!file) return 0;
    DibPtr dib(DibReadDib(file, 0));
    std::fclose(file);
    if (dib) {
        Use(dib.get());
        DibMapToPalette(dib, nullptr);
    }

    DibModule module;
    if (module.Add("picture", bytes)) Use(DibOpenFromModule("picture", &module));

    CWorkImage::BlockPtr block(new std::uint8_t[size], [](std::uint8_t* p) { delete[] p; });
    std::copy(data, data + size, block.get());
    if (const auto picture = CWorkImage::FromBlock(std::move(block), size)) picture->Clear();
    return 0;
}
