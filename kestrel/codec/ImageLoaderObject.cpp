// The loader as an object: options first, decoding with the first question.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <tuple>
#include <utility>

#include "kestrel/codec/ImageLoader.h"

namespace kestrel {
namespace {

constexpr double kNeutralBrightness = 0.6;

}  // namespace

struct ImageLoader::State {
    // Where the picture comes from: one of these.
    std::string path{};
    std::FILE* file = nullptr;
    std::span<const std::uint8_t> bytes{};
    bool reads = false;

    ImageFormat type = ImageFormat::Unknown;
    bool fromMemory = false;
    bool reduced = false;
    bool decoded = false;
    bool kept = false;
    LoadOptions options{};
    LoadResult result{};
    CodecError error{};

    Dib* image = nullptr;
    const Dib* mask = nullptr;
    SaveOptions save{};
    ImageMetadata metadata{};

    void Decode();
    LoadResult LoadFile() const;
    CodecError Encode(const auto& to, int type);
};

LoadResult ImageLoader::State::LoadFile() const {
    if (!file && path.empty()) return ImageLoader::Load(bytes, options);
    if (file) return ImageLoader::Load(file, options);
    if (!fromMemory) return ImageLoader::Load(path, options);
    std::vector<std::uint8_t> all;
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> opened(std::fopen(path.c_str(), "rbe"), std::fclose);
    if (!opened) return ImageLoader::Load(path, options);  // its error says why
    std::uint8_t block[1 << 16];
    for (std::size_t got; (got = std::fread(block, 1, sizeof block, opened.get())) > 0;) {
        if (all.size() + got > options.inputLimit) return ImageLoader::Load(path, options);
        all.insert(all.end(), block, block + got);
    }
    return ImageLoader::Load(all, options);
}

void ImageLoader::State::Decode() {
    if (std::exchange(decoded, true) || !reads) return;
    if (!reduced) options.preferredWidth = options.preferredHeight = 0;
    options.named = type;
    result = LoadFile();
    error = result.error;
}

CodecError ImageLoader::State::Encode(const auto& to, int number) {
    save.format = static_cast<ImageFormat>(number);
    save.metadata = &metadata;
    DibPtr converted;
    if (image && image->biBitCount != 24) converted.reset(Make24BitDib(image));
    const Dib* const fitting = FormatHoldsAlpha(save.format) ? mask : nullptr;
    return error = to(converted ? converted.get() : image, fitting);
}

ImageLoader::ImageLoader(bool) : state_(std::make_unique<State>()) {}
ImageLoader::ImageLoader(const char* path, long type, bool fromMemory, bool reduced) : ImageLoader() {
    state_->path = path ? path : "";
    state_->reads = true;
    state_->type = FindFormat(static_cast<ImageFormat>(type)) ? static_cast<ImageFormat>(type) : ImageFormat::Unknown;
    state_->fromMemory = fromMemory;
    state_->reduced = reduced;
}
ImageLoader::ImageLoader(std::FILE* file, bool reduced) : ImageLoader() {
    state_->file = file;
    state_->reads = true;
    state_->reduced = reduced;
}
ImageLoader::ImageLoader(std::span<const std::uint8_t> bytes, bool reduced) : ImageLoader() {
    state_->bytes = bytes;
    state_->reads = true;
    state_->reduced = reduced;
}

ImageLoader::~ImageLoader() {
    if (!state_->kept) return;
    std::ignore = state_->result.image.release();  // the caller's
    std::ignore = state_->result.mask.release();
}

void ImageLoader::PreferedLoadingSize(int width, int height) {
    state_->options.preferredWidth = width;
    state_->options.preferredHeight = height;
}

void ImageLoader::SetLimits(const LoadOptions& limits) {
    state_->options.pixelLimit = limits.pixelLimit;
    state_->options.expansionLimit = limits.expansionLimit;
    state_->options.scanLimit = limits.scanLimit;
    state_->options.inputLimit = limits.inputLimit;
}

void ImageLoader::SetRawVersion(int) {}

void ImageLoader::RAW_SetWhitebalance(const std::uint8_t* flags, const double* multipliers) {
    RawDevelopment& raw = state_->options.raw;
    raw.cameraWhiteBalance = flags[0] != 0;
    raw.automaticWhiteBalance = flags[1] != 0;
    raw.automaticBrightness = flags[2] != 0;
    std::copy_n(multipliers, 4, raw.multipliers);
}

void ImageLoader::RAW_SetBrightness(double factor) {
    if (factor > 0) state_->options.raw.brightness = factor / kNeutralBrightness;
}

void ImageLoader::RAW_Initialize() { state_->options.raw = {}; }

int ImageLoader::HadError() {
    state_->Decode();
    return state_->error ? 1 : 0;
}

const CodecError& ImageLoader::Error() const { return state_->error; }

bool ImageLoader::Damaged() {
    state_->Decode();
    return state_->result.condition == Condition::Damaged;
}

const std::vector<std::string>& ImageLoader::Warnings() {
    state_->Decode();
    return state_->result.warnings;
}

int ImageLoader::Width() {
    state_->Decode();
    return static_cast<int>(state_->result.fullWidth);
}

int ImageLoader::Height() {
    state_->Decode();
    return static_cast<int>(state_->result.fullHeight);
}

int ImageLoader::GetType() {
    state_->Decode();
    return static_cast<int>(state_->result.format);
}

int ImageLoader::GetType(const void* bytes, int size) {
    if (!bytes || size <= 0) return 0;
    return static_cast<int>(FormatOfContent({static_cast<const std::uint8_t*>(bytes), static_cast<std::size_t>(size)}));
}

int ImageLoader::GetType(std::FILE* file) {
    const off_t position = file ? ftello(file) : -1;
    if (position < 0) return 0;
    std::uint8_t start[kFormatBytes];
    const std::size_t size = std::fread(start, 1, sizeof start, file);
    if (fseeko(file, position, SEEK_SET) != 0) return 0;
    return GetType(start, static_cast<int>(size));
}

bool ImageLoader::IsImage(const char* name, long) { return name && FormatOfPath(name) != ImageFormat::Unknown; }

bool ImageLoader::IsPolyViewFaster(const char* path, bool* fromMemory) {
    const ImageFormat format = path ? FormatOfPath(path) : ImageFormat::Unknown;
    if (fromMemory) *fromMemory = format != ImageFormat::Psd && format != ImageFormat::PhotoCd;
    return format == ImageFormat::Jpeg || format == ImageFormat::Raw;
}

Dib* ImageLoader::ImageDIB() {
    state_->Decode();
    return state_->result.image.get();
}

Dib* ImageLoader::MaskDIB() {
    state_->Decode();
    return state_->result.mask.get();
}

void ImageLoader::KeepDibMemory() {
    state_->Decode();
    state_->kept = true;
}

const ImageMetadata& ImageLoader::Metadata() {
    state_->Decode();
    return state_->result.metadata;
}

void ImageLoader::SetImage(Dib* image) { state_->image = image; }
void ImageLoader::SetMask(const Dib* mask) { state_->mask = mask; }

void ImageLoader::PutExifData(const void* bytes, std::size_t size) {
    const auto* const from = static_cast<const std::uint8_t*>(bytes);
    state_->metadata.exif.assign(from, from + (bytes ? size : 0));
}

void ImageLoader::PutIPTCData(const void* bytes, std::size_t size) {
    const auto* const from = static_cast<const std::uint8_t*>(bytes);
    state_->metadata.iptc.assign(from, from + (bytes ? size : 0));
}

void ImageLoader::PutMetadata(const ImageMetadata& metadata) { state_->metadata = metadata; }
void ImageLoader::SetJpgQuality(int quality) { state_->save.jpegQuality = quality; }

bool ImageLoader::Save(std::FILE* file, int type) {
    return !state_->Encode([&](const Dib* image, const Dib* mask) { return Save(file, image, mask, state_->save); },
                           type);
}

bool ImageLoader::Save(std::vector<std::uint8_t>& bytes, int type) {
    return !state_->Encode([&](const Dib* image, const Dib* mask) { return Save(bytes, image, mask, state_->save); },
                           type);
}

}  // namespace kestrel
