// Any bytes as a picture file: an error or a picture, the same row by row, and a picture can be saved again.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>
#include <vector>

#include "kestrel/codec/ImageLoader.h"
#include "kestrel/codec/RowDecoder.h"

using namespace kestrel;

namespace {

void Require(bool good) {
    if (!good) std::abort();
}

void ReadRows(RowDecoder& decoder, const LoadResult& whole) {
    const auto width = static_cast<std::size_t>(decoder.Width());
    std::vector<std::uint8_t> pixels(3 * width), mask(width);
    bool any = true;
    for (int y = decoder.Height() - 1; y >= 0 && any; --y) {
        any = decoder.Read(pixels.data(), decoder.HasAlpha() ? mask.data() : nullptr);
        Require(any == (whole.image != nullptr));
        if (any) Require(std::memcmp(pixels.data(), DibRow(whole.image.get(), y), pixels.size()) == 0);
        if (any && whole.mask) Require(std::memcmp(mask.data(), DibRow(whole.mask.get(), y), width) == 0);
    }
    const LoadResult& about = decoder.Finish();
    Require(about.error.text == whole.error.text && about.condition == whole.condition);
    Require(about.warnings == whole.warnings);
}

void CompareRows(std::span<const std::uint8_t> bytes, const LoadOptions& options, const LoadResult& whole) {
    // The stream is only read.
    std::FILE* const file = fmemopen(const_cast<std::uint8_t*>(bytes.data()), bytes.size(), "rb");
    if (!file) return;
    {
        RowDecoder decoder(file, options);
        Require(!decoder.About().error || decoder.About().error.text == whole.error.text);
        if (decoder.ReadsRows()) ReadRows(decoder, whole);
    }
    std::fclose(file);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const LoadOptions options{.pixelLimit = 1 << 18};
    const LoadResult result = ImageLoader::Load(std::span(data, size), options);
    Require(bool(result.error) != (result.image != nullptr));
    Require((result.condition == Condition::Nothing) == (result.image == nullptr));
    CompareRows(std::span(data, size), options, result);
    if (!result) return 0;
    std::vector<std::uint8_t> bytes;
    const SaveOptions png{.format = ImageFormat::Png, .pngCompression = 0};
    Require(!ImageLoader::Save(bytes, result.image.get(), result.mask.get(), png));
    const LoadResult again = ImageLoader::Load(bytes);
    Require(again && (again.mask != nullptr) == MaskHidesAnything(result.mask.get()));
    return 0;
}
