#include "kestrel/storage/compound/Chain.h"

#include <algorithm>

namespace kestrel::compound {
namespace {

constexpr std::size_t kAll = ~std::size_t{0};
constexpr std::size_t kAhead = 32U << 10;  // bytes that are read on the way with a page
constexpr std::size_t kZeros = 1U << 20;   // bytes of zeros that are written at once

/// Numbers in sequence from the beginning of `sectors`.
std::size_t RunLength(std::span<const Sector> sectors) {
    std::size_t run = 1;
    while (run < sectors.size() && sectors[run] == sectors[0] + run) ++run;
    return run;
}

}  // namespace

Error Chain::Follow(std::size_t index) {
    while (next_ != kEndOfChain && sectors_.size() <= index) {
        // A chain with more links than the store has sectors goes in a circle.
        if (next_ >= table_->Bound() || sectors_.size() >= table_->Bound()) return Error::kDamaged;
        const auto after = table_->Next(next_);
        if (!after) return after.Failure();
        sectors_.push_back(next_);
        next_ = *after;
    }
    return Error::kNone;
}

Result<std::size_t> Chain::Length() {
    if (const Error error = Follow(kAll); error != Error::kNone) return error;
    return sectors_.size();
}

Result<Sector> Chain::At(std::size_t index) {
    if (const Error error = Follow(index); error != Error::kNone) return error;
    return index < sectors_.size() ? sectors_[index] : kEndOfChain;
}

Error Chain::Read(std::uint64_t position, std::span<std::uint8_t> to) {
    if (to.empty()) return Error::kNone;
    const unsigned shift = store_->Shift();
    auto index = static_cast<std::size_t>(position >> shift);
    const auto last = static_cast<std::size_t>((position + to.size() - 1) >> shift);
    if (const Error error = Follow(last); error != Error::kNone) return error;
    if (last >= sectors_.size()) return Error::kDamaged;
    auto offset = static_cast<std::uint32_t>(position & (store_->SectorSize() - 1));
    while (!to.empty()) {
        const std::size_t run = RunLength(std::span(sectors_).subspan(index, last + 1 - index));
        const std::size_t count = std::min<std::size_t>((run << shift) - offset, to.size());
        if (const Error error = store_->ReadRun(sectors_[index], offset, to.first(count)); error != Error::kNone)
            return error;
        to = to.subspan(count);
        index += run;
        offset = 0;
    }
    return Error::kNone;
}

/// Cuts a range of bytes into what lies in one sector only, and whole sectors.
template <class Part>
Error Chain::ForParts(std::uint64_t position, std::uint64_t count, const Part& part) {
    const std::uint64_t size = store_->SectorSize();
    for (std::uint64_t done = 0; done < count;) {
        const std::uint64_t at = position + done;
        const std::uint64_t within = at & (size - 1);
        const std::uint64_t left = count - done;
        const std::uint64_t taken = within == 0 && left >= size ? left & ~(size - 1) : std::min(size - within, left);
        const auto error = part(static_cast<std::size_t>(at >> store_->Shift()), within, done, taken);
        if (error != Error::kNone) return error;
        done += taken;
    }
    return Error::kNone;
}

Error Chain::Write(std::uint64_t position, std::span<const std::uint8_t> from) {
    if (const auto length = Length(); !length) return length.Failure();
    if (position + from.size() > std::uint64_t{sectors_.size()} << store_->Shift()) return Error::kDamaged;
    return ForParts(position, from.size(),
                    [&](std::size_t index, std::uint64_t within, std::uint64_t done, auto count) {
                        const auto part = from.subspan(static_cast<std::size_t>(done), static_cast<std::size_t>(count));
                        if (count >= store_->SectorSize()) return WriteWhole(index, part);
                        const auto page = Change(index);
                        if (!page) return page.Failure();
                        std::copy(part.begin(), part.end(), *page + within);
                        return Error::kNone;
                    });
}

Error Chain::Clear(std::uint64_t position, std::uint64_t count) {
    if (const auto length = Length(); !length) return length.Failure();
    std::vector<std::uint8_t> zeros;
    return ForParts(position, count, [&](std::size_t index, std::uint64_t within, std::uint64_t, std::uint64_t part) {
        if (part < store_->SectorSize()) {
            const auto page = Change(index);
            if (!page) return page.Failure();
            std::fill_n(*page + within, part, std::uint8_t{0});
            return Error::kNone;
        }
        const std::size_t end = index + static_cast<std::size_t>(part >> store_->Shift());
        const Sector last = *std::max_element(sectors_.begin() + static_cast<std::ptrdiff_t>(index),
                                              sectors_.begin() + static_cast<std::ptrdiff_t>(end));
        const Sector before = store_->Count();  // the store grows by zeros: what lies beyond need not be written
        if (last >= before)
            if (const Error error = store_->SetSize(store_->Offset(last + 1)); error != Error::kNone) return error;
        zeros.resize(std::max<std::size_t>(kZeros, store_->SectorSize()));
        while (index < end) {
            if (sectors_[index] >= before && !store_->Cached(sectors_[index])) {
                ++index;
                continue;
            }
            std::size_t run = 1;
            while (index + run < end && sectors_[index + run] < before) ++run;
            run = std::min(run, zeros.size() >> store_->Shift());
            const Error error = WriteWhole(index, std::span(zeros).first(run << store_->Shift()));
            if (error != Error::kNone) return error;
            index += run;
        }
        return Error::kNone;
    });
}

/// New sectors take the place of those that the last commit uses; the chain takes them over once they are written.
Error Chain::WriteWhole(std::size_t index, std::span<const std::uint8_t> from) {
    const unsigned shift = store_->Shift();
    std::vector<Sector> places(from.size() >> shift);
    const auto giveBack = [&](std::size_t end) {
        for (std::size_t i = 0; i < end; ++i)
            if (places[i] != sectors_[index + i]) table_->Free(places[i]);
    };
    for (std::size_t i = 0; i < places.size(); ++i) {
        places[i] = sectors_[index + i];
        if (!table_->Committed(places[i])) continue;
        const auto moved = table_->Allocate();
        if (!moved) {
            giveBack(i);
            return moved.Failure();
        }
        places[i] = *moved;
    }
    for (std::size_t i = 0; i < places.size();) {
        const std::size_t run = RunLength(std::span(places).subspan(i));
        if (const Error error = store_->WriteRun(places[i], from.subspan(i << shift, run << shift));
            error != Error::kNone) {
            giveBack(places.size());
            return error;
        }
        i += run;
    }
    for (std::size_t i = 0; i < places.size(); ++i)
        if (places[i] != sectors_[index + i]) Relink(index + i, places[i]);
    return Error::kNone;
}

Result<const std::uint8_t*> Chain::Page(std::size_t index) {
    const auto sector = At(index);
    if (!sector) return sector.Failure();
    if (*sector == kEndOfChain) return Error::kDamaged;
    const std::size_t ahead = std::min(sectors_.size() - index, std::size_t{kAhead} >> store_->Shift());
    const auto run = static_cast<Sector>(RunLength(std::span(sectors_).subspan(index, ahead)));
    const auto page = store_->Load(*sector, run);
    if (!page) return page.Failure();
    return static_cast<const std::uint8_t*>(*page);
}

Result<std::uint8_t*> Chain::Change(std::size_t index) {
    if (const auto length = Length(); !length) return length.Failure();
    if (index >= sectors_.size()) return Error::kDamaged;
    const Sector sector = sectors_[index];
    if (sector >= store_->Count() && !store_->Cached(sector)) return store_->Fresh(sector);
    const auto page = store_->Load(sector);
    if (!page) return page;
    if (!table_->Committed(sector)) {
        store_->Touch(sector);
        return page;
    }
    const auto moved = table_->Allocate();
    if (!moved) return moved.Failure();
    std::uint8_t* bytes = store_->Move(sector, *moved);
    Relink(index, *moved);
    return bytes;
}

void Chain::Relink(std::size_t index, Sector to) {
    table_->Set(to, index + 1 < sectors_.size() ? sectors_[index + 1] : kEndOfChain);
    if (index > 0) table_->Set(sectors_[index - 1], to);
    table_->Free(sectors_[index]);
    sectors_[index] = to;
}

Error Chain::Append() {
    const auto sector = table_->Allocate();
    if (!sector) return sector.Failure();
    table_->Set(*sector, kEndOfChain);
    if (!sectors_.empty()) table_->Set(sectors_.back(), *sector);
    sectors_.push_back(*sector);
    return Error::kNone;
}

Error Chain::SetLength(std::size_t length) {
    const auto before = Length();
    if (!before) return before.Failure();
    for (; sectors_.size() > length; sectors_.pop_back()) table_->Free(sectors_.back());
    if (*before > length && length > 0) table_->Set(sectors_.back(), kEndOfChain);
    while (sectors_.size() < length)
        if (const Error error = Append(); error != Error::kNone) {
            const Error cut = SetLength(*before);
            return cut == Error::kNone ? error : cut;
        }
    return Error::kNone;
}

Error Chain::AddPage() {
    if (const auto length = Length(); !length) return length.Failure();
    if (const Error error = Append(); error != Error::kNone) return error;
    store_->Fresh(sectors_.back());
    return Error::kNone;
}

}  // namespace kestrel::compound
