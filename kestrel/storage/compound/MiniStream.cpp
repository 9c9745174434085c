#include "kestrel/storage/compound/MiniStream.h"

#include <algorithm>
#include <bit>

namespace kestrel::compound {

Result<Sector> MiniStream::Get(Sector piece) {
    const auto page = table_.Page(piece / perSector_);
    if (!page) return page.Failure();
    return Load<Sector>(*page + 4 * (piece % perSector_));
}

Error MiniStream::Set(Sector piece, Sector next) {
    const auto page = table_.Change(piece / perSector_);
    if (!page) return page.Failure();
    Store(*page + 4 * (piece % perSector_), next);
    return Error::kNone;
}

Result<std::vector<Sector>> MiniStream::Pieces(Sector start, std::uint64_t size) {
    std::vector<Sector> pieces;
    Sector piece = start;
    for (std::uint64_t done = 0; done < size; done += kMiniSize) {
        if (piece >= kMaxSector) return Error::kDamaged;
        pieces.push_back(piece);
        const auto next = Get(piece);
        if (!next) return next.Failure();
        piece = *next;
    }
    return pieces;
}

Result<std::vector<Sector>> MiniStream::AllPieces(Sector start) {
    const auto sectors = table_.Length();
    if (!sectors) return sectors.Failure();
    std::vector<Sector> pieces;
    for (Sector piece = start; piece != kEndOfChain;) {
        if (piece >= kMaxSector || pieces.size() >= *sectors * perSector_) return Error::kDamaged;
        pieces.push_back(piece);
        const auto next = Get(piece);
        if (!next) return next.Failure();
        piece = *next;
    }
    return pieces;
}

/// Cuts a range of bytes where pieces end; `part` gets the place within the whole mini stream.
template <class Part>
Error MiniStream::ForParts(std::span<const Sector> pieces, std::uint64_t position, std::uint64_t count,
                           const Part& part) {
    for (std::uint64_t done = 0; done < count;) {
        const std::uint64_t at = position + done;
        const std::uint64_t within = at % kMiniSize;
        const std::uint64_t taken = std::min<std::uint64_t>(kMiniSize - within, count - done);
        const auto index = static_cast<std::size_t>(at >> kMiniShift);
        if (index >= pieces.size()) return Error::kDamaged;
        const Error error = part((std::uint64_t{pieces[index]} << kMiniShift) + within, static_cast<std::size_t>(done),
                                 static_cast<std::size_t>(taken));
        if (error != Error::kNone) return error;
        done += taken;
    }
    return Error::kNone;
}

Error MiniStream::Read(std::span<const Sector> pieces, std::uint64_t position, std::span<std::uint8_t> to) {
    return ForParts(pieces, position, to.size(), [&](std::uint64_t at, std::size_t done, std::size_t count) {
        const auto page = data_.Page(static_cast<std::size_t>(at / sectorSize_));
        if (!page) return page.Failure();
        std::copy_n(*page + at % sectorSize_, count, to.begin() + static_cast<std::ptrdiff_t>(done));
        return Error::kNone;
    });
}

Error MiniStream::Write(std::span<const Sector> pieces, std::uint64_t position, std::span<const std::uint8_t> from) {
    return ForParts(pieces, position, from.size(), [&](std::uint64_t at, std::size_t done, std::size_t count) {
        const auto page = data_.Change(static_cast<std::size_t>(at / sectorSize_));
        if (!page) return page.Failure();
        std::copy_n(from.begin() + static_cast<std::ptrdiff_t>(done), count, *page + at % sectorSize_);
        return Error::kNone;
    });
}

Error MiniStream::Clear(std::span<const Sector> pieces, std::uint64_t position, std::uint64_t count) {
    const std::vector<std::uint8_t> zeros(static_cast<std::size_t>(count));
    return Write(pieces, position, zeros);
}

Result<std::size_t> MiniStream::Mark(Sector start) {
    const auto sectors = data_.Length();
    if (!sectors) return sectors;
    std::size_t count = 0;
    for (Sector piece = start; piece != kEndOfChain; ++count) {
        if (piece / (sectorSize_ / kMiniSize) >= *sectors || used_.Has(piece)) return Error::kDamaged;
        const auto next = Get(piece);
        if (!next) return next.Failure();
        used_.Add(piece);
        piece = *next;
    }
    return count;
}

Result<std::vector<Sector>> MiniStream::Unmarked() {
    const auto sectors = table_.Length();
    if (!sectors) return sectors.Failure();
    std::vector<Sector> pieces;
    for (Sector piece = 0; piece < *sectors * perSector_; ++piece) {
        if (used_.Has(piece)) continue;
        const auto next = Get(piece);
        if (!next) return next.Failure();
        if (*next != kFreeSector) pieces.push_back(piece);
    }
    return pieces;
}

Result<std::size_t> MiniStream::CountUnmarked() {
    const auto pieces = Unmarked();
    if (!pieces) return pieces.Failure();
    return pieces->size();
}

Error MiniStream::ReclaimUnmarked() {
    const auto pieces = Unmarked();
    if (!pieces) return pieces.Failure();
    for (const Sector piece : *pieces)
        if (const Error error = Set(piece, kFreeSector); error != Error::kNone) return error;
    return Error::kNone;
}

Result<Sector> MiniStream::Allocate() {
    while (used_.Word(search_) == ~std::uint64_t{0}) ++search_;
    const auto piece = static_cast<Sector>(search_ * 64 + static_cast<unsigned>(std::countr_one(used_.Word(search_))));
    const auto listed = table_.Length();
    if (!listed) return listed.Failure();
    if (piece / perSector_ >= *listed) {
        if (const Error error = table_.AddPage(); error != Error::kNone) return error;
        const auto page = table_.Change(*listed);
        if (!page) return page.Failure();
        std::fill_n(*page, sectorSize_, std::uint8_t{0xFF});
    }
    const auto sectors = data_.Length();
    if (!sectors) return sectors.Failure();
    for (std::size_t have = *sectors; have <= piece / (sectorSize_ / kMiniSize); ++have)
        if (const Error error = data_.AddPage(); error != Error::kNone) return error;
    if (const Error error = Set(piece, kEndOfChain); error != Error::kNone) return error;
    used_.Add(piece);
    return piece;
}

Error MiniStream::Release(Sector piece) {
    if (const Error error = Set(piece, kFreeSector); error != Error::kNone) return error;
    used_.Remove(piece);
    search_ = std::min<std::size_t>(search_, piece / 64);
    return Error::kNone;
}

Error MiniStream::SetLength(std::vector<Sector>& pieces, std::size_t length) {
    const std::size_t before = pieces.size();
    if (length < before) {
        if (length > 0)
            if (const Error error = Set(pieces[length - 1], kEndOfChain); error != Error::kNone) return error;
        for (; pieces.size() > length; pieces.pop_back())
            if (const Error error = Release(pieces.back()); error != Error::kNone) return error;
    }
    while (pieces.size() < length) {
        const auto piece = Allocate();
        Error error = piece.Failure();
        if (piece) {
            if (!pieces.empty()) error = Set(pieces.back(), *piece);
            pieces.push_back(*piece);
        }
        if (error == Error::kNone) continue;
        const Error cut = SetLength(pieces, before);
        return cut == Error::kNone ? error : cut;
    }
    return Error::kNone;
}

Error MiniStream::Shrink() {
    const std::size_t pieces = used_.End();
    const std::size_t perData = sectorSize_ / kMiniSize;
    if (const Error error = table_.SetLength((pieces + perSector_ - 1) / perSector_); error != Error::kNone)
        return error;
    return data_.SetLength((pieces + perData - 1) / perData);
}

}  // namespace kestrel::compound
