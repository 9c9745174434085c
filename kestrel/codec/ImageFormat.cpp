#include "kestrel/codec/ImageFormat.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "kestrel/codec/Codecs.h"

namespace kestrel {
namespace {

constexpr bool kReads = true, kWrites = true, kAlpha = true, kTrusted = true, kPages = true, kNo = false;

constexpr FormatInfo kFormats[] = {
    {ImageFormat::Avif, "avif", "AVIF", {"avif"}, kReads, kNo, kNo, kNo, kPages},
    {ImageFormat::Bmp, "bmp", "Windows or OS/2 bitmap", {"bmp", "dib"}, kReads, kWrites, kNo, kTrusted, kNo},
    {ImageFormat::Gif, "gif", "GIF", {"gif"}, kReads, kWrites, kNo, kNo, kPages},
    {ImageFormat::Heic, "heic", "HEIC, HEIF", {"heic", "heif", "hif"}, kReads, kNo, kNo, kNo, kPages},
    {ImageFormat::Jpeg2000,
     "jp2",
     "JPEG 2000",
     {"jp2", "j2k", "jpf", "jpc", "jpx", "j2c"},
     kReads,
     kWrites,
     kAlpha,
     kNo,
     kNo},
    {ImageFormat::Jpeg, "jpeg", "JPEG", {"jpeg", "jpg", "jpe", "jfif"}, kReads, kWrites, kNo, kTrusted, kNo},
    {ImageFormat::PhotoCd, "pcd", "Photo CD", {"pcd"}, kReads, kWrites, kNo, kNo, kNo},
    {ImageFormat::Png, "png", "PNG", {"png"}, kReads, kWrites, kAlpha, kTrusted, kNo},
    {ImageFormat::Pnm,
     "pnm",
     "Portable bitmap, graymap and pixmap",
     {"pnm", "ppm", "pgm", "pbm"},
     kReads,
     kWrites,
     kNo,
     kNo,
     kNo},
    {ImageFormat::Psd,
     "psd",
     "Photoshop, the composite of its layers",
     {"psd", "psb"},
     kReads,
     kWrites,
     kAlpha,
     kTrusted,
     kNo},
    {ImageFormat::SunRaster, "ras", "Sun raster", {"ras", "sun"}, kReads, kWrites, kNo, kNo, kNo},
    {ImageFormat::Raw,
     "raw",
     "Raw files of digital cameras",
     {"raw", "bay", "bmq", "crw", "cs1", "dcr", "fff", "mrw", "nef", "orf", "pef", "raf", "rdc",
      "srf", "x3f", "cr2", "cr3", "dng", "arw", "rw2", "srw", "3fr", "kdc", "erf", "mef", "mos"},
     kReads,
     kNo,
     kNo,
     kNo,
     kNo},
    {ImageFormat::Tiff, "tiff", "TIFF", {"tiff", "tif"}, kReads, kWrites, kAlpha, kTrusted, kPages},
    {ImageFormat::WebP, "webp", "WebP", {"webp"}, kReads, kWrites, kAlpha, kTrusted, kPages},
};

constexpr char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool SameName(std::string_view a, std::string_view b) { return std::ranges::equal(a, b, {}, Lower, Lower); }

/// Numbers of a TIFF file's first bytes, in its byte order; 0 past them.
struct TiffNumbers {
    std::span<const std::uint8_t> bytes;
    bool bigEndian;

