// Kestrel's own part of the benchmark. `bench_kestrel make FOLDER WIDTH HEIGHT` writes the pictures that all programs
// of the benchmark read; otherwise it takes part as Worker.h tells.
#include <hwy/highway.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "bench/Bench.h"
#include "kestrel/codec/ImageLoader.h"
#include "kestrel/foundation/Version.h"
#include "tools/SamplePicture.h"

namespace kestrel::bench {
namespace {

Picture picture, cutOut, half;

void Save(const std::string& path, const Dib* image, const Dib* mask,
          const SaveOptions& options = {.pngCompression = 0}) {
    const CodecError error = ImageLoader::Save(path, image, mask, options);
    if (error) throw std::runtime_error(path + ": " + error.text);
}

Picture Load(const std::string& path) {
    LoadResult loaded = ImageLoader::Load(path);
    if (!loaded) throw std::runtime_error(path + ": " + loaded.error.text);
    return {std::move(loaded.image), std::move(loaded.mask)};
}

/// An ellipse with a soft edge stays.
DibPtr Surroundings(int width, int height) {
    DibPtr mask(DibCreate(8, width, height));
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const double u = (2.0 * x + 1 - width) / (0.9 * width), v = (2.0 * y + 1 - height) / (0.9 * height);
            DibRow(mask.get(), y)[x] = static_cast<std::uint8_t>(std::clamp((u * u + v * v - 0.9) * 1275, 0.0, 255.0));
        }
    return mask;
}

void MakePictures(const std::string& folder, int width, int height) {
    const DibPtr tile = sample::Render(std::min(width, 750), std::min(height, 500));
    const DibPtr whole = Tile(tile.get(), width, height);
    Save(folder + "/picture.png", whole.get(), nullptr);
    Save(folder + "/half.png", Tile(tile.get(), width / 2, height / 2).get(), nullptr);
    Save(folder + "/picture.jpg", whole.get(), nullptr);
    Save(folder + "/chroma420.jpg", whole.get(), nullptr, {.chroma = ChromaSampling::S420});
    Save(folder + "/cutout.png", whole.get(), Surroundings(width, height).get());
    Save(folder + "/large.jpg", Tile(tile.get(), 2 * width, 2 * height).get(), nullptr);
    Save(folder + "/pixel.png", Tile(tile.get(), 1, 1).get(), nullptr);
}

}  // namespace

const Picture& BenchPicture() { return picture; }
const Picture& CutOutPicture() { return cutOut; }
const Picture& HalfPicture() { return half; }
bool IsDry() { return picture.Width() < 1000; }

DibPtr Tile(const Dib* tile, int width, int height) {
    DibPtr dib(DibCreate(24, width, height));
    if (!dib) throw std::bad_alloc();
    const auto fold = [](int i, int size) { return i / size % 2 ? size - 1 - i % size : i % size; };
    for (int y = 0; y < height; ++y) {
        const std::uint8_t* from = DibRow(tile, fold(y, tile->biHeight));
        std::uint8_t* to = DibRow(dib.get(), y);
        for (int x = 0; x < width; ++x) std::memcpy(to + 3 * x, from + 3 * fold(x, tile->biWidth), 3);
    }
    return dib;
}

}  // namespace kestrel::bench

int main(int argc, char** argv) try {
    using namespace kestrel::bench;
    if (argc == 5) {
        MakePictures(argv[2], std::atoi(argv[3]), std::atoi(argv[4]));
        return 0;
    }
    Worker worker(Worker::Read(argc, argv));
    if (worker.Given().avx2) hwy::DisableTargets(HWY_AVX3 | HWY_AVX3_DL);
    picture = Load(worker.Given().folder + "/picture.png");
    cutOut = Load(worker.Given().folder + "/cutout.png");
    half = Load(worker.Given().folder + "/half.png");
    AddPictures(worker);
    AddFilters(worker);
    AddDust(worker);
    AddStorage(worker);
    return worker.Run(std::string("Kestrel ") + kestrel::Version());
} catch (const std::exception& error) {
    std::cerr << "bench_kestrel: " << error.what() << "\n";
    return 1;
}
