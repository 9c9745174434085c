#pragma once
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string_view>

#include "kestrel/foundation/Export.h"

namespace kestrel {

/// The kinds of picture files; the numbers are those that picture boxes keep.
enum class ImageFormat {
    Unknown = 0,
    Jpeg = 1,
    Tiff = 2,
    Psd = 4,
    Bmp = 7,
    Gif = 9,
    Png = 10,
    Jpeg2000 = 13,
    SunRaster = 14,
    Pnm = 15,
    PhotoCd = 16,
    Raw = 17,
    WebP = 18,  // from here on only Kestrel has a number for them
    Heic = 19,
    Avif = 20
};

/// What there is to know about a format.
struct FormatInfo {
    ImageFormat format;
    const char* name;                               ///< as the command line calls it
    const char* title;                              ///< for a person
    std::initializer_list<const char*> extensions;  ///< without a dot, in lower case; `name` first where it is one
    bool reads;
    bool writes;
    bool holdsAlpha;  ///< a written file keeps partial transparency
    bool trusted;     ///< its decoder is our own, or one that all the world's hostile files are tried on
    bool pages;       ///< a file may hold several pictures, of which `LoadOptions::page` chooses one
};
/// Every format, by name.
KESTREL_API std::span<const FormatInfo> KnownFormats();
/// Null for the unknown one.
KESTREL_API const FormatInfo* FindFormat(ImageFormat format);

/// By a name such as "png" or an extension such as "JPG"; case does not matter, nor does a leading dot.
KESTREL_API ImageFormat FormatOfName(std::string_view name);
/// By the extension of a path.
KESTREL_API ImageFormat FormatOfPath(std::string_view path);
/// By the first bytes of a file; `kFormatBytes` are enough. Cameras' raw files are distinguished from TIFF by what
/// cameras write into their first directory.
KESTREL_API ImageFormat FormatOfContent(std::span<const std::uint8_t> bytes);
inline constexpr std::size_t kFormatBytes = 4096;
/// The usual name in lower case; "unknown" for none.
KESTREL_API const char* FormatName(ImageFormat format);
/// The formats that can be written.
KESTREL_API std::span<const ImageFormat> WritableFormats();
/// Whether files of the format can hold transparency.
KESTREL_API bool FormatHoldsAlpha(ImageFormat format);

}  // namespace kestrel
