#pragma once
#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

#include "kestrel/storage/compound/Header.h"
#include "kestrel/storage/compound/SectorStore.h"

namespace kestrel::compound {

/// A set of sectors, one bit each.
class SectorSet {
public:
    bool Has(Sector s) const { return s / 64 < words_.size() && (words_[s / 64] >> (s % 64) & 1) != 0; }
    void Add(Sector s) {
        if (s / 64 >= words_.size()) words_.resize(s / 64 + 1 + words_.size() / 2);
        words_[s / 64] |= std::uint64_t{1} << (s % 64);
    }
    void Remove(Sector s) {
        if (s / 64 < words_.size()) words_[s / 64] &= ~(std::uint64_t{1} << (s % 64));
    }
    std::uint64_t Word(std::size_t i) const { return i < words_.size() ? words_[i] : 0; }
    /// One more than the highest member; 0 for the empty set.
    Sector End() const;
    Sector Count() const;

private:
    std::vector<std::uint64_t> words_;
};

/// The FAT with its DIFAT: which sector follows which, and which are free.
///
/// Pages of the table are read as they are asked for. To write, the owner first tells all sectors in use
/// (`StartWriting`, `Mark`); a sector that the last commit uses is not given out again before the next one, so that the
/// file on the disk stays whole whatever happens in between.
class AllocationTable {
public:
    explicit AllocationTable(SectorStore& store) : store_(store), perPage_(store.SectorSize() / 4) {}

    /// Finds the table's pages, as far as the DIFAT can be followed; a sector whose page is missing counts as free.
    /// Their number is bounded by the store's size, whatever header and DIFAT claim.
    Error Open(const Header& header);

    /// What the table says of a sector; `kFreeSector` beyond its end.
    Result<Sector> Get(Sector sector);
    /// The sector after this one, or `kEndOfChain`; kDamaged for anything else.
    Result<Sector> Next(Sector sector);

    // ---- writing

    /// Loads the whole table and counts its own sectors as used; the owner marks the rest.
    Error StartWriting();
    /// Counts a sector as used by the last commit. False when it was already.
    bool Mark(Sector sector);
    /// Frees in the table what nobody marked: sectors that another writer lost.
    void ReclaimUnmarked();

    Result<Sector> Allocate();
    void Set(Sector sector, Sector next);
    /// Gives a sector back. What the last commit uses becomes available with the next.
    void Free(Sector sector);
    /// Whether the last commit uses the sector, so that it must not be written.
    bool Committed(Sector sector) const { return committed_.Has(sector); }
    Sector UsedEnd() const { return used_.End(); }
    Sector UsedCount() const { return used_.Count(); }
    /// The highest sector of the table's own.
    Sector LastOwn() const;
    /// Pages of the table from this sector on are to move with the next `Write`.
    void MovePagesFrom(Sector sector);
    /// Every sector that a chain can name lies below: in the store, or given out and not written yet.
    Sector Bound() const { return std::max(store_.Count(), bound_); }

    /// Moves changed pages to free sectors, writes them, and enters their places into the header.
    Error Write(Header& header);
    /// The header is on the disk: what it uses is what counts.
    void CommitDone();

    const std::vector<Sector>& Pages() const { return places_; }
    const std::vector<Sector>& Difat() const { return difat_; }

private:
    struct Page {
        std::vector<Sector> next;  // empty until loaded
        bool dirty = false;
    };

    Sector Limit() const;
    Error LoadPage(std::size_t index);
    void AddPage();
    Result<Sector> Moved(Sector place, Sector mark);
    void DropNeedlessPages();
    void EnterRangeLock();
    Error PlaceAll();
    Error PlaceDifat();
    Error WritePages();
    Error WriteDifat();

    SectorStore& store_;
    std::uint32_t perPage_;
    std::vector<Page> pages_;
    std::vector<Sector> places_;  // of the pages; kFreeSector until a new page has one
    std::vector<Sector> difat_;   // the DIFAT's own sectors
    SectorSet committed_;
    SectorSet used_;
    Sector bound_ = 0;
    std::size_t search_ = 0;  // no word of the sets before this one has room
    bool difatDirty_ = false;
    bool lockReserved_ = false;  // the range lock sector counts as used
};

}  // namespace kestrel::compound
