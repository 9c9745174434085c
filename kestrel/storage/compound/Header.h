#pragma once
#include <array>
#include <span>

#include "kestrel/storage/compound/CompoundFile.h"
#include "kestrel/storage/compound/Error.h"
#include "kestrel/storage/compound/Format.h"

namespace kestrel::compound {

/// The first 512 bytes of a compound file. Everything else is found from here, so that writing it is the commit.
struct Header {
    Version version = Version::k4;
    unsigned sectorShift = 12;
    std::uint32_t directorySectors = 0;  ///< version 4 only
    std::uint32_t fatSectors = 0;
    Sector firstDirectory = kEndOfChain;
    std::uint32_t transaction = 0;  ///< kept as read
    Sector firstMiniFat = kEndOfChain;
    std::uint32_t miniFatSectors = 0;
    Sector firstDifat = kEndOfChain;
    std::uint32_t difatSectors = 0;
    std::array<Sector, kHeaderDifat> difat = [] {
        std::array<Sector, kHeaderDifat> none{};
        none.fill(kFreeSector);
        return none;
    }();

    /// kNotCompound when signature, version, byte order or sector sizes are others than the format's.
    static Result<Header> Read(std::span<const std::uint8_t, kHeaderBytes> from);
    std::array<std::uint8_t, kHeaderBytes> Bytes() const;
};

}  // namespace kestrel::compound
