// What is done with whole pictures outside of filters, and the plain copy that everything is compared to.
#include <cstring>
#include <memory>
#include <stdexcept>
#include <vector>

#include "bench/Bench.h"
#include "kestrel/codec/ImageLoader.h"

namespace kestrel::bench {
namespace {

void AddScale(Worker& worker, const char* name, int width, int height) {
    worker.Add<DibPtr>(name, "DibScale", [=](DibPtr& out) {
        out.reset();
        out.reset(DibScale(BenchPicture().image.get(), width, height));
        if (!out) throw std::runtime_error("no memory");
    });
}

/// Encoding from the picture's rows into memory, and decoding what that made.
void AddCodec(Worker& worker, const SaveOptions& options) {
    const auto file = std::make_shared<std::vector<std::uint8_t>>();
    const auto encode = [=] {
        file->clear();
        const CodecError error = ImageLoader::Save(*file, BenchPicture().image.get(), nullptr, options);
        if (error) throw std::runtime_error(error.text);
    };
    worker.Add(std::string("codec/encode ") + FormatName(options.format), "ImageLoader::Save", encode);
    worker.Add(std::string("codec/decode ") + FormatName(options.format), "ImageLoader::Load", [=] {
        if (file->empty()) encode();
        const LoadResult loaded = ImageLoader::Load(*file);
        if (!loaded) throw std::runtime_error(loaded.error.text);
    });
}

}  // namespace

void AddPictures(Worker& worker) {
    const Dib* picture = BenchPicture().image.get();
    const std::size_t size = DibRowSize(picture) * static_cast<std::size_t>(picture->biHeight);
    worker.Add<std::vector<std::uint8_t>>("line/copy", "memcpy", [=](auto& out) {
        out.resize(size);
        std::memcpy(out.data(), DibRow(picture, 0), size);
    });
    AddScale(worker, "scale/half", picture->biWidth / 2, picture->biHeight / 2);
    AddScale(worker, "scale/eighth", picture->biWidth / 8, picture->biHeight / 8);
    AddScale(worker, "scale/up by a third", picture->biWidth * 4 / 3, picture->biHeight * 4 / 3);
    AddCodec(worker, {.format = ImageFormat::Jpeg, .chroma = ChromaSampling::S420});
    AddCodec(worker, {.format = ImageFormat::Png});
}

}  // namespace kestrel::bench
