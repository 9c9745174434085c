// JPEG 2000 by OpenJPEG, which decodes into 32-bit planes; samples become bytes in one step, with rounding.
#include <openjpeg.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "kestrel/codec/Codecs.h"
#include "kestrel/codec/Exif.h"
#include "kestrel/codec/IccProfile.h"
#include "kestrel/codec/Jp2Boxes.h"
#include "kestrel/codec/MemoryTarget.h"
#include "kestrel/codec/SampleByte.h"
#include "kestrel/foundation/SharedLibrary.h"

namespace kestrel {
namespace {

constexpr unsigned kMostPlanes = 8;
constexpr unsigned kDeepest = 31;   // bits of a sample
constexpr int kMostReductions = 3;  // to an eighth

struct Jpeg2000Library : SharedLibrary {
    Jpeg2000Library() : SharedLibrary(KESTREL_JPEG2000_LIBRARY) {}
    KESTREL_LATE(opj_create_compress);
    KESTREL_LATE(opj_create_decompress);
    KESTREL_LATE(opj_decode);
    KESTREL_LATE(opj_decoder_set_strict_mode);
    KESTREL_LATE(opj_destroy_codec);
    KESTREL_LATE(opj_destroy_cstr_info);
    KESTREL_LATE(opj_encode);
    KESTREL_LATE(opj_end_compress);
    KESTREL_LATE(opj_get_cstr_info);
    KESTREL_LATE(opj_image_create);
    KESTREL_LATE(opj_image_destroy);
    KESTREL_LATE(opj_read_header);
    KESTREL_LATE(opj_set_decoded_resolution_factor);
    KESTREL_LATE(opj_set_default_decoder_parameters);
    KESTREL_LATE(opj_set_default_encoder_parameters);
    KESTREL_LATE(opj_set_error_handler);
    KESTREL_LATE(opj_set_warning_handler);
    KESTREL_LATE(opj_setup_decoder);
    KESTREL_LATE(opj_setup_encoder);
    KESTREL_LATE(opj_start_compress);
    KESTREL_LATE(opj_stream_create);
    KESTREL_LATE(opj_stream_destroy);
    KESTREL_LATE(opj_stream_set_read_function);
    KESTREL_LATE(opj_stream_set_seek_function);
    KESTREL_LATE(opj_stream_set_skip_function);
    KESTREL_LATE(opj_stream_set_user_data);
    KESTREL_LATE(opj_stream_set_user_data_length);
    KESTREL_LATE(opj_stream_set_write_function);

    /// Null when it is not installed.
    static const Jpeg2000Library* Get() {
        static const Jpeg2000Library library;
        return library.IsThere() ? &library : nullptr;
    }
};

CodecError Missing() {
    return {CodecFault::NotSupported, "JPEG 2000 files need the library " KESTREL_JPEG2000_LIBRARY};
}

struct CodecEnd {
    void operator()(void* codec) const { Jpeg2000Library::Get()->opj_destroy_codec(static_cast<opj_codec_t*>(codec)); }
};
struct StreamEnd {
    void operator()(void* stream) const {
        Jpeg2000Library::Get()->opj_stream_destroy(static_cast<opj_stream_t*>(stream));
    }
};
struct ImageEnd {
    void operator()(opj_image_t* image) const { Jpeg2000Library::Get()->opj_image_destroy(image); }
};
using CodecPtr = std::unique_ptr<opj_codec_t, CodecEnd>;
using StreamPtr = std::unique_ptr<opj_stream_t, StreamEnd>;
using ImagePtr = std::unique_ptr<opj_image_t, ImageEnd>;

/// The first thing that the library said of each kind, without its line end.
struct Messages {
    std::string error{}, warning{};

    void Listen(const Jpeg2000Library& library, opj_codec_t* codec) {
        library.opj_set_error_handler(
            codec, [](const char* text, void* to) { Keep(text, to); }, &error);
        library.opj_set_warning_handler(
            codec, [](const char* text, void* to) { Keep(text, to); }, &warning);
    }

private:
    static void Keep(const char* text, void* to) {
        auto& kept = *static_cast<std::string*>(to);
        if (!kept.empty() || !text) return;
        kept = text;
        while (!kept.empty() && (kept.back() == '\n' || kept.back() == '\r')) kept.pop_back();
    }
};

// Reading ------------------------------------------------------------------------------------------------------------

/// The file as the library reads it.
struct Source {
    std::span<const std::uint8_t> bytes;
    std::size_t position = 0;

