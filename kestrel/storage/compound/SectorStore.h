#pragma once
#include <cstdint>
#include <memory>
#include <span>
#include <unordered_map>
#include <vector>

#include "kestrel/storage/compound/ByteStore.h"
#include "kestrel/storage/compound/Format.h"

namespace kestrel::compound {

/// The store in sectors, with a write-back cache for those that are handled piece by piece: directory, mini stream and
/// its table, streams that are written in small portions. Runs of whole sectors pass by the cache.
class SectorStore {
public:
    SectorStore(std::unique_ptr<ByteStore> store, unsigned shift, std::uint64_t size)
        : store_(std::move(store)), shift_(shift), size_(size) {}

    ByteStore& Bytes() { return *store_; }
    std::uint32_t SectorSize() const { return 1U << shift_; }
    unsigned Shift() const { return shift_; }
    std::uint64_t Offset(Sector sector) const { return (std::uint64_t{sector} + 1) << shift_; }
    /// Sectors that begin within the store; the last may be cut short.
    Sector Count() const;
    /// Bytes of the store, changed by writes and `SetSize`.
    std::uint64_t Size() const { return size_; }

    /// The bytes of one sector; on the way come those of the next ones, `run` in all. The pointer is good until `Trim`,
    /// `Drop` or `Move` of this sector. kDamaged when the store ends before the sector begins; a last sector that is
    /// cut short ends in zeros.
    Result<std::uint8_t*> Load(Sector sector, Sector run = 1);
    /// A sector of zeros in the cache, to be written later; whatever the store holds there is not read.
    std::uint8_t* Fresh(Sector sector);
    /// Whoever changes the bytes that `Load` gave says so.
    void Touch(Sector sector) { SetDirty(pages_.find(sector)->second); }
    /// The cached bytes of one sector become those of another; the store is not touched.
    std::uint8_t* Move(Sector from, Sector to);
    /// Forgets what the cache has of a sector.
    void Drop(Sector sector);
    bool Cached(Sector sector) const { return pages_.count(sector) != 0; }

    /// Reads bytes from within a run of sectors, from the cache what waits there to be written.
    Error ReadRun(Sector first, std::uint32_t offset, std::span<std::uint8_t> to);
    /// Writes bytes over whole sectors from `first` on; the cache forgets them.
    Error WriteRun(Sector first, std::span<const std::uint8_t> from);

    /// Writes all changed sectors, in order of place and neighbours together. After an error they wait on.
    Error WriteBack();
    /// Keeps the cache within its bound. Called between operations only, since it ends pointers.
    Error Trim();
    Error SetSize(std::uint64_t size);

private:
    struct Page {
        std::unique_ptr<std::uint8_t[]> bytes;
        bool dirty = false;
    };

    void SetDirty(Page& page) {
        dirty_ += page.dirty ? 0 : 1;
        page.dirty = true;
    }

    std::unique_ptr<ByteStore> store_;
    unsigned shift_;
    std::uint64_t size_;
    std::size_t dirty_ = 0;  // pages that wait to be written
    std::unordered_map<Sector, Page> pages_;
};

}  // namespace kestrel::compound
