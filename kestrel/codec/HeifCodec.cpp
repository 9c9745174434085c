// HEIC and AVIF by libheif, which turns the picture upright itself. Samples of more than 8 bits become bytes in one
// step, with rounding.
#include <libheif/heif.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "kestrel/codec/Codecs.h"
#include "kestrel/codec/Exif.h"
#include "kestrel/codec/IccProfile.h"
#include "kestrel/codec/SampleByte.h"
#include "kestrel/foundation/SharedLibrary.h"

namespace kestrel {
namespace {

constexpr int kLargestSide = 65535;
constexpr std::size_t kLongestBlock = 64 << 20;  // bytes; far beyond any real one
constexpr int kMostPages = 1000;

struct HeifLibrary : SharedLibrary {
    HeifLibrary() : SharedLibrary(KESTREL_HEIF_LIBRARY) {}
    KESTREL_LATE(heif_context_alloc);
    KESTREL_LATE(heif_context_free);
    KESTREL_LATE(heif_context_get_image_handle);
    KESTREL_LATE(heif_context_get_list_of_top_level_image_IDs);
    KESTREL_LATE(heif_context_get_number_of_top_level_images);
    KESTREL_LATE(heif_context_get_primary_image_ID);
    KESTREL_LATE(heif_context_read_from_memory_without_copy);
    KESTREL_LATE(heif_context_set_max_decoding_threads);
    KESTREL_LATE(heif_context_set_maximum_image_size_limit);
    KESTREL_LATE(heif_decode_image);
    KESTREL_LATE(heif_image_get_bits_per_pixel_range);
    KESTREL_LATE(heif_image_get_plane_readonly);
    KESTREL_LATE(heif_image_get_primary_height);
    KESTREL_LATE(heif_image_get_primary_width);
    KESTREL_LATE(heif_image_handle_get_color_profile_type);
    KESTREL_LATE(heif_image_handle_get_height);
    KESTREL_LATE(heif_image_handle_get_list_of_metadata_block_IDs);
    KESTREL_LATE(heif_image_handle_get_luma_bits_per_pixel);
    KESTREL_LATE(heif_image_handle_get_metadata);
    KESTREL_LATE(heif_image_handle_get_metadata_content_type);
    KESTREL_LATE(heif_image_handle_get_metadata_size);
    KESTREL_LATE(heif_image_handle_get_metadata_type);
    KESTREL_LATE(heif_image_handle_get_number_of_metadata_blocks);
    KESTREL_LATE(heif_image_handle_get_raw_color_profile);
    KESTREL_LATE(heif_image_handle_get_raw_color_profile_size);
    KESTREL_LATE(heif_image_handle_get_width);
    KESTREL_LATE(heif_image_handle_has_alpha_channel);
    KESTREL_LATE(heif_image_handle_is_premultiplied_alpha);
    KESTREL_LATE(heif_image_handle_release);
    KESTREL_LATE(heif_image_release);

    /// Null when it is not installed.
    static const HeifLibrary* Get() {
        static const HeifLibrary library;
        return library.IsThere() ? &library : nullptr;
    }
};

struct Deleter {
    void operator()(heif_context* context) const { HeifLibrary::Get()->heif_context_free(context); }
    void operator()(heif_image_handle* handle) const { HeifLibrary::Get()->heif_image_handle_release(handle); }
    void operator()(heif_image* image) const { HeifLibrary::Get()->heif_image_release(image); }
};

bool Failed(const heif_error& error, LoadResult& result) {
    if (error.code == heif_error_Ok) return false;
    const bool missing = error.code == heif_error_Unsupported_feature || error.code == heif_error_Unsupported_filetype;
    const bool memory = error.code == heif_error_Memory_allocation_error;
    result.error = {memory    ? CodecFault::NoMemory
                    : missing ? CodecFault::NotSupported
                              : CodecFault::Broken,
                    error.message ? error.message : "the file is damaged"};
    return true;
}

class Reader {
public:
    Reader(const HeifLibrary& library, std::span<const std::uint8_t> bytes, LoadResult& result)
        : library_(library), bytes_(bytes), result_(result), context_(library.heif_context_alloc()) {
        if (!context_) throw std::bad_alloc();
        library.heif_context_set_max_decoding_threads(context_.get(), 0);
        library.heif_context_set_maximum_image_size_limit(context_.get(), kLargestSide);
    }

