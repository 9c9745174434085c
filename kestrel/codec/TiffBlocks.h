#pragma once
#include <cstdint>
#include <vector>

#include "kestrel/codec/ImageMetadata.h"
#include "kestrel/foundation/ByteReader.h"

// EXIF and IPTC data of a TIFF file, which has them spread over its directories.
namespace kestrel {

/// Reads them from the page whose directory lies at `directory`; the file begins at the source's position. The EXIF
/// data keep the file's byte order.
void ReadTiffBlocks(ByteReader source, std::uint64_t directory, ImageMetadata& metadata);

/// What stands before and after the pixels of a file.
struct TiffEnds {
    std::vector<std::uint8_t> head;  ///< ends before the first pixel
    std::vector<std::uint8_t> tail{};
    std::uint64_t tailAt = 0;
};
/// Adds them to a file of one page, which has to have the byte order of the EXIF data.
void AddTiffBlocks(TiffEnds& file, const ImageMetadata& metadata);
/// The byte order that EXIF data ask for; little-endian without any.
bool IsBigEndianExif(const std::vector<std::uint8_t>& exif);

}  // namespace kestrel
