#pragma once
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "kestrel/foundation/Export.h"

namespace kestrel {

/// What people ask of EXIF data. Texts are empty and numbers 0 where the data say nothing.
struct ExifSummary {
    std::string make, model, lens, software, artist, copyright, description;
    std::string taken;              ///< "2024:05:31 18:02:11", as the camera wrote it
    double exposureTime = 0;        ///< seconds
    double aperture = 0;            ///< the F-number
    double focalLength = 0;         ///< millimetres
    std::uint64_t sensitivity = 0;  ///< ISO
    struct Place {
        double latitude, longitude;  ///< degrees, north and east above 0
    };
    std::optional<Place> place{};
};
/// Control characters in texts become question marks.
KESTREL_API ExifSummary SummarizeExif(std::span<const std::uint8_t> exif);

}  // namespace kestrel