    std::uint32_t Get(std::size_t at, std::size_t size) const {
        std::uint32_t value = 0;
        if (at > bytes.size() || size > bytes.size() - at) return 0;
        for (std::size_t i = 0; i < size; ++i) value = value << 8 | bytes[at + (bigEndian ? i : size - 1 - i)];
        return value;
    }
};

/// The format of an ISO media file, which names its brand and others that it complies with.
ImageFormat FormatOfBrands(std::span<const std::uint8_t> bytes) {
    using namespace std::string_view_literals;
    constexpr std::size_t kMostBrands = 20;
    for (std::size_t i = 0, at = 8; i < kMostBrands && at + 4 <= bytes.size(); ++i, at += i == 1 ? 8 : 4) {
        const std::string_view brand(reinterpret_cast<const char*>(bytes.data() + at), 4);
        if (brand == "avif"sv || brand == "avis"sv) return ImageFormat::Avif;
        for (const auto known : {"heic"sv, "heix"sv, "heim"sv, "heis"sv, "hevc"sv, "hevx"sv})
            if (brand == known) return ImageFormat::Heic;
        // A brand that says nothing about the coding has to come first, or this is no picture.
        if (i == 0 && brand != "mif1"sv && brand != "msf1"sv) break;
    }
    return ImageFormat::Unknown;
}

}  // namespace

bool IsCameraDirectory(std::span<const std::uint8_t> bytes, bool bigEndian) {
    constexpr std::uint32_t kSubfile = 254, kPhotometric = 262, kMake = 271, kSubDirectories = 330, kDngVersion = 50706;
    constexpr std::uint32_t kColorFilter = 32803, kLinearRaw = 34892;
    const TiffNumbers numbers{bytes, bigEndian};
    const std::size_t entries = numbers.Get(0, 2);
    bool maker = false, below = false, reduced = false;
    for (std::size_t i = 0; i < entries; ++i) {
        const std::size_t entry = 2 + 12 * i;
        if (entry + 12 > bytes.size()) break;
        const std::uint32_t tag = numbers.Get(entry, 2);
        const std::uint32_t value = numbers.Get(entry + 8, numbers.Get(entry + 2, 2) == 3 ? 2 : 4);
        if (tag == kDngVersion) return true;
        if (tag == kPhotometric && (value == kColorFilter || value == kLinearRaw)) return true;
        maker |= tag == kMake;
        below |= tag == kSubDirectories;
        reduced |= tag == kSubfile && value == 1;
    }
    return maker && below && reduced;
}

std::uint32_t TiffDirectory(std::span<const std::uint8_t> start) {
    return start.size() < 8 ? 0 : TiffNumbers{start, start[0] == 'M'}.Get(4, 4);
}

std::span<const FormatInfo> KnownFormats() { return kFormats; }

const FormatInfo* FindFormat(ImageFormat format) {
    const auto* const found = std::ranges::find(kFormats, format, &FormatInfo::format);
    return found == std::end(kFormats) ? nullptr : found;
}

ImageFormat FormatOfName(std::string_view name) {
    if (name.starts_with('.')) name.remove_prefix(1);
    for (const FormatInfo& known : kFormats)
        for (const char* extension : known.extensions)
            if (SameName(name, extension)) return known.format;
    return ImageFormat::Unknown;
}

ImageFormat FormatOfPath(std::string_view path) {
    const std::size_t dot = path.find_last_of("./");
    return dot == std::string_view::npos || path[dot] == '/' ? ImageFormat::Unknown : FormatOfName(path.substr(dot));
}

ImageFormat FormatOfContent(std::span<const std::uint8_t> bytes) {
    const auto has = [bytes](std::size_t at, std::string_view what) {
        return bytes.size() >= at + what.size() && std::memcmp(bytes.data() + at, what.data(), what.size()) == 0;
    };
    using namespace std::string_view_literals;
    if (has(0, "\xFF\xD8\xFF"sv)) return ImageFormat::Jpeg;
    if (has(0, "\x89PNG\r\n\x1A\n"sv)) return ImageFormat::Png;
    if (has(0, "BM"sv) || has(0, "BA"sv)) return ImageFormat::Bmp;
    // A bare record: header of 40 bytes, one plane.
    if (has(0, "\x28\0\0\0"sv) && has(12, "\1\0"sv)) return ImageFormat::Bmp;
    if (has(0, "GIF87a"sv) || has(0, "GIF89a"sv)) return ImageFormat::Gif;
    if (has(0, "8BPS\0\1"sv) || has(0, "8BPS\0\2"sv)) return ImageFormat::Psd;
    if (has(0, "\x59\xA6\x6A\x95"sv)) return ImageFormat::SunRaster;
    if (has(2048, "PCD_"sv)) return ImageFormat::PhotoCd;
    if (bytes.size() > 2 && bytes[0] == 'P' && bytes[1] >= '1' && bytes[1] <= '6' &&
        std::string_view(" \t\r\n#").find(static_cast<char>(bytes[2])) != std::string_view::npos)
        return ImageFormat::Pnm;
    if (has(0, "FUJIFILMCCD-RAW"sv) || has(0, "FOVb"sv) || has(0, "\0MRM"sv) || has(6, "HEAPCCDR"sv) ||
        has(4, "ftypcrx "sv) || has(0, "IIRO"sv) || has(0, "IIRS"sv) || has(0, "IIU\0"sv) || has(0, "MMOR"sv) ||
        has(8, "CR\2"sv))
        return ImageFormat::Raw;
    if (has(0, "RIFF"sv) && has(8, "WEBP"sv)) return ImageFormat::WebP;
    if (has(0, "\0\0\0\x0CjP  \r\n\x87\n"sv) || has(0, "\xFF\x4F\xFF\x51"sv)) return ImageFormat::Jpeg2000;
    if (has(4, "ftyp"sv)) return FormatOfBrands(bytes);
    if (has(0, "II*\0"sv) || has(0, "MM\0*"sv)) {
        const std::size_t directory = std::min<std::size_t>(TiffDirectory(bytes), bytes.size());
        return IsCameraDirectory(bytes.subspan(directory), bytes[0] == 'M') ? ImageFormat::Raw : ImageFormat::Tiff;
    }
    if (has(0, "II+\0"sv) || has(0, "MM\0+"sv)) return ImageFormat::Tiff;
    return ImageFormat::Unknown;
}

const char* FormatName(ImageFormat format) {
    const FormatInfo* const known = FindFormat(format);
    return known ? known->name : "unknown";
}

std::span<const ImageFormat> WritableFormats() {
    static const std::vector<ImageFormat> writable = [] {
        std::vector<ImageFormat> formats;
        for (const FormatInfo& known : kFormats)
            if (known.writes) formats.push_back(known.format);
        return formats;
    }();
    return writable;
}

bool FormatHoldsAlpha(ImageFormat format) {
    const FormatInfo* const known = FindFormat(format);
    return known && known->holdsAlpha;
}

}  // namespace kestrel
