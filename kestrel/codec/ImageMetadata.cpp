#include "kestrel/codec/ImageMetadata.h"

#include <cmath>

#include "kestrel/codec/Codecs.h"
#include "kestrel/codec/Exif.h"
#include "kestrel/codec/IptcRecords.h"
#include "kestrel/codec/XmpPacket.h"

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
    // The largest block that each format takes, in bytes.
    struct {
        std::size_t exif = 0, profile = 0, iptc = 0, xmp = 0;
    } maximum;
    if (format == ImageFormat::Jpeg)
        maximum = {kLargestJpegExif, kLargestJpegProfile, kLargestJpegIptc, kLargestJpegXmp};
    if (format == ImageFormat::Png) maximum = {UINT32_MAX / 2, UINT32_MAX / 2, kLargestPngIptc, UINT32_MAX / 2};
    if (format == ImageFormat::Tiff || format == ImageFormat::Jpeg2000)
        maximum = {UINT32_MAX, UINT32_MAX, UINT32_MAX, UINT32_MAX};
    if (format == ImageFormat::WebP) maximum = {UINT32_MAX / 8, UINT32_MAX / 8, 0, UINT32_MAX / 8};
    if (format == ImageFormat::Psd) maximum = {UINT32_MAX, UINT32_MAX, UINT32_MAX, UINT32_MAX};
    std::string names;
    const auto check = [&](const char* name, std::size_t size, std::size_t largest) {
        if (size > largest) names.append(names.empty() ? "" : ", ").append(name);
    };
    check("EXIF data", metadata.exif.size(), maximum.exif);
    check("colour profile", metadata.profile.size(), maximum.profile);
    check("IPTC data", metadata.iptc.size(), maximum.iptc);
    check("XMP data", metadata.xmp.size(), maximum.xmp);
    return names;
}

void StripPlace(ImageMetadata& metadata) {
    StripExifPlace(metadata.exif);
    StripIptcPlace(metadata.iptc);
    StripXmpPlace(metadata.xmp);
}

}  // namespace kestrel
