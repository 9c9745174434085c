#pragma once
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "kestrel/codec/ImageMetadata.h"

// EXIF data are changed where they lie: maker's notes point into them by positions that nobody but the maker knows.
// Data that make no sense stay as they are, and no byte past them is read.
namespace kestrel {

/// Tags that EXIF data and TIFF files share.
enum ExifTag : unsigned {
    kExifWidth = 0x0100,
    kExifHeight = 0x0101,
    kExifOrientation = 0x0112,
    kExifXResolution = 0x011A,
    kExifYResolution = 0x011B,
    kExifResolutionUnit = 0x0128,
    kExifCamera = 0x8769,   ///< the directory of how the picture was taken
    kExifPlace = 0x8825,    ///< and the one of where
    kExifInterop = 0xA005,  ///< below that of the camera
    kExifColorSpace = 0xA001,
    kExifPixelWidth = 0xA002,
    kExifPixelHeight = 0xA003
};

/// EXIF data without the "Exif" and two zeros that may stand before the byte order mark.
std::span<const std::uint8_t> WithoutExifMark(std::span<const std::uint8_t> exif);

/// Orientation 1..8 of EXIF data, with the mark before it or without. 1, the upright one, for anything that is not
/// understood.
int ExifOrientation(std::span<const std::uint8_t> exif);
/// Makes the orientation upright where there is one; no other byte changes.
void ResetExifOrientation(std::span<std::uint8_t> exif);

/// The density that the data tell of the picture.
Density ExifDensity(std::span<const std::uint8_t> exif);

/// Makes the data those of a picture of this size: its sizes are set where there are some, and the thumbnail, which
/// shows the picture as it was, goes.
void UpdateExif(std::vector<std::uint8_t>& exif, std::int64_t width, std::int64_t height);
/// Says that the pixels are sRGB, where the data say anything about that.
void SetExifToSrgb(std::span<std::uint8_t> exif);
/// Drops the place where the picture was taken.
void StripExifPlace(std::vector<std::uint8_t>& exif);

}  // namespace kestrel
