#pragma once
#include <array>
#include <cstdint>

#include "kestrel/codec/CodecError.h"
#include "kestrel/foundation/ByteReader.h"

namespace kestrel {

enum class BmpPacking { Plain, RunLength, Jpeg, Png };

/// What the headers of a BMP file say, with everything derived that its many forms leave open.
struct BmpHeader {
    std::int64_t width = 0;
    std::int64_t height = 0;  ///< without its sign
    bool topDown = false;
    int bits = 0;  ///< of a pixel: 1, 2, 4, 8 (indices), 16, 24, 32; of no meaning in an embedded file
    BmpPacking packing = BmpPacking::Plain;

    bool hasFields = false;                ///< pixels are taken apart by the masks
    std::array<std::uint32_t, 4> masks{};  ///< blue, green, red, alpha; alpha 0: opaque
    bool alphaIsDoubtful = false;          ///< writers that know no alpha may leave it 0 in every pixel

    std::array<std::array<std::uint8_t, 3>, 256> palette{};  ///< blue, green, red; entries that are missing are black
    std::uint64_t pixelsAt = 0;                              ///< position in the source

    std::int32_t pixelsPerMeterX = 0, pixelsPerMeterY = 0;
    std::uint64_t profileAt = 0, profileBytes = 0;  ///< an ICC profile in the file
};

/// Reads the headers from the source's position on. What is not read, and why, is in the error.
CodecError ReadBmpHeader(ByteReader& source, BmpHeader& header);

}  // namespace kestrel
