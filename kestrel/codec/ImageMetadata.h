#pragma once
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "kestrel/codec/ImageFormat.h"
#include "kestrel/foundation/Export.h"

namespace kestrel {

/// How densely pixels lie on paper or screen, in the unit that the file uses.
struct Density {
    enum class Unit { None, AspectOnly, PerInch, PerCentimeter, PerMeter };
    Unit unit = Unit::None;  ///< with `AspectOnly` just the ratio of the two means something
    double x = 0;            ///< pixels for each unit; above 0 unless the unit is `None`
    double y = 0;
};

/// What travels with a picture beside its pixels. Blocks are kept as the file has them; an empty one is absent.
struct ImageMetadata {
    Density density;
    std::vector<std::uint8_t> exif;     ///< from the byte order mark on; its orientation is 1: it has been applied
    std::vector<std::uint8_t> profile;  ///< ICC profile of RGB pixels; those of other colour models do not travel
    std::vector<std::uint8_t> iptc;     ///< IPTC-IIM records
    std::vector<std::uint8_t> xmp;      ///< XMP packet, UTF-8
};

/// Whole pixels for each meter, the ratio for `AspectOnly`; zeros where there is none, or one that no file can hold.
std::pair<std::int32_t, std::int32_t> PerMeter(const Density& density);

/// The blocks that files of this format cannot take, as words for a message ("EXIF data, colour profile"); empty when
/// everything fits. Density is not named: most formats round it or leave it out.
KESTREL_API std::string BlocksLeftOut(const ImageMetadata& metadata, ImageFormat format);

/// Drops where the picture was taken, and which place it shows, from EXIF, IPTC and XMP data.
KESTREL_API void StripPlace(ImageMetadata& metadata);

}  // namespace kestrel
