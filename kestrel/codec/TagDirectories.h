#pragma once
#include <cstdint>
#include <span>
#include <vector>

#include "kestrel/foundation/ByteReader.h"

// The directories of tags that TIFF files and EXIF data consist of. Positions count from the byte order mark.
namespace kestrel {

/// One entry: a tag and where its values lie.
struct TagEntry {
    std::uint64_t at = 0;  ///< of the entry itself
    unsigned tag = 0;
    unsigned type = 0;
    std::uint64_t count = 0;
    std::uint64_t value = 0;  ///< where the values' bytes begin: in the entry, or elsewhere
    std::uint64_t size = 0;   ///< bytes of the values; 0 for values that do not lie in the data
};

struct TagDirectory {
    std::uint64_t at = 0;
    std::uint64_t end = 0;  ///< behind its last byte; 0 for a directory that is not there
    std::vector<TagEntry> entries{};
    std::uint64_t next = 0;  ///< 0: none

    /// The first entry of a tag that has values; null without one.
    const TagEntry* Find(unsigned tag) const;
};

/// Types of values that have a name here.
enum TagType : unsigned { kTagByte = 1, kTagAscii = 2, kTagShort = 3, kTagLong = 4, kTagRational = 5, kTagBlock = 7 };
/// Bytes of a value; 0 for an unknown type.
std::size_t TagTypeSize(unsigned type);

/// Reads directories from the source's position on. No position is believed, and nothing is read past the end.
class TagReader {
public:
    explicit TagReader(ByteReader source);
    /// Of data in two pieces: the head, 8 or 16 bytes, and all from position `from` on.
    TagReader(ByteReader head, ByteReader rest, std::uint64_t from);

    /// Whether the data begin as such data do.
    bool IsValid() const { return valid_; }
    bool IsBigEndian() const { return bigEndian_; }
    /// Positions of 64 bits, as in TIFF files above 4 GB.
    bool IsLarge() const { return large_; }
    std::uint64_t First() const { return first_; }
    std::size_t EntrySize() const { return large_ ? 20 : 12; }
    /// Bytes of a position, and of the values that an entry holds itself.
    std::size_t PlaceSize() const { return large_ ? 8 : 4; }

    /// Empty for a position that is 0 or outside. Entries that the data's end cuts off are left out.
    TagDirectory Read(std::uint64_t at);
    /// The directory that an entry points to.
    TagDirectory Below(const TagDirectory& directory, unsigned tag);

    /// Number `index` of whole numbers; 0 when there is none.
    std::uint64_t Number(const TagEntry* entry, std::uint64_t index = 0);
    /// The same for fractions and whole numbers.
    double Fraction(const TagEntry* entry, std::uint64_t index = 0);
    std::vector<std::uint8_t> Bytes(const TagEntry& entry);

private:
    std::uint64_t Get(std::uint64_t at, std::size_t size);
    bool Holds(std::uint64_t at, std::uint64_t size) const {
        return at >= lowest_ && at <= size_ && size <= size_ - at;
    }

    ByteReader source_;
    std::uint64_t start_;       ///< position in the source of the data's first byte, modulo 2^64
    std::uint64_t lowest_ = 0;  ///< of the positions that are there
    std::uint64_t size_;
    bool valid_ = false, bigEndian_ = false, large_ = false;
    std::uint64_t first_ = 0;
};

}  // namespace kestrel
