// JPEG by libjpeg-turbo. Its errors come back by longjmp: every function with a `setjmp` below calls C functions only
// and keeps what it changes in members, so that nothing with a destructor is jumped over.
#include <algorithm>
#include <cmath>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// The library's headers expect <cstdio> before them.
#include <jerror.h>
#include <jpeglib.h>

#include "kestrel/codec/Codecs.h"
#include "kestrel/codec/Exif.h"
#include "kestrel/codec/IccProfile.h"
#include "kestrel/codec/ImageResources.h"
#include "kestrel/codec/ScanlineOrienter.h"

namespace kestrel {
namespace {

constexpr std::size_t kBuffer = 1 << 16;

/// First member first: the library hands the base back.
struct Errors {
    jpeg_error_mgr base;
    std::jmp_buf jump;
    char fatal[JMSG_LENGTH_MAX];
    char warning[JMSG_LENGTH_MAX];  // the first one
    bool inScans = false;           // pixels are being read
    bool damage = false;            // a warning said that pixels are wrong

    Errors() : fatal{}, warning{} {
        jpeg_std_error(&base);
        base.error_exit = [](j_common_ptr info) {
            auto* errors = reinterpret_cast<Errors*>(info->err);
            info->err->format_message(info, errors->fatal);
            std::longjmp(errors->jump, 1);
        };
        base.emit_message = [](j_common_ptr info, int level) {
            if (level >= 0) return;  // traces
            auto* errors = reinterpret_cast<Errors*>(info->err);
            if (info->err->num_warnings++ == 0) info->err->format_message(info, errors->warning);
            const int about = info->err->msg_code;
            if (errors->inScans && about != JWRN_JFIF_MAJOR && about != JWRN_ADOBE_XFORM) errors->damage = true;
        };
        base.output_message = [](j_common_ptr) {};
    }
};

// What applications keep in a file -----------------------------------------------------------------------------------

constexpr std::string_view kExifMark("Exif\0\0", 6);
constexpr std::string_view kXmpMark("http://ns.adobe.com/xap/1.0/\0", 29);
constexpr std::string_view kProfileMark("ICC_PROFILE\0", 12);  // followed by the part's number and the count of parts
constexpr std::string_view kResourceMark("Photoshop 3.0\0", 14);
constexpr std::size_t kProfilePart = 65533 - 14;

// Reading ------------------------------------------------------------------------------------------------------------

struct Source {
    jpeg_source_mgr base;
    ByteReader* reader;
    bool ended = false;  // bytes were asked for that the file does not have
    JOCTET buffer[kBuffer];

    explicit Source(ByteReader& from) : base{}, reader(&from) {
        base.init_source = [](j_decompress_ptr) {};
        base.term_source = [](j_decompress_ptr) {};
        base.resync_to_restart = jpeg_resync_to_restart;
        base.fill_input_buffer = Fill;
        base.skip_input_data = Skip;
    }

    static boolean Fill(j_decompress_ptr info) {
        auto* source = reinterpret_cast<Source*>(info->src);
        source->base.bytes_in_buffer = source->reader->Read(source->buffer, kBuffer);
        if (source->base.bytes_in_buffer == 0) {
            // An end of image in place of the missing bytes: the library finishes with what it has, and warns when
            // that is not enough for the pixels.
            source->ended = true;
            source->buffer[0] = 0xFF;
            source->buffer[1] = JPEG_EOI;
            source->base.bytes_in_buffer = 2;
        }
        source->base.next_input_byte = source->buffer;
        return TRUE;
    }

    static void Skip(j_decompress_ptr info, long count) {
        jpeg_source_mgr& base = reinterpret_cast<Source*>(info->src)->base;
        while (count > static_cast<long>(base.bytes_in_buffer)) {
            count -= static_cast<long>(base.bytes_in_buffer);
            Fill(info);
        }
        if (count > 0) {
            base.next_input_byte += count;
            base.bytes_in_buffer -= static_cast<std::size_t>(count);
        }
    }
};

class Reader final : public LineDecoder {
public:
    Reader(ByteReader& from, int scanLimit) : source_(from), scanLimit_(scanLimit) {
        info_.err = &errors_.base;
        info_.client_data = this;
    }
    ~Reader() override { jpeg_destroy_decompress(&info_); }

    bool ReadHeader();
    bool Read(std::uint8_t* pixels, std::uint8_t* mask) override;
    void Finish(LoadResult& result) override;
    int Width() const override { return static_cast<int>(info_.output_width); }
    int Height() const override { return static_cast<int>(info_.output_height); }
    bool HasAlpha() const override { return false; }
    std::uint64_t Memory() const override;