    static OPJ_SIZE_T Read(void* to, OPJ_SIZE_T count, void* user) {
        auto* source = static_cast<Source*>(user);
        const std::size_t part = std::min(count, source->bytes.size() - source->position);
        if (part == 0) return static_cast<OPJ_SIZE_T>(-1);
        std::memcpy(to, source->bytes.data() + source->position, part);
        source->position += part;
        return part;
    }
    static OPJ_OFF_T Skip(OPJ_OFF_T count, void* user) {
        auto* source = static_cast<Source*>(user);
        const auto left = static_cast<OPJ_OFF_T>(source->bytes.size() - source->position);
        if (count < 0 || left == 0) return -1;
        source->position += static_cast<std::size_t>(std::min(count, left));
        return std::min(count, left);
    }
    static OPJ_BOOL Seek(OPJ_OFF_T position, void* user) {
        auto* source = static_cast<Source*>(user);
        if (position < 0 || static_cast<std::size_t>(position) > source->bytes.size()) return OPJ_FALSE;
        source->position = static_cast<std::size_t>(position);
        return OPJ_TRUE;
    }
};

constexpr std::uint8_t kStartOfData[] = {0xFF, 0x93};
constexpr std::uint8_t kEndOfCodestream[] = {0xFF, 0xD9};

/// Does a file break off just before a tile's data? The library then takes the end of the file for a length and reads
/// memory that is not its own; it needs some bytes more.
bool EndsBeforeData(std::span<const std::uint8_t> bytes) {
    return bytes.size() >= std::size(kStartOfData) &&
           std::ranges::equal(bytes.last(std::size(kStartOfData)), kStartOfData);
}

class Reader {
public:
    Reader(const Jpeg2000Library& library, std::span<const std::uint8_t> bytes) : library_(library), source_{bytes} {}

    bool ReadHeader();
    bool Decode(int reductions);
    /// How often the size can be halved.
    int Reductions() const;
    opj_image_t& Image() { return *image_; }
    const Messages& Said() const { return messages_; }

private:
    const Jpeg2000Library& library_;
    Source source_;
    Messages messages_;
    CodecPtr codec_;
    StreamPtr stream_;
    ImagePtr image_;
};

bool Reader::ReadHeader() {
    const bool bare = source_.bytes.size() > 1 && source_.bytes[0] == 0xFF;
    codec_.reset(library_.opj_create_decompress(bare ? OPJ_CODEC_J2K : OPJ_CODEC_JP2));
    stream_.reset(library_.opj_stream_create(1 << 16, OPJ_TRUE));
    if (!codec_ || !stream_) throw std::bad_alloc();
    messages_.Listen(library_, codec_.get());
    library_.opj_stream_set_user_data(stream_.get(), &source_, nullptr);
    library_.opj_stream_set_user_data_length(stream_.get(), source_.bytes.size());
    library_.opj_stream_set_read_function(stream_.get(), Source::Read);
    library_.opj_stream_set_skip_function(stream_.get(), Source::Skip);
    library_.opj_stream_set_seek_function(stream_.get(), Source::Seek);
    opj_dparameters_t parameters;
    library_.opj_set_default_decoder_parameters(&parameters);
    if (!library_.opj_setup_decoder(codec_.get(), &parameters)) return false;
    library_.opj_decoder_set_strict_mode(codec_.get(), OPJ_FALSE);  // what there is of a file that breaks off
    opj_image_t* image = nullptr;
    const bool read = library_.opj_read_header(stream_.get(), codec_.get(), &image);
    image_.reset(image);
    return read && image;
}

int Reader::Reductions() const {
    opj_codestream_info_v2_t* info = library_.opj_get_cstr_info(codec_.get());
    if (!info) return 0;
    unsigned levels = kMostReductions + 1;
    for (unsigned i = 0; i < info->nbcomps && info->m_default_tile_info.tccp_info; ++i)
        levels = std::min<unsigned>(levels, info->m_default_tile_info.tccp_info[i].numresolutions);
    library_.opj_destroy_cstr_info(&info);
    return levels == 0 ? 0 : static_cast<int>(levels) - 1;
}

bool Reader::Decode(int reductions) {
    return library_.opj_set_decoded_resolution_factor(codec_.get(), static_cast<OPJ_UINT32>(reductions)) &&
           library_.opj_decode(codec_.get(), stream_.get(), image_.get());
}

/// A plane's samples as numbers from 0 to `largest`.
class Plane {
public:
    /// `width` x `height` is the size of the picture, of which the plane may have every second sample only.
    Plane(const opj_image_comp_t& component, std::size_t width, std::size_t height)
        : component_(component),
          largest_((std::uint64_t{1} << component.prec) - 1),
          across_((width + component.w - 1) / component.w),
          down_((height + component.h - 1) / component.h) {}

