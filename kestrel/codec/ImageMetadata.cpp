#include "kestrel/codec/ImageMetadata.h"

#include <cmath>

#include "kestrel/codec/Codecs.h"

namespace kestrel {

std::pair<std::int32_t, std::int32_t> PerMeter(const Density& density) {
    if (density.unit == Density::Unit::None) return {};
    double factor = 1;
    if (density.unit == Density::Unit::PerInch) factor = 1 / 0.0254;
    if (density.unit == Density::Unit::PerCentimeter) factor = 100;
    const double x = std::round(density.x * factor);
    const double y = std::round(density.y * factor);
    if (!(x >= 1 && y >= 1 && x <= INT32_MAX && y <= INT32_MAX)) return {};
    return {static_cast<std::int32_t>(x), static_cast<std::int32_t>(y)};
}

std::string BlocksLeftOut(const ImageMetadata& metadata, ImageFormat format) {
    const bool jpeg = format == ImageFormat::Jpeg;
    const std::size_t elsewhere = format == ImageFormat::Png ? SIZE_MAX : 0;
    std::string names;
    const auto check = [&](const char* name, std::size_t size, std::size_t largest) {
        if (size > largest) names.append(names.empty() ? "" : ", ").append(name);
    };
    check("EXIF data", metadata.exif.size(), jpeg ? kLargestJpegExif : elsewhere);
    check("colour profile", metadata.profile.size(), jpeg ? kLargestJpegProfile : elsewhere);
    check("IPTC data", metadata.iptc.size(), jpeg ? kLargestJpegIptc : 0);
    check("XMP data", metadata.xmp.size(), jpeg ? kLargestJpegXmp : elsewhere);
    return names;
}

}  // namespace kestrel