    /// Hands over what stands beside the pixels and returns the orientation.
    int TakeMetadata(LoadResult& result) const;
    bool IsInk() const { return info_.out_color_space == JCS_CMYK; }
    /// Of the file, as it lies there.
    std::int64_t FullWidth() const { return info_.image_width; }
    std::int64_t FullHeight() const { return info_.image_height; }
    /// Has the picture decoded at a half, a fourth or an eighth of its size, as long as no side falls below these.
    void Reduce(std::int64_t width, std::int64_t height);
    void MakeInkLine() { ink_.resize(4 * std::size_t{info_.output_width}); }
    const char* Fatal() const { return errors_.fatal; }

private:
    bool Start();
    bool ReadLine(std::uint8_t* line);
    void End();
    bool IsCut() const;
    void LayInk(std::uint8_t* to) const;

    Errors errors_;
    jpeg_decompress_struct info_{};
    jpeg_progress_mgr progress_{};
    Source source_;
    std::vector<std::uint8_t> ink_;
    bool inverted_ = false;
    int scanLimit_;
    int linesRead_ = 0;
    bool multipleScans_ = false;
    bool tooManyScans_ = false;
    bool cut_ = false;
    bool started_ = false;
    bool ended_ = false;  // all lines and what follows them could be read
};

bool Reader::ReadHeader() {
    if (setjmp(errors_.jump)) return false;
    jpeg_create_decompress(&info_);
    info_.src = &source_.base;
    progress_.progress_monitor = [](j_common_ptr info) {
        auto* reader = static_cast<Reader*>(info->client_data);
        if (reinterpret_cast<j_decompress_ptr>(info)->input_scan_number <= reader->scanLimit_) return;
        reader->tooManyScans_ = true;
        std::longjmp(reader->errors_.jump, 1);
    };
    info_.progress = &progress_;
    for (const int application : {1, 2, 13}) jpeg_save_markers(&info_, JPEG_APP0 + application, 0xFFFF);
    jpeg_read_header(&info_, TRUE);
    info_.scale_num = info_.scale_denom = 1;
    const bool ink = info_.jpeg_color_space == JCS_CMYK || info_.jpeg_color_space == JCS_YCCK;
    info_.out_color_space = ink ? JCS_CMYK : JCS_EXT_BGR;
    inverted_ = info_.saw_Adobe_marker;
    return true;
}

void Reader::Reduce(std::int64_t width, std::int64_t height) {
    while (width > 0 && height > 0 && info_.scale_denom < 8 && FullWidth() / (2 * info_.scale_denom) >= width &&
           FullHeight() / (2 * info_.scale_denom) >= height)
        info_.scale_denom *= 2;
    const std::int64_t denominator = info_.scale_denom;
    info_.output_width = static_cast<JDIMENSION>((FullWidth() + denominator - 1) / denominator);
    info_.output_height = static_cast<JDIMENSION>((FullHeight() + denominator - 1) / denominator);
}

/// Coefficients of all components at once where scans have to be put together.
std::uint64_t Reader::Memory() const {
    if (!jpeg_has_multiple_scans(const_cast<j_decompress_ptr>(&info_))) return 0;  // which only reads
    std::uint64_t coefficients = 0;
    for (int i = 0; i < info_.num_components; ++i)
        coefficients +=
            std::uint64_t{info_.comp_info[i].width_in_blocks} * info_.comp_info[i].height_in_blocks * DCTSIZE2;
    return coefficients * sizeof(JCOEF);
}

bool Reader::Read(std::uint8_t* pixels, std::uint8_t*) {
    if ((!started_ && !Start()) || !ReadLine(pixels)) return false;
    if (IsInk()) LayInk(pixels);
    if (++linesRead_ == Height()) End();
    return true;
}

bool Reader::Start() {
    if (setjmp(errors_.jump)) return false;
    errors_.inScans = true;
    multipleScans_ = jpeg_has_multiple_scans(&info_);
    jpeg_start_decompress(&info_);
    started_ = true;
    return true;
}

bool Reader::ReadLine(std::uint8_t* line) {
    if (setjmp(errors_.jump)) return false;
    JSAMPROW rows[1] = {IsInk() ? ink_.data() : line};
    jpeg_read_scanlines(&info_, rows, 1);
    // From here on the library would make lines up, as many as the header claims.
    if (source_.ended && errors_.damage && !multipleScans_) {
        std::snprintf(errors_.fatal, sizeof errors_.fatal, "the file ends early");
        return false;
    }
    return true;
}

void Reader::End() {
    if (setjmp(errors_.jump)) return;
    cut_ = IsCut();
    jpeg_finish_decompress(&info_);
    ended_ = true;
}

void Reader::Finish(LoadResult& result) {
    if (tooManyScans_) {
        result.error = {CodecFault::ScanLimit,
                        "the picture has more than " + std::to_string(scanLimit_) + " scans, which is the limit"};
        return;
    }
    if (!ended_ && linesRead_ == 0) {
        result.error = {CodecFault::Broken, Fatal()};
        return;
    }
    if (!ended_ || cut_ || errors_.damage) result.condition = Condition::Damaged;
    if (!ended_)
        result.warnings.push_back(std::string(Fatal()) + "; " + LinesText(linesRead_, Height()));
    else if (source_.ended)
        result.warnings.emplace_back("the end of the file is missing");
    if (const long warnings = errors_.base.num_warnings; warnings > 0) {
        std::string line = errors_.warning;
        if (warnings > 1) line += ", and " + std::to_string(warnings - 1) + " more";
        result.warnings.push_back(line);
    }
}

/// After the last line: whether the file ended before bytes that pixels may need.
bool Reader::IsCut() const {
    if (!source_.ended) return false;
    if (info_.arith_code) return true;  // arithmetic decoding runs on without a warning
    if (!multipleScans_) return errors_.damage;
    if (!info_.coef_bits) return true;
    for (int component = 0; component < info_.num_components; ++component)
        for (int k = 0; k < DCTSIZE2; ++k)
            if (info_.coef_bits[component][k] != 0) return true;  // bits that never came
    return false;
}

/// Cyan, magenta, yellow, black to blue, green, red: what ink and black let through, rounded. Files with the Adobe
/// marker hold light instead of ink.
void Reader::LayInk(std::uint8_t* to) const {
    const unsigned flip = inverted_ ? 0 : 255;
    const std::uint8_t* from = ink_.data();
    for (JDIMENSION x = 0; x < info_.output_width; ++x, from += 4, to += 3) {
        const unsigned light = from[3] ^ flip;
        for (int c = 0; c < 3; ++c) to[c] = static_cast<std::uint8_t>(((from[2 - c] ^ flip) * light + 127) / 255);
    }
}

int Reader::TakeMetadata(LoadResult& result) const {
    ImageMetadata& metadata = result.metadata;
    if (info_.saw_JFIF_marker && info_.X_density > 0 && info_.Y_density > 0) {
        const Density::Unit unit = info_.density_unit == 1   ? Density::Unit::PerInch
                                   : info_.density_unit == 2 ? Density::Unit::PerCentimeter
                                                             : Density::Unit::AspectOnly;
        metadata.density = {unit, double(info_.X_density), double(info_.Y_density)};
        if (unit == Density::Unit::AspectOnly && info_.X_density == info_.Y_density) metadata.density = {};
    }
    int orientation = 1;
    std::vector<std::uint8_t> profile;
    for (auto* marker = info_.marker_list; marker; marker = marker->next) {
        const std::span<const std::uint8_t> data(marker->data, marker->data_length);
        const auto after = [&](std::string_view mark) -> std::span<const std::uint8_t> {
            const bool marked = data.size() > mark.size() && std::memcmp(data.data(), mark.data(), mark.size()) == 0;
            return marked ? data.subspan(mark.size()) : data.first(0);
        };
        const auto take = [](std::span<const std::uint8_t> from, std::vector<std::uint8_t>& to) {
            if (to.empty()) to.assign(from.begin(), from.end());
        };
        if (marker->marker == JPEG_APP0 + 1) {
            if (metadata.exif.empty()) orientation = ExifOrientation(after(kExifMark));
            take(after(kExifMark), metadata.exif);
            take(after(kXmpMark), metadata.xmp);
        } else if (marker->marker == JPEG_APP0 + 2) {
            // The parts in the order of the file, which is that of their numbers in every file that a program wrote.
            const auto part = after(kProfileMark);
            if (part.size() > 2) profile.insert(profile.end(), part.begin() + 2, part.end());
        } else {
            take(FindResource(after(kResourceMark), ImageResource::Iptc), metadata.iptc);
        }
    }
    ResetExifOrientation(metadata.exif);
    TakeProfile(profile, result);
    return orientation;
}

// Writing ------------------------------------------------------------------------------------------------------------

struct Target {
    jpeg_destination_mgr base;
    ByteWriter* writer;
    JOCTET buffer[kBuffer];

