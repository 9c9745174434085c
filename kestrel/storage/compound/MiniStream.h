#pragma once
#include <cstdint>
#include <span>
#include <vector>

#include "kestrel/storage/compound/Chain.h"
#include "kestrel/storage/compound/Directory.h"

namespace kestrel::compound {

/// Streams below 4,096 bytes: pieces of 64 bytes within one stream of the root entry, with a table of their own. Its
/// sectors are copied on writing like any other's, so that the pieces in them may be written at once.
class MiniStream {
public:
    MiniStream(SectorStore& store, AllocationTable& table, const Header& header, Sector start)
        : perSector_(store.SectorSize() / 4),
          sectorSize_(store.SectorSize()),
          table_(store, table, header.firstMiniFat),
          data_(store, table, start) {}

    /// The pieces of a stream of that many bytes. kDamaged when there are fewer.
    Result<std::vector<Sector>> Pieces(Sector start, std::uint64_t size);
    /// All pieces, to the end of the chain.
    Result<std::vector<Sector>> AllPieces(Sector start);

    Error Read(std::span<const Sector> pieces, std::uint64_t position, std::span<std::uint8_t> to);
    Error Write(std::span<const Sector> pieces, std::uint64_t position, std::span<const std::uint8_t> from);
    Error Clear(std::span<const Sector> pieces, std::uint64_t position, std::uint64_t count);

    // ---- writing

    /// Counts the pieces of a stream as used and tells how many. kDamaged when one is used already or lies outside;
    /// those before it stay counted.
    Result<std::size_t> Mark(Sector start);
    /// Pieces that the table calls used and nobody marked.
    Result<std::size_t> CountUnmarked();
    /// Frees in the table what nobody marked.
    Error ReclaimUnmarked();
    /// Makes a stream that many pieces long. After an error it is as it was.
    Error SetLength(std::vector<Sector>& pieces, std::size_t length);
    /// Gives back sectors at the end that hold no piece.
    Error Shrink();
    /// Bytes up to the end of the last piece in use; good after `Shrink`.
    std::uint64_t Size() const { return std::uint64_t{used_.End()} << kMiniShift; }

    Chain& Table() { return table_; }
    Chain& Data() { return data_; }

private:
    Result<Sector> Get(Sector piece);
    Error Set(Sector piece, Sector next);
    Result<std::vector<Sector>> Unmarked();
    Result<Sector> Allocate();
    Error Release(Sector piece);
    template <class Part>
    Error ForParts(std::span<const Sector> pieces, std::uint64_t position, std::uint64_t count, const Part& part);

    std::uint32_t perSector_;  // entries of the table
    std::uint32_t sectorSize_;
    Chain table_;
    Chain data_;
    SectorSet used_;
    std::size_t search_ = 0;
};

}  // namespace kestrel::compound