    std::uint64_t Largest() const { return largest_; }
    std::uint64_t At(std::size_t x, std::size_t y) const {
        const std::size_t column = std::min<std::size_t>(x / across_, component_.w - 1);
        const std::size_t row = std::min<std::size_t>(y / down_, component_.h - 1);
        std::int64_t value = component_.data[row * component_.w + column];
        if (component_.sgnd) value += std::int64_t{1} << (component_.prec - 1);
        return static_cast<std::uint64_t>(std::clamp<std::int64_t>(value, 0, static_cast<std::int64_t>(largest_)));
    }
    std::uint8_t Byte(std::size_t x, std::size_t y) const { return SampleByte(At(x, y), largest_); }

private:
    const opj_image_comp_t& component_;
    std::uint64_t largest_;
    std::size_t across_, down_;
};

/// What the planes mean.
struct Form {
    enum Colors { kGray, kRgb, kYcc, kInk } colors = kGray;
    int alpha = -1;  ///< number of the plane, or -1
    bool premultiplied = false;

    std::size_t Count() const { return colors == kGray ? 1 : colors == kInk ? 4 : 3; }
};

Form FormOf(const opj_image_t& image) {
    Form form;
    int plain = 0;
    for (unsigned i = 0; i < image.numcomps; ++i) {
        if (image.comps[i].alpha == 0) {
            ++plain;
        } else if (form.alpha < 0) {
            form.alpha = static_cast<int>(i);
            form.premultiplied = image.comps[i].alpha == 2;
        }
    }
    const bool halved = plain >= 3 && image.comps[1].dx > image.comps[0].dx;
    if (plain >= 4 && image.color_space == OPJ_CLRSPC_CMYK)
        form.colors = Form::kInk;
    else if (plain >= 3)
        form.colors = image.color_space == OPJ_CLRSPC_SYCC || image.color_space == OPJ_CLRSPC_EYCC || halved
                          ? Form::kYcc
                          : Form::kRgb;
    return form;
}

CodecError CheckPlanes(const opj_image_t& image) {
    const auto unsupported = [](const std::string& what) {
        return CodecError{CodecFault::NotSupported, "JPEG 2000 files " + what + " are not read"};
    };
    if (image.numcomps < 1 || image.numcomps > kMostPlanes)
        return unsupported("of " + std::to_string(image.numcomps) + " planes");
    for (unsigned i = 0; i < image.numcomps; ++i)
        if (image.comps[i].prec < 1 || image.comps[i].prec > kDeepest)
            return unsupported("of " + std::to_string(image.comps[i].prec) + " bits per sample");
    return {};
}

/// Luminance and two differences of colour, each with its zero in the middle, to blue, green and red.
void LayYcc(const double* from, std::uint8_t* to) {
    const double y = from[0], blue = from[1] - 0.5, red = from[2] - 0.5;
    const double colors[] = {y + 1.772 * blue, y - 0.344136 * blue - 0.714136 * red, y + 1.402 * red};
    for (int c = 0; c < 3; ++c) to[c] = static_cast<std::uint8_t>(std::clamp(colors[c], 0.0, 1.0) * 255 + 0.5);
}

void LayPixel(const Form& form, const std::vector<Plane>& planes, std::size_t x, std::size_t y, std::uint8_t* to) {
    if (form.colors == Form::kGray) {
        std::memset(to, planes[0].Byte(x, y), 3);
    } else if (form.colors == Form::kRgb) {
        for (std::size_t c = 0; c < 3; ++c) to[2 - c] = planes[c].Byte(x, y);
    } else {
        double parts[4];
        for (std::size_t c = 0; c < form.Count(); ++c)
            parts[c] = static_cast<double>(planes[c].At(x, y)) / static_cast<double>(planes[c].Largest());
        if (form.colors == Form::kYcc) return LayYcc(parts, to);
        for (std::size_t c = 0; c < 3; ++c)
            to[2 - c] = static_cast<std::uint8_t>((1 - parts[c]) * (1 - parts[3]) * 255 + 0.5);
    }
}

void LayPixels(const opj_image_t& image, const Form& form, LoadResult& result) {
    const auto width = static_cast<std::size_t>(result.image->biWidth);
    const auto height = static_cast<std::size_t>(result.image->biHeight);
    std::vector<Plane> planes;
    for (unsigned i = 0; i < image.numcomps; ++i) planes.emplace_back(image.comps[i], width, height);
    for (std::size_t y = 0; y < height; ++y) {
        const int row = static_cast<int>(height - 1 - y);
        std::uint8_t* to = DibRow(result.image.get(), row);
        std::uint8_t* hidden = result.mask ? DibRow(result.mask.get(), row) : nullptr;
        for (std::size_t x = 0; x < width; ++x, to += 3) {
            LayPixel(form, planes, x, y, to);
            if (!hidden) continue;
            const unsigned alpha = planes[static_cast<std::size_t>(form.alpha)].Byte(x, y);
            hidden[x] = static_cast<std::uint8_t>(255 - alpha);
            if (form.premultiplied && alpha > 0)
                for (int c = 0; c < 3; ++c) to[c] = SampleByte(to[c], alpha);
        }
    }
}

void TakeMetadata(std::span<const std::uint8_t> bytes, LoadResult& result) {
    const auto profile = ReadJp2Boxes(bytes, result.metadata);
    ResetExifOrientation(result.metadata.exif);  // the pixels lie upright whatever the camera said
    TakeProfile(profile, result);
}

/// How often the size is to be halved, so that no side falls below what is asked for.
int ReductionsFor(std::int64_t width, std::int64_t height, int possible, const LoadOptions& options) {
    int reductions = 0;
    if (options.preferredWidth > 0 && options.preferredHeight > 0)
        while (reductions < possible && width >> (reductions + 1) >= options.preferredWidth &&
               height >> (reductions + 1) >= options.preferredHeight)
            ++reductions;
    return reductions;
}

// Writing ------------------------------------------------------------------------------------------------------------

struct Target : MemoryTarget {
    static OPJ_SIZE_T Put(void* from, OPJ_SIZE_T count, void* user) {
        return static_cast<Target*>(user)->Write(from, count) ? count : static_cast<OPJ_SIZE_T>(-1);
    }
    static OPJ_OFF_T Skip(OPJ_OFF_T count, void* user) {
        static_cast<Target*>(user)->position += static_cast<std::uint64_t>(count);
        return count;
    }
    static OPJ_BOOL Seek(OPJ_OFF_T position, void* user) {
        static_cast<Target*>(user)->position = static_cast<std::uint64_t>(position);
        return OPJ_TRUE;
    }
};

ImagePtr PlanesOf(const Jpeg2000Library& library, const Dib* image, const Dib* mask) {
    const auto width = static_cast<OPJ_UINT32>(image->biWidth), height = static_cast<OPJ_UINT32>(image->biHeight);
    const unsigned count = mask ? 4 : 3;
    opj_image_cmptparm_t parameters[4] = {};
    for (auto& plane : parameters) {
        plane.dx = plane.dy = 1;
        plane.w = width;
        plane.h = height;
        plane.prec = 8;
    }
    ImagePtr planes(library.opj_image_create(count, parameters, OPJ_CLRSPC_SRGB));
    if (!planes) return nullptr;
    planes->x1 = width;
    planes->y1 = height;
    if (mask) planes->comps[3].alpha = 1;
    std::size_t at = 0;
    for (int row = image->biHeight - 1; row >= 0; --row) {
        const std::uint8_t* from = DibRow(image, row);
        const std::uint8_t* hidden = mask ? DibRow(mask, row) : nullptr;
        for (std::size_t x = 0; x < width; ++x, ++at, from += 3) {
            for (std::size_t c = 0; c < 3; ++c) planes->comps[c].data[at] = from[2 - c];
            if (hidden) planes->comps[3].data[at] = 255 - hidden[x];
        }
    }
    return planes;
}

}  // namespace

void LoadJpeg2000(ByteReader& source, const LoadOptions& options, LoadResult& result) {
    const Jpeg2000Library* library = Jpeg2000Library::Get();
    if (!library) {
        result.error = Missing();
        return;
    }
    std::vector<std::uint8_t> bytes = ReadRest(source);
    if (EndsBeforeData(bytes)) bytes.insert(bytes.end(), std::begin(kEndOfCodestream), std::end(kEndOfCodestream));
    Reader reader(*library, bytes);
    const auto broken = [&] {
        result.error = {CodecFault::Broken, reader.Said().error.empty() ? "the file is damaged" : reader.Said().error};
    };
    if (!TilesArePlausible(bytes) || !reader.ReadHeader()) return broken();
    const std::int64_t width = std::int64_t{reader.Image().x1} - reader.Image().x0;
    const std::int64_t height = std::int64_t{reader.Image().y1} - reader.Image().y0;
    if (!SizeIsAllowed(width, height, bytes.size(), options, result)) return;
    result.error = CheckPlanes(reader.Image());
    if (result.error) return;
    result.fullWidth = width;
    result.fullHeight = height;
    TakeMetadata(bytes, result);
    if (options.sizeOnly) return;
    if (!reader.Decode(ReductionsFor(width, height, reader.Reductions(), options))) return broken();
    const opj_image_t& image = reader.Image();
    for (unsigned i = 0; i < image.numcomps; ++i)
        if (!image.comps[i].data || image.comps[i].w == 0 || image.comps[i].h == 0) return broken();
    result.error = CheckPlanes(image);  // a palette has made new ones
    if (result.error) return;
    const Form form = FormOf(image);
    const unsigned reduced = (1u << image.comps[0].factor) - 1;
    if (!MakePlanes((width + reduced) >> image.comps[0].factor, (height + reduced) >> image.comps[0].factor,
                    form.alpha >= 0, bytes.size(), options, result))
        return;
    LayPixels(image, form, result);
    const Messages& said = reader.Said();
    if (said.error.empty() && said.warning.empty()) return;
    result.condition = Condition::Damaged;
    result.warnings.push_back(said.error.empty() ? said.warning : said.error);
}

CodecError SaveJpeg2000(ByteWriter& target, const Dib* image, const Dib* mask, const SaveOptions& options) {
    const Jpeg2000Library* library = Jpeg2000Library::Get();
    if (!library) return Missing();
    const ImagePtr planes = PlanesOf(*library, image, mask);
    if (!planes) return NoMemory();
    opj_cparameters_t parameters;
    library->opj_set_default_encoder_parameters(&parameters);
    parameters.tcp_numlayers = 1;
    parameters.cp_disto_alloc = 1;  // with the rate of 0: all bits
    parameters.tcp_mct = 1;
    while (parameters.numresolution > 1 &&
           std::min(image->biWidth, image->biHeight) < 1 << (parameters.numresolution - 1))
        --parameters.numresolution;
    Target file;
    Messages said;
    bool good = false;
    {
        const CodecPtr codec(library->opj_create_compress(OPJ_CODEC_JP2));
        const StreamPtr stream(library->opj_stream_create(1 << 20, OPJ_FALSE));
        if (codec && stream) {
            said.Listen(*library, codec.get());
            library->opj_stream_set_user_data(stream.get(), &file, nullptr);
            library->opj_stream_set_write_function(stream.get(), Target::Put);
            library->opj_stream_set_skip_function(stream.get(), Target::Skip);
            library->opj_stream_set_seek_function(stream.get(), Target::Seek);
            good = library->opj_setup_encoder(codec.get(), &parameters, planes.get()) &&
                   library->opj_start_compress(codec.get(), planes.get(), stream.get()) &&
                   library->opj_encode(codec.get(), stream.get()) &&
                   library->opj_end_compress(codec.get(), stream.get());
        }
    }
    if (!good) return {CodecFault::CannotHold, said.error.empty() ? "the picture cannot be written" : said.error};
    if (options.metadata) AddJp2Boxes(file.bytes, *options.metadata);
    target.Write(file.bytes.data(), file.bytes.size());
    return WriteErrorOf(target);
}

}  // namespace kestrel