    explicit Target(ByteWriter& to) : base{}, writer(&to) {
        base.init_destination = [](j_compress_ptr info) { reinterpret_cast<Target*>(info->dest)->Empty(); };
        base.empty_output_buffer = [](j_compress_ptr info) -> boolean {
            Put(info, kBuffer);
            return TRUE;
        };
        base.term_destination = [](j_compress_ptr info) { Put(info, kBuffer - info->dest->free_in_buffer); };
    }

    void Empty() {
        base.next_output_byte = buffer;
        base.free_in_buffer = kBuffer;
    }

    static void Put(j_compress_ptr info, std::size_t size) {
        auto* target = reinterpret_cast<Target*>(info->dest);
        if (!target->writer->Write(target->buffer, size)) ERREXIT(info, JERR_FILE_WRITE);
        target->Empty();
    }
};

/// An application's block, as the file has it.
struct Marker {
    int code;
    std::vector<std::uint8_t> data;
};

std::vector<Marker> MakeMarkers(const ImageMetadata& metadata) {
    std::vector<Marker> markers;
    const auto add = [&](int application, std::string_view mark, std::span<const std::uint8_t> bytes) {
        Marker& marker = markers.emplace_back(Marker{JPEG_APP0 + application, {mark.begin(), mark.end()}});
        marker.data.insert(marker.data.end(), bytes.begin(), bytes.end());
    };
    const auto fits = [](const auto& block, std::size_t largest) { return !block.empty() && block.size() <= largest; };
    if (fits(metadata.exif, kLargestJpegExif)) add(1, kExifMark, metadata.exif);
    if (fits(metadata.xmp, kLargestJpegXmp)) add(1, kXmpMark, metadata.xmp);
    const std::size_t parts = (metadata.profile.size() + kProfilePart - 1) / kProfilePart;
    for (std::size_t i = 0; i < parts && parts <= 255; ++i) {
        std::string mark(kProfileMark);
        mark.push_back(static_cast<char>(i + 1));
        mark.push_back(static_cast<char>(parts));
        const auto rest = std::span(metadata.profile).subspan(i * kProfilePart);
        add(2, mark, rest.first(std::min(rest.size(), kProfilePart)));
    }
    if (fits(metadata.iptc, kLargestJpegIptc)) {
        std::vector<std::uint8_t> resource;
        AddResource(resource, ImageResource::Iptc, metadata.iptc);
        add(13, kResourceMark, resource);
    }
    return markers;
}

class Writer final : public LineEncoder {
public:
    explicit Writer(ByteWriter& to) : target_(to) { info_.err = &errors_.base; }
    ~Writer() override { jpeg_destroy_compress(&info_); }

