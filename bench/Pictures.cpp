// What is done with whole pictures outside of filters, and the plain copy that everything is compared to.
#include <cstring>
#include <memory>
#include <stdexcept>

#include "bench/Bench.h"
#include "kestrel/codec/ImageLoader.h"

namespace kestrel::bench {
namespace {

void AddScale(const char* name, int width, int height) {
    Add(name, [=] {
        if (!DibPtr(DibScale(BenchPicture(), width, height))) throw std::runtime_error("no memory");
    });
}

/// Encoding from the picture's rows into memory, and decoding what that gave.
void AddCodec(ImageFormat format) {
    const auto file = std::make_shared<std::vector<std::uint8_t>>();
    const auto encode = [=] {
        file->clear();
        const CodecError error = ImageLoader::Save(*file, BenchPicture(), nullptr, {.format = format});
        if (error) throw std::runtime_error(error.text);
    };
    Add(std::string("encode/") + FormatName(format), encode);
    Add(std::string("decode/") + FormatName(format), [=] {
        if (file->empty()) encode();
        const LoadResult loaded = ImageLoader::Load(*file);
        if (!loaded) throw std::runtime_error(loaded.error.text);
    });
}

}  // namespace

void AddPictures() {
    const Dib* picture = BenchPicture();
    const auto pixels = static_cast<std::size_t>(picture->biWidth) * static_cast<std::size_t>(picture->biHeight);
    const auto from = std::make_shared<std::vector<std::uint8_t>>(pixels * 4, std::uint8_t{1});
    const auto to = std::make_shared<std::vector<std::uint8_t>>(pixels * 4, std::uint8_t{2});
    Add(kCopy, [=] { std::memcpy(to->data(), from->data(), to->size()); });

    AddScale("scale/half", picture->biWidth / 2, picture->biHeight / 2);
    AddScale("scale/eighth", picture->biWidth / 8, picture->biHeight / 8);
    AddScale("scale/up by a third", picture->biWidth * 4 / 3, picture->biHeight * 4 / 3);

    for (const ImageFormat format : {ImageFormat::Jpeg, ImageFormat::Png}) AddCodec(format);
}

}  // namespace kestrel::bench
