#include "kestrel/storage/compound/Header.h"

#include <algorithm>

namespace kestrel::compound {
namespace {

constexpr std::uint8_t kSignature[] = {0xD0, 0xCF, 0x11, 0xE0, 0xA1, 0xB1, 0x1A, 0xE1};
constexpr std::uint16_t kMinorVersion = 0x3E;
constexpr std::uint16_t kLittleEndian = 0xFFFE;

// Where the fields lie, in bytes.
constexpr std::size_t kMinorAt = 24;
constexpr std::size_t kMajorAt = 26;
constexpr std::size_t kByteOrderAt = 28;
constexpr std::size_t kSectorShiftAt = 30;
constexpr std::size_t kMiniShiftAt = 32;
constexpr std::size_t kDirectorySectorsAt = 40;
constexpr std::size_t kFatSectorsAt = 44;
constexpr std::size_t kFirstDirectoryAt = 48;
constexpr std::size_t kTransactionAt = 52;
constexpr std::size_t kMiniCutoffAt = 56;
constexpr std::size_t kFirstMiniFatAt = 60;
constexpr std::size_t kMiniFatSectorsAt = 64;
constexpr std::size_t kFirstDifatAt = 68;
constexpr std::size_t kDifatSectorsAt = 72;
constexpr std::size_t kDifatAt = 76;

}  // namespace

Result<Header> Header::Read(std::span<const std::uint8_t, kHeaderBytes> from) {
    const auto u16 = [&](std::size_t at) { return Load<std::uint16_t>(from.data() + at); };
    const auto u32 = [&](std::size_t at) { return Load<std::uint32_t>(from.data() + at); };
    if (!std::equal(std::begin(kSignature), std::end(kSignature), from.begin())) return Error::kNotCompound;
    const unsigned major = u16(kMajorAt);
    const unsigned shift = u16(kSectorShiftAt);
    const bool known = (major == 3 && shift == 9) || (major == 4 && shift == 12);
    if (!known || u16(kByteOrderAt) != kLittleEndian || u16(kMiniShiftAt) != kMiniShift ||
        u32(kMiniCutoffAt) != kMiniCutoff)
        return Error::kNotCompound;

    Header header;
    header.version = static_cast<Version>(major);
    header.sectorShift = shift;
    header.directorySectors = u32(kDirectorySectorsAt);
    header.fatSectors = u32(kFatSectorsAt);
    header.firstDirectory = u32(kFirstDirectoryAt);
    header.transaction = u32(kTransactionAt);
    header.firstMiniFat = u32(kFirstMiniFatAt);
    header.miniFatSectors = u32(kMiniFatSectorsAt);
    header.firstDifat = u32(kFirstDifatAt);
    header.difatSectors = u32(kDifatSectorsAt);
    for (std::size_t i = 0; i < kHeaderDifat; ++i) header.difat[i] = u32(kDifatAt + 4 * i);
    return header;
}

std::array<std::uint8_t, kHeaderBytes> Header::Bytes() const {
    std::array<std::uint8_t, kHeaderBytes> bytes{};
    const auto put = [&](std::size_t at, auto value) { Store(bytes.data() + at, value); };
    std::copy(std::begin(kSignature), std::end(kSignature), bytes.begin());
    put(kMinorAt, kMinorVersion);
    put(kMajorAt, static_cast<std::uint16_t>(version));
    put(kByteOrderAt, kLittleEndian);
    put(kSectorShiftAt, static_cast<std::uint16_t>(sectorShift));
    put(kMiniShiftAt, static_cast<std::uint16_t>(kMiniShift));
    put(kDirectorySectorsAt, directorySectors);
    put(kFatSectorsAt, fatSectors);
    put(kFirstDirectoryAt, firstDirectory);
    put(kTransactionAt, transaction);
    put(kMiniCutoffAt, static_cast<std::uint32_t>(kMiniCutoff));
    put(kFirstMiniFatAt, firstMiniFat);
    put(kMiniFatSectorsAt, miniFatSectors);
    put(kFirstDifatAt, firstDifat);
    put(kDifatSectorsAt, difatSectors);
    for (std::size_t i = 0; i < kHeaderDifat; ++i) put(kDifatAt + 4 * i, difat[i]);
    return bytes;
}

}  // namespace kestrel::compound