    bool Open(const LoadOptions& options);
    void TakeMetadata();
    bool Decode(const LoadOptions& options);

private:
    heif_item_id Page(int page);
    std::vector<std::uint8_t> Block(heif_item_id id);
    void LayLine(const std::uint8_t* from, int y, int bits) const;

    const HeifLibrary& library_;
    std::span<const std::uint8_t> bytes_;
    LoadResult& result_;
    std::unique_ptr<heif_context, Deleter> context_;
    std::unique_ptr<heif_image_handle, Deleter> handle_;
    bool alpha_ = false;
};

/// The main picture is page 0; the others follow in the order of the file.
heif_item_id Reader::Page(int page) {
    std::vector<heif_item_id> ids(static_cast<std::size_t>(result_.pages));
    ids.resize(static_cast<std::size_t>(
        std::max(library_.heif_context_get_list_of_top_level_image_IDs(context_.get(), ids.data(), result_.pages), 0)));
    heif_item_id main = 0;
    if (library_.heif_context_get_primary_image_ID(context_.get(), &main).code == heif_error_Ok)
        if (const auto found = std::ranges::find(ids, main); found != ids.end())
            std::rotate(ids.begin(), found, found + 1);
    return static_cast<std::size_t>(page) < ids.size() ? ids[static_cast<std::size_t>(page)] : main;
}

bool Reader::Open(const LoadOptions& options) {
    if (Failed(
            library_.heif_context_read_from_memory_without_copy(context_.get(), bytes_.data(), bytes_.size(), nullptr),
            result_))
        return false;
    result_.pages = std::clamp(library_.heif_context_get_number_of_top_level_images(context_.get()), 1, kMostPages);
    if (!HasPage(options, result_)) return false;
    heif_image_handle* handle = nullptr;
    const heif_error error = library_.heif_context_get_image_handle(context_.get(), Page(options.page), &handle);
    handle_.reset(handle);
    if (Failed(error, result_)) return false;
    result_.fullWidth = library_.heif_image_handle_get_width(handle);
    result_.fullHeight = library_.heif_image_handle_get_height(handle);
    alpha_ = library_.heif_image_handle_has_alpha_channel(handle) != 0;
    result_.hasAlpha = alpha_;
    return SizeIsAllowed(result_.fullWidth, result_.fullHeight, bytes_.size(), options, result_);
}

std::vector<std::uint8_t> Reader::Block(heif_item_id id) {
    const std::size_t size = library_.heif_image_handle_get_metadata_size(handle_.get(), id);
    std::vector<std::uint8_t> bytes(size <= kLongestBlock ? size : 0);
    if (bytes.empty() || library_.heif_image_handle_get_metadata(handle_.get(), id, bytes.data()).code != heif_error_Ok)
        bytes.clear();
    return bytes;
}

void Reader::TakeMetadata() {
    ImageMetadata& metadata = result_.metadata;
    std::vector<heif_item_id> ids(static_cast<std::size_t>(
        std::clamp(library_.heif_image_handle_get_number_of_metadata_blocks(handle_.get(), nullptr), 0, kMostPages)));
    const int count = library_.heif_image_handle_get_list_of_metadata_block_IDs(handle_.get(), nullptr, ids.data(),
                                                                                static_cast<int>(ids.size()));
    ids.resize(static_cast<std::size_t>(std::clamp(count, 0, static_cast<int>(ids.size()))));
    for (const heif_item_id id : ids) {
        const char* const type = library_.heif_image_handle_get_metadata_type(handle_.get(), id);
        const char* const content = library_.heif_image_handle_get_metadata_content_type(handle_.get(), id);
        if (type && std::strcmp(type, "Exif") == 0 && metadata.exif.empty()) {
            // Four bytes tell how many others stand before the byte order mark.
            const std::vector<std::uint8_t> block = Block(id);
            if (block.size() < 4) continue;
            const std::size_t skip = 4 + (std::size_t{block[0]} << 24 | std::size_t{block[1]} << 16 |
                                          std::size_t{block[2]} << 8 | std::size_t{block[3]});
            const auto data = WithoutExifMark(std::span(block).subspan(std::min(skip, block.size())));
            metadata.exif.assign(data.begin(), data.end());
            ResetExifOrientation(metadata.exif);  // only the file's own turns count
        } else if (content && std::strcmp(content, "application/rdf+xml") == 0 && metadata.xmp.empty()) {
            metadata.xmp = Block(id);
        }
    }
    const auto kind = library_.heif_image_handle_get_color_profile_type(handle_.get());
    if (kind != heif_color_profile_type_rICC && kind != heif_color_profile_type_prof) return;
    const std::size_t size = library_.heif_image_handle_get_raw_color_profile_size(handle_.get());
    std::vector<std::uint8_t> profile(size <= kLongestBlock ? size : 0);
    if (profile.empty() ||
        library_.heif_image_handle_get_raw_color_profile(handle_.get(), profile.data()).code != heif_error_Ok)
        return;
    TakeProfile(profile, result_);
}

/// Red, green, blue and maybe alpha, as bytes or as little-endian numbers of 16 bits, to the row they belong to.
void Reader::LayLine(const std::uint8_t* from, int y, int bits) const {
    const int row = result_.image->biHeight - 1 - y;
    std::uint8_t* to = DibRow(result_.image.get(), row);
    std::uint8_t* hidden = alpha_ ? DibRow(result_.mask.get(), row) : nullptr;
    const std::uint32_t largest = (1u << bits) - 1;
    const auto next = [&]() -> std::uint8_t {
        if (bits == 8) return *from++;
        const std::uint32_t value = std::min(from[0] | std::uint32_t{from[1]} << 8, largest);
        from += 2;
        return SampleByte(value, largest);
    };
    for (int x = 0; x < result_.image->biWidth; ++x, to += 3) {
        for (int c = 2; c >= 0; --c) to[c] = next();
        if (hidden) hidden[x] = static_cast<std::uint8_t>(255 - next());
    }
}

/// Colours that were multiplied with their alpha are divided by it.
void Divide(LoadResult& result) {
    for (int row = 0; row < result.image->biHeight; ++row) {
        std::uint8_t* color = DibRow(result.image.get(), row);
        const std::uint8_t* hidden = DibRow(result.mask.get(), row);
        for (int x = 0; x < result.image->biWidth; ++x, color += 3) {
            const unsigned alpha = 255u - hidden[x];
            for (int c = 0; c < 3 && alpha > 0; ++c) color[c] = SampleByte(color[c], alpha);
        }
    }
}

bool Reader::Decode(const LoadOptions& options) {
    const bool deep = library_.heif_image_handle_get_luma_bits_per_pixel(handle_.get()) > 8;
    const heif_chroma form = deep     ? alpha_ ? heif_chroma_interleaved_RRGGBBAA_LE : heif_chroma_interleaved_RRGGBB_LE
                             : alpha_ ? heif_chroma_interleaved_RGBA
                                      : heif_chroma_interleaved_RGB;
    heif_image* decoded = nullptr;
    const heif_error error = library_.heif_decode_image(handle_.get(), &decoded, heif_colorspace_RGB, form, nullptr);
    const std::unique_ptr<heif_image, Deleter> image(decoded);
    if (Failed(error, result_)) return false;
    int stride = 0;
    const std::uint8_t* pixels = library_.heif_image_get_plane_readonly(decoded, heif_channel_interleaved, &stride);
    const int bits = deep ? library_.heif_image_get_bits_per_pixel_range(decoded, heif_channel_interleaved) : 8;
    if (!pixels || stride <= 0 || bits < 8 || bits > 16) {
        result_.error = {CodecFault::Broken, "the decoder returned no pixels"};
        return false;
    }
    if (!MakePlanes(library_.heif_image_get_primary_width(decoded), library_.heif_image_get_primary_height(decoded),
                    alpha_, bytes_.size(), options, result_))
        return false;
    for (int y = 0; y < result_.image->biHeight; ++y)
        LayLine(pixels + static_cast<std::size_t>(y) * static_cast<std::size_t>(stride), y, bits);
    if (alpha_ && library_.heif_image_handle_is_premultiplied_alpha(handle_.get())) Divide(result_);
    return true;
}

}  // namespace

void LoadHeif(ByteReader& source, const LoadOptions& options, LoadResult& result) {
    const HeifLibrary* library = HeifLibrary::Get();
    if (!library) {
        result.error = {CodecFault::NotSupported,
                        std::string(FormatName(result.format)) + " files need the library " KESTREL_HEIF_LIBRARY};
        return;
    }
    const std::vector<std::uint8_t> bytes = ReadRest(source);
    Reader reader(*library, bytes, result);
    if (!reader.Open(options)) return;
    reader.TakeMetadata();
    if (!options.sizeOnly) reader.Decode(options);
}

}  // namespace kestrel
