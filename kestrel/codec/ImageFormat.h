#pragma once
#include <cstdint>
#include <span>
#include <string_view>

#include "kestrel/foundation/Export.h"

namespace kestrel {

/// The kinds of picture files.
enum class ImageFormat { Unknown, Bmp, Jpeg, Png };

/// By a name such as "png" or an extension such as "JPG"; case does not matter, nor does a leading dot.
KESTREL_API ImageFormat FormatOfName(std::string_view name);
/// By the extension of a path.
KESTREL_API ImageFormat FormatOfPath(std::string_view path);
/// By the first bytes of a file; 16 are enough.
KESTREL_API ImageFormat FormatOfContent(std::span<const std::uint8_t> bytes);
/// The usual name in lower case; "unknown" for none.
KESTREL_API const char* FormatName(ImageFormat format);
/// The formats that can be written.
KESTREL_API std::span<const ImageFormat> WritableFormats();
/// Whether files of the format can hold transparency.
KESTREL_API bool FormatHoldsAlpha(ImageFormat format);

}  // namespace kestrel
