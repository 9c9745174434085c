// JPEG by libjpeg-turbo. Its errors come back by longjmp: every function with a `setjmp` below calls C functions only
// and keeps what it changes in members, so that nothing with a destructor is jumped over.
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

// The library's headers expect <cstdio> before them.
#include <jerror.h>
#include <jpeglib.h>

#include "kestrel/codec/Codecs.h"
#include "kestrel/codec/ExifOrientation.h"
#include "kestrel/codec/LinePlacer.h"

namespace kestrel {
namespace {

constexpr std::size_t kBuffer = 1 << 16;
constexpr int kMostScans = 500;  // a few bytes can name thousands of scans over a large picture
constexpr int kFullColorQuality = 90;

/// First member first: the library hands the base back.
struct Errors {
    jpeg_error_mgr base;
    std::jmp_buf jump;
    char fatal[JMSG_LENGTH_MAX];
    char warning[JMSG_LENGTH_MAX];  // the first one

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
        };
        base.output_message = [](j_common_ptr) {};
    }
};

// Reading ------------------------------------------------------------------------------------------------------------

struct Source {
    jpeg_source_mgr base;
    ByteReader* reader;
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
            // An end of image in place of the missing bytes: the library finishes with what it has.
            WARNMS(info, JWRN_JPEG_EOF);
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

class Reader {
public:
    explicit Reader(ByteReader& from) : source_(from) { info_.err = &errors_.base; }
    ~Reader() { jpeg_destroy_decompress(&info_); }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    bool ReadHeader();
    /// Decodes all lines; false with the lines so far when the data cannot be followed any further.
    bool ReadLines(LinePlacer& placer);

    int Orientation() const;
    bool IsInk() const { return info_.out_color_space == JCS_CMYK; }
    std::int64_t Width() const { return info_.image_width; }
    std::int64_t Height() const { return info_.image_height; }
    int LinesRead() const { return static_cast<int>(info_.output_scanline); }
    void MakeInkLine() { ink_.resize(4 * std::size_t{info_.image_width}); }
    const char* Fatal() const { return errors_.fatal; }
    long Warnings() const { return errors_.base.num_warnings; }
    const char* FirstWarning() const { return errors_.warning; }

private:
    void LayInk(std::uint8_t* to) const;

