#include "kestrel/storage/compound/AllocationTable.h"

#include <algorithm>
#include <bit>

namespace kestrel::compound {
namespace {

constexpr std::size_t kPagesAtOnce = 64;

}  // namespace

Sector SectorSet::End() const {
    for (std::size_t i = words_.size(); i > 0; --i)
        if (words_[i - 1] != 0)
            return static_cast<Sector>(i * 64 - static_cast<unsigned>(std::countl_zero(words_[i - 1])));
    return 0;
}

Sector SectorSet::Count() const {
    Sector count = 0;
    for (const std::uint64_t word : words_) count += static_cast<Sector>(std::popcount(word));
    return count;
}

Error AllocationTable::Open(const Header& header) {
    bool ended = false;
    const auto take = [&](Sector place) {
        ended = ended || places_.size() >= store_.Count() || place >= kMaxSector;
        if (!ended) places_.push_back(place);
    };
    for (const Sector place : header.difat) take(place);
    std::vector<std::uint8_t> bytes(store_.SectorSize());
    for (Sector at = header.firstDifat; at < store_.Count() && !ended;) {
        if (const Error error = store_.ReadRun(at, 0, bytes); error != Error::kNone) return error;
        difat_.push_back(at);
        for (std::size_t i = 0; i + 1 < perPage_; ++i) take(Load<Sector>(bytes.data() + 4 * i));
        at = Load<Sector>(bytes.data() + 4 * (perPage_ - 1));
    }
    pages_.resize(places_.size());
    return Error::kNone;
}

/// Pages that follow each other in the store are read together: the table of a large version 3 file has thousands.
Error AllocationTable::LoadPage(std::size_t index) {
    if (!pages_[index].next.empty()) return Error::kNone;
    if (places_[index] >= store_.Count()) return Error::kDamaged;
    std::size_t end = index + 1;
    while (end < pages_.size() && end < index + kPagesAtOnce && pages_[end].next.empty() &&
           places_[end] == places_[end - 1] + 1 && places_[end] < store_.Count())
        ++end;
    std::vector<std::uint8_t> bytes((end - index) << store_.Shift());
    if (const Error error = store_.ReadRun(places_[index], 0, bytes); error != Error::kNone) return error;
    const std::uint8_t* from = bytes.data();
    for (; index < end; ++index) {
        pages_[index].next.resize(perPage_);
        for (Sector& next : pages_[index].next) {
            next = Load<Sector>(from);
            from += sizeof(Sector);
        }
    }
    return Error::kNone;
}

Result<Sector> AllocationTable::Get(Sector sector) {
    const std::size_t index = sector / perPage_;
    if (index >= pages_.size()) return kFreeSector;
    if (const Error error = LoadPage(index); error != Error::kNone) return error;
    return pages_[index].next[sector % perPage_];
}

Result<Sector> AllocationTable::Next(Sector sector) {
    const auto next = Get(sector);
    if (!next || *next == kEndOfChain || *next < kMaxSector) return next;
    return Error::kDamaged;
}

Error AllocationTable::StartWriting() {
    for (std::size_t i = 0; i < pages_.size(); ++i)
        if (const Error error = LoadPage(i); error != Error::kNone) return error;
    for (const auto* own : {&places_, &difat_})
        for (const Sector sector : *own)
            if (!Mark(sector)) return Error::kDamaged;
    return Error::kNone;
}

bool AllocationTable::Mark(Sector sector) {
    if (committed_.Has(sector)) return false;
    committed_.Add(sector);
    used_.Add(sector);
    return true;
}

void AllocationTable::ReclaimUnmarked() {
    const Sector end = static_cast<Sector>(std::min<std::size_t>(pages_.size() * perPage_, kMaxSector));
    for (Sector sector = 0; sector < end; ++sector)
        if (!used_.Has(sector) && pages_[sector / perPage_].next[sector % perPage_] != kFreeSector)
            Set(sector, kFreeSector);
}

Sector AllocationTable::Limit() const {
    constexpr std::uint64_t kVersion3End = std::uint64_t{1} << 31;
    return store_.Shift() == 9 ? static_cast<Sector>((kVersion3End >> 9) - 1) : kMaxSector;
}

Result<Sector> AllocationTable::Allocate() {
    while ((used_.Word(search_) | committed_.Word(search_)) == ~std::uint64_t{0}) ++search_;
    const std::uint64_t taken = used_.Word(search_) | committed_.Word(search_);
    auto sector = static_cast<Sector>(search_ * 64 + static_cast<unsigned>(std::countr_one(taken)));
    if (store_.Shift() == 12 && sector == kRangeLockSector) {
        used_.Add(sector);
        lockReserved_ = true;
        return Allocate();
    }
    if (sector >= Limit()) return Error::kTooLarge;
    used_.Add(sector);
    bound_ = std::max(bound_, sector + 1);
    return sector;
}

void AllocationTable::Set(Sector sector, Sector next) {
    const std::size_t index = sector / perPage_;
    while (index >= pages_.size()) AddPage();
    Sector& entry = pages_[index].next[sector % perPage_];
    if (entry == next) return;
    entry = next;
    pages_[index].dirty = true;
}

void AllocationTable::AddPage() {
    pages_.push_back({std::vector<Sector>(perPage_, kFreeSector), true});
    places_.push_back(kFreeSector);
    difatDirty_ = true;
}

void AllocationTable::Free(Sector sector) {
    Set(sector, kFreeSector);
    used_.Remove(sector);
    store_.Drop(sector);
    if (!committed_.Has(sector)) search_ = std::min<std::size_t>(search_, sector / 64);
}

/// Where a sector of the tables themselves can be written: its own place, or a new one when the last commit uses it.
Result<Sector> AllocationTable::Moved(Sector place, Sector mark) {
    if (place != kFreeSector && !committed_.Has(place)) return place;
    const auto moved = Allocate();
    if (!moved) return moved;
    if (place != kFreeSector) Free(place);
    Set(*moved, mark);
    return moved;
}

/// Placing a page changes the table itself: the old place becomes free, the new one taken, in pages that may then have
/// to move as well. Each page moves at most once, so that this ends.
Error AllocationTable::PlaceAll() {
    for (bool again = true; again;) {
        again = false;
        for (std::size_t i = 0; i < pages_.size(); ++i) {
            if (!pages_[i].dirty || (places_[i] != kFreeSector && !committed_.Has(places_[i]))) continue;
            const auto place = Moved(places_[i], kFatSector);
            if (!place) return place.Failure();
            places_[i] = *place;
            difatDirty_ = difatDirty_ || i >= kHeaderDifat;
            again = true;
        }
        if (again || !difatDirty_) continue;
        if (const Error error = PlaceDifat(); error != Error::kNone) return error;
        difatDirty_ = false;
        again = true;
    }
    return Error::kNone;
}

/// The DIFAT is a list whose links lie in its sectors: it moves as a whole.
Error AllocationTable::PlaceDifat() {
    const std::size_t listed = places_.size() > kHeaderDifat ? places_.size() - kHeaderDifat : 0;
    const std::size_t needed = (listed + perPage_ - 2) / (perPage_ - 1);
    for (; difat_.size() > needed; difat_.pop_back())
        if (difat_.back() != kFreeSector) Free(difat_.back());
    difat_.resize(needed, kFreeSector);
    for (Sector& own : difat_) {
        const auto place = Moved(own, kDifatSector);
        if (!place) return place.Failure();
        own = *place;
    }
    return Error::kNone;
}

/// Pages that tell of nothing but the table's own sectors go; sectors of the table that lie so far out lose their
/// place, to be given one further down.
void AllocationTable::DropNeedlessPages() {
    SectorSet others = used_;
    for (const auto* own : {&places_, &difat_})
        for (const Sector sector : *own) others.Remove(sector);
    if (lockReserved_) others.Remove(kRangeLockSector);
    const std::size_t kept = std::max<std::size_t>(1, (std::size_t{others.End()} + perPage_ - 1) / perPage_);
    if (lockReserved_ && others.End() <= kRangeLockSector) {
        used_.Remove(kRangeLockSector);
        lockReserved_ = false;
    }
    if (kept >= pages_.size()) return;
    const auto leave = [&](Sector& place) {
        if (place / perPage_ < kept || place == kFreeSector) return false;
        used_.Remove(place);
        place = kFreeSector;
        return true;
    };
    for (std::size_t i = 0; i < pages_.size(); ++i) {
        if (leave(places_[i])) pages_[i].dirty = true;
        if (i >= kept && places_[i] != kFreeSector) Free(places_[i]);
    }
    for (Sector& place : difat_) leave(place);
    pages_.resize(kept);
    places_.resize(kept);
    difatDirty_ = true;
    search_ = 0;
}

/// Beyond 2 GB the table has to call the range lock sector taken. Other writers may have put data there.
void AllocationTable::EnterRangeLock() {
    const std::size_t index = kRangeLockSector / perPage_;
    if (store_.Shift() != 12 || index >= pages_.size()) return;
    const bool reserved = used_.End() > kRangeLockSector;
    const bool free = pages_[index].next[kRangeLockSector % perPage_] == kFreeSector;
    if (reserved && free) Set(kRangeLockSector, kEndOfChain);
    if (!reserved && !free) Set(kRangeLockSector, kFreeSector);
}

Error AllocationTable::Write(Header& header) {
    DropNeedlessPages();
    if (const Error error = PlaceAll(); error != Error::kNone) return error;
    EnterRangeLock();  // now that it is known how far the table reaches
    if (const Error error = PlaceAll(); error != Error::kNone) return error;
    if (const Error error = WritePages(); error != Error::kNone) return error;
    if (const Error error = WriteDifat(); error != Error::kNone) return error;

    header.fatSectors = static_cast<std::uint32_t>(places_.size());
    header.difat.fill(kFreeSector);
    std::copy_n(places_.begin(), std::min(places_.size(), kHeaderDifat), header.difat.begin());
    header.difatSectors = static_cast<std::uint32_t>(difat_.size());
    header.firstDifat = difat_.empty() ? kEndOfChain : difat_.front();
    return Error::kNone;
}

Error AllocationTable::WritePages() {
    for (std::size_t i = 0; i < pages_.size(); ++i) {
        if (!pages_[i].dirty) continue;
        std::vector<std::uint8_t> bytes(store_.SectorSize());
        for (std::size_t j = 0; j < perPage_; ++j) Store(bytes.data() + 4 * j, pages_[i].next[j]);
        if (const Error error = store_.WriteRun(places_[i], bytes); error != Error::kNone) return error;
    }
    return Error::kNone;
}

Error AllocationTable::WriteDifat() {
    std::size_t listed = kHeaderDifat;
    for (std::size_t i = 0; i < difat_.size(); ++i) {
        std::vector<std::uint8_t> bytes(store_.SectorSize(), 0xFF);
        for (std::size_t j = 0; j + 1 < perPage_ && listed < places_.size(); ++j)
            Store(bytes.data() + 4 * j, places_[listed++]);
        Store(bytes.data() + 4 * (perPage_ - 1), i + 1 < difat_.size() ? difat_[i + 1] : kEndOfChain);
        if (committed_.Has(difat_[i])) continue;  // as the last commit wrote it
        if (const Error error = store_.WriteRun(difat_[i], bytes); error != Error::kNone) return error;
    }
    return Error::kNone;
}

Sector AllocationTable::LastOwn() const {
    Sector last = 0;
    for (const auto* own : {&places_, &difat_})
        for (const Sector sector : *own) last = std::max(last, sector);
    return last;
}

void AllocationTable::MovePagesFrom(Sector sector) {
    for (std::size_t i = 0; i < pages_.size(); ++i) pages_[i].dirty = pages_[i].dirty || places_[i] >= sector;
    difatDirty_ = difatDirty_ || std::any_of(difat_.begin(), difat_.end(), [&](Sector s) { return s >= sector; });
}

void AllocationTable::CommitDone() {
    committed_ = used_;
    for (Page& page : pages_) page.dirty = false;
    search_ = 0;
    bound_ = 0;
}

}  // namespace kestrel::compound
