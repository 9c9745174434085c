#include "kestrel/codec/PolyImagePro.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "kestrel/codec/ImageLoader.h"
#include "kestrel/image/Mask.h"

namespace kestrel {
namespace {

constexpr int kLargestReduced = 0xFFFF;  // sides that the scaling counts

int FormatCode(ImageFormat format) {
    switch (format) {
        case ImageFormat::Bmp:
            return 0x00;
        case ImageFormat::Jpeg:
            return 0x04;
        case ImageFormat::PhotoCd:
            return 0x06;
        case ImageFormat::Png:
            return 0x0B;
        case ImageFormat::Pnm:
            return 0x0D;
        case ImageFormat::Tiff:
            return 0x12;
        case ImageFormat::Psd:
            return 0x1F;
        case ImageFormat::Gif:
            return 0x42;
        default:
            return 0xFF;
    }
}

/// The mask at another size, by the scaling of pictures.
DibPtr ScaledMask(const Dib* mask, int width, int height) {
    const DibPtr grey(DibCreate(24, mask->biWidth, mask->biHeight));
    if (!grey) return nullptr;
    for (int row = 0; row < mask->biHeight; ++row)
        for (int x = 0; x < mask->biWidth; ++x) std::memset(DibRow(grey.get(), row) + 3 * x, DibRow(mask, row)[x], 3);
    const DibPtr scaled(DibScale(grey.get(), width, height));
    DibPtr result(scaled ? DibCreate(8, width, height) : nullptr);
    for (int row = 0; result && row < height; ++row)
        for (int x = 0; x < width; ++x) DibRow(result.get(), row)[x] = DibRow(scaled.get(), row)[3 * x];
    return result;
}

}  // namespace

struct PolyImagePro::Session {
    std::string path{};
    LoadResult header{};
    bool loaded = false;
    int width = 0, height = 0;  // wanted; 0: as the file has them
    LoadResult picture{};

    bool Decode();
};

bool PolyImagePro::Session::Decode() {
    if (!loaded) return false;
    if (picture) return true;
    picture = ImageLoader::Load(path, {.preferredWidth = width, .preferredHeight = height});
    if (!picture || width == 0) return bool(picture);
    if (picture.image->biWidth == width && picture.image->biHeight == height) return true;
    picture.image.reset(DibScale(picture.image.get(), width, height));
    if (picture.mask) {
        picture.mask = ScaledMask(picture.mask.get(), width, height);
        if (!picture.mask) picture.image.reset();
    }
    return bool(picture);
}

PolyImagePro::Session* PolyImagePro::_cNewSession() { return new (std::nothrow) Session; }
void PolyImagePro::_cDestroySession(Session* session) { delete session; }

bool PolyImagePro::_cLoadImage(Session* session, const char* path, int, int, int) {
    if (!session || !path) return false;
    *session = Session();
    session->path = path;
    session->header = ImageLoader::Load(path, {.sizeOnly = true});
    session->loaded = !session->header.error && session->header.fullWidth > 0;
    return session->loaded;
}

bool PolyImagePro::_cGetImageInfo(Session* session, int* width, int* height, int* bits, int* xResolution,
                                  int* yResolution, int* pages, int* format, int* colors, int* compression) {
    if (!session || !session->loaded) return false;
    const auto set = [](int* to, double value) {
        if (to) *to = static_cast<int>(value);
    };
    const LoadResult& header = session->header;
    const auto [x, y] = PerMeter(header.metadata.density);
    const double inch = header.metadata.density.unit == Density::Unit::AspectOnly ? 0 : 0.0254;
    set(width, static_cast<double>(header.fullWidth)), set(height, static_cast<double>(header.fullHeight));
    set(bits, 24), set(pages, 1), set(colors, 0), set(compression, 0);
    set(xResolution, std::round(x * inch)), set(yResolution, std::round(y * inch));
    set(format, FormatCode(header.format));
    return true;
}

bool PolyImagePro::_cOpResizeEx(Session* session, int width, int height, int, int) {
    if (!session || !session->loaded || width < 1 || height < 1) return false;
    const auto fullWidth = static_cast<double>(session->header.fullWidth);
    const auto fullHeight = static_cast<double>(session->header.fullHeight);
    const double scale = std::min({width / fullWidth, height / fullHeight, 1.0});
    const int w = std::max(1, static_cast<int>(std::lround(fullWidth * scale)));
    const int h = std::max(1, static_cast<int>(std::lround(fullHeight * scale)));
    if (w > kLargestReduced || h > kLargestReduced) return false;
    session->picture = {};
    session->width = scale < 1 ? w : 0;
    session->height = scale < 1 ? h : 0;
    return true;
}

bool PolyImagePro::_cGetDIB(Session* session, std::vector<std::uint8_t>* dib, int) {
    if (!session || !dib || !session->Decode()) return false;
    const Dib* image = session->picture.image.get();
    const auto* const begin = reinterpret_cast<const std::uint8_t*>(image);
    const std::uint8_t* const end = DibRow(image, 0) + DibRowSize(image) * static_cast<unsigned>(image->biHeight);
    dib->assign(begin, end);
    return true;
}

bool PolyImagePro::_cGetAlphaMask(Session* session, std::vector<std::uint8_t>* mask) {
    if (!session || !mask || !session->Decode() || !session->picture.mask) return false;
    Dib* const hidden = session->picture.mask.get();
    std::uint8_t* const array = ConvertMaskDibToArray(hidden);
    if (!array) return false;
    mask->assign(array, array + static_cast<std::size_t>(hidden->biWidth) * static_cast<std::size_t>(hidden->biHeight));
    std::free(array);
    return true;
}

}  // namespace kestrel