    Errors errors_;
    jpeg_decompress_struct info_{};
    jpeg_progress_mgr progress_{};
    Source source_;
    std::vector<std::uint8_t> ink_;
    bool inverted_ = false;
};

bool Reader::ReadHeader() {
    if (setjmp(errors_.jump)) return false;
    jpeg_create_decompress(&info_);
    info_.src = &source_.base;
    progress_.progress_monitor = [](j_common_ptr info) {
        if (reinterpret_cast<j_decompress_ptr>(info)->input_scan_number <= kMostScans) return;
        auto* errors = reinterpret_cast<Errors*>(info->err);
        std::snprintf(errors->fatal, sizeof errors->fatal, "more than %d scans", kMostScans);
        std::longjmp(errors->jump, 1);
    };
    info_.progress = &progress_;
    jpeg_save_markers(&info_, JPEG_APP0 + 1, 0xFFFF);
    jpeg_read_header(&info_, TRUE);
    const bool ink = info_.jpeg_color_space == JCS_CMYK || info_.jpeg_color_space == JCS_YCCK;
    info_.out_color_space = ink ? JCS_CMYK : JCS_EXT_BGR;
    inverted_ = info_.saw_Adobe_marker;
    return true;
}

bool Reader::ReadLines(LinePlacer& placer) {
    if (setjmp(errors_.jump)) return false;
    jpeg_start_decompress(&info_);
    while (info_.output_scanline < info_.output_height) {
        const int y = LinesRead();
        std::uint8_t* line = placer.Line(y);
        JSAMPROW rows[1] = {IsInk() ? ink_.data() : line};
        jpeg_read_scanlines(&info_, rows, 1);
        if (IsInk()) LayInk(line);
        placer.Done(y);
    }
    jpeg_finish_decompress(&info_);
    return true;
}

/// Cyan, magenta, yellow, black to blue, green, red: what ink and black let through, rounded. Files with the Adobe
/// marker hold light instead of ink.
void Reader::LayInk(std::uint8_t* to) const {
    const unsigned flip = inverted_ ? 0 : 255;
    const std::uint8_t* from = ink_.data();
    for (JDIMENSION x = 0; x < info_.image_width; ++x, from += 4, to += 3) {
        const unsigned light = from[3] ^ flip;
        for (int c = 0; c < 3; ++c) to[c] = static_cast<std::uint8_t>(((from[2 - c] ^ flip) * light + 127) / 255);
    }
}

int Reader::Orientation() const {
    for (auto* marker = info_.marker_list; marker; marker = marker->next)
        if (marker->data_length >= 6 && std::memcmp(marker->data, "Exif\0\0", 6) == 0)
            return ExifOrientation({marker->data, marker->data_length});
    return 1;
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

class Writer {
public:
    explicit Writer(ByteWriter& to) : target_(to) { info_.err = &errors_.base; }
    ~Writer() { jpeg_destroy_compress(&info_); }
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    bool Write(const Dib* image, int quality);
    bool WriteFailed() const { return errors_.base.msg_code == JERR_FILE_WRITE; }
    const char* Fatal() const { return errors_.fatal; }

private:
    Errors errors_;
    jpeg_compress_struct info_{};
    Target target_;
};

bool Writer::Write(const Dib* image, int quality) {
    if (setjmp(errors_.jump)) return false;
    jpeg_create_compress(&info_);
    info_.dest = &target_.base;
    info_.image_width = static_cast<JDIMENSION>(image->biWidth);
    info_.image_height = static_cast<JDIMENSION>(image->biHeight);
    info_.input_components = 3;
    info_.in_color_space = JCS_EXT_BGR;
    jpeg_set_defaults(&info_);
    jpeg_set_quality(&info_, quality, TRUE);
    if (quality >= kFullColorQuality) info_.comp_info[0].h_samp_factor = info_.comp_info[0].v_samp_factor = 1;
    jpeg_start_compress(&info_, TRUE);
    while (info_.next_scanline < info_.image_height) {
        const int row = image->biHeight - 1 - static_cast<int>(info_.next_scanline);
        JSAMPROW rows[1] = {const_cast<JSAMPROW>(DibRow(image, row))};  // only read
        jpeg_write_scanlines(&info_, rows, 1);
    }
    jpeg_finish_compress(&info_);
    return true;
}

}  // namespace

void LoadJpeg(ByteReader& source, const LoadOptions& options, LoadResult& result) {
    Reader reader(source);
    if (!reader.ReadHeader()) {
        result.error = reader.Fatal();
        return;
    }
    const int orientation = reader.Orientation();
    const bool swaps = SwapsSides(orientation);
    if (!MakePlanes(swaps ? reader.Height() : reader.Width(), swaps ? reader.Width() : reader.Height(), false, options,
                    result))
        return;
    if (reader.IsInk()) reader.MakeInkLine();
    LinePlacer placer(result.image.get(), orientation);
    const bool whole = reader.ReadLines(placer);
    if (!whole && reader.LinesRead() == 0) {
        result.error = reader.Fatal();
        return;
    }
    if (!whole) {
        placer.Finish(reader.LinesRead());
        result.warnings.push_back(std::string(reader.Fatal()) + "; " + std::to_string(reader.LinesRead()) + " of " +
                                  std::to_string(reader.Height()) + " lines could be read");
    }
    if (reader.Warnings() > 0) {
        std::string line = reader.FirstWarning();
        if (reader.Warnings() > 1) line += ", and " + std::to_string(reader.Warnings() - 1) + " more";
        result.warnings.push_back(line);
    }
}

std::string SaveJpeg(ByteWriter& target, const Dib* image, int quality) {
    Writer writer(target);
    if (writer.Write(image, quality)) return {};
    if (writer.WriteFailed()) {
        target.Write(nullptr, 0);  // brings the reason back
        return "cannot write: " + SystemError();
    }
    return writer.Fatal();
}

}  // namespace kestrel