    bool Start(PictureForm form, int quality, ChromaSampling chroma, const Density& density,
               const std::vector<Marker>& markers);
    bool Write(const std::uint8_t* pixels, const std::uint8_t* mask) override;
    CodecError Finish() override { return failed_ || !End() ? Error() : CodecError(); }
    /// Why something failed.
    CodecError Error();

private:
    void SetChroma(int quality, ChromaSampling chroma);
    void SetDensity(const Density& density);
    bool End();

    Errors errors_;
    jpeg_compress_struct info_{};
    Target target_;
    bool failed_ = false;  // a line could not be written
};

/// The library counts samples of brightness for each of color, across and down.
void Writer::SetChroma(int quality, ChromaSampling chroma) {
    if (chroma == ChromaSampling::Auto)
        chroma = quality >= SaveOptions::kFullChromaQuality ? ChromaSampling::S444 : ChromaSampling::S420;
    jpeg_component_info& brightness = info_.comp_info[0];
    brightness.h_samp_factor = chroma == ChromaSampling::S444 ? 1 : chroma == ChromaSampling::S411 ? 4 : 2;
    brightness.v_samp_factor = chroma == ChromaSampling::S420 ? 2 : 1;
}

/// The format takes whole numbers for each inch or centimetre: whichever keeps them.
void Writer::SetDensity(const Density& density) {
    const auto fits = [](double value) { return value >= 0.5 && value < 65535.5; };
    double x = density.x, y = density.y;
    int unit = density.unit == Density::Unit::PerInch ? 1 : density.unit == Density::Unit::PerCentimeter ? 2 : 0;
    if (density.unit == Density::Unit::PerMeter) {
        const bool hundreds = std::fmod(x, 100) == 0 && std::fmod(y, 100) == 0;
        unit = hundreds ? 2 : 1;
        x *= hundreds ? 0.01 : 0.0254;
        y *= hundreds ? 0.01 : 0.0254;
    }
    if (density.unit == Density::Unit::None || !fits(x) || !fits(y)) return;
    info_.density_unit = static_cast<UINT8>(unit);
    info_.X_density = static_cast<UINT16>(std::lround(x));
    info_.Y_density = static_cast<UINT16>(std::lround(y));
}

bool Writer::Start(PictureForm form, int quality, ChromaSampling chroma, const Density& density,
                   const std::vector<Marker>& markers) {
    if (setjmp(errors_.jump)) return false;
    jpeg_create_compress(&info_);
    info_.dest = &target_.base;
    info_.image_width = static_cast<JDIMENSION>(form.width);
    info_.image_height = static_cast<JDIMENSION>(form.height);
    info_.input_components = 3;
    info_.in_color_space = JCS_EXT_BGR;
    jpeg_set_defaults(&info_);
    jpeg_set_quality(&info_, quality, TRUE);
    SetChroma(quality, chroma);
    SetDensity(density);
    jpeg_start_compress(&info_, TRUE);
    for (const Marker& marker : markers)
        jpeg_write_marker(&info_, marker.code, marker.data.data(), static_cast<unsigned>(marker.data.size()));
    return true;
}

bool Writer::Write(const std::uint8_t* pixels, const std::uint8_t*) {
    if (setjmp(errors_.jump)) {
        failed_ = true;
        return false;
    }
    JSAMPROW rows[1] = {const_cast<JSAMPROW>(pixels)};  // only read
    jpeg_write_scanlines(&info_, rows, 1);
    return true;
}

bool Writer::End() {
    if (setjmp(errors_.jump)) return false;
    jpeg_finish_compress(&info_);
    return true;
}

CodecError Writer::Error() {
    if (errors_.base.msg_code != JERR_FILE_WRITE) return {CodecFault::CannotHold, errors_.fatal};
    return WriteErrorOf(*target_.writer);
}

}  // namespace

std::unique_ptr<LineDecoder> OpenJpeg(ByteReader& source, const LoadOptions& options, LoadResult& result) {
    const std::uint64_t bytes = source.Left();
    auto reader = std::make_unique<Reader>(source, options.scanLimit);
    if (!reader->ReadHeader()) {
        result.error = {CodecFault::Broken, reader->Fatal()};
        return nullptr;
    }
    result.orientation = reader->TakeMetadata(result);
    const bool swaps = SwapsSides(result.orientation);
    result.fullWidth = swaps ? reader->FullHeight() : reader->FullWidth();
    result.fullHeight = swaps ? reader->FullWidth() : reader->FullHeight();
    if (!SizeIsAllowed(result.fullWidth, result.fullHeight, bytes, options, result)) return nullptr;
    reader->Reduce(swaps ? options.preferredHeight : options.preferredWidth,
                   swaps ? options.preferredWidth : options.preferredHeight);
    if (reader->IsInk()) reader->MakeInkLine();
    return reader;
}

std::optional<ChromaSampling> ChromaSamplingOfName(std::string_view name) {
    static constexpr struct {
        ChromaSampling sampling;
        std::string_view name, colons;
    } kNames[] = {{ChromaSampling::Auto, "auto", "auto"},
                  {ChromaSampling::S444, "444", "4:4:4"},
                  {ChromaSampling::S422, "422", "4:2:2"},
                  {ChromaSampling::S420, "420", "4:2:0"},
                  {ChromaSampling::S411, "411", "4:1:1"}};
    for (const auto& row : kNames)
        if (name == row.name || name == row.colons) return row.sampling;
    return std::nullopt;
}

std::unique_ptr<LineEncoder> CreateJpeg(ByteWriter& target, PictureForm form, const SaveOptions& options,
                                        CodecError& error) {
    static const ImageMetadata kNone;
    const ImageMetadata& metadata = options.metadata ? *options.metadata : kNone;
    auto writer = std::make_unique<Writer>(target);
    if (writer->Start(form, std::clamp(options.jpegQuality, 1, 100), options.chroma, metadata.density,
                      MakeMarkers(metadata)))
        return writer;
    error = writer->Error();
    return nullptr;
}

}  // namespace kestrel
