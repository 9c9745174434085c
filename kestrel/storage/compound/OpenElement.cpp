#include "kestrel/storage/compound/OpenElement.h"

#include <algorithm>

#include "kestrel/storage/compound/File.h"

namespace kestrel::compound {
namespace {

constexpr std::size_t PiecesFor(std::uint64_t size) {
    return static_cast<std::size_t>((size + kMiniSize - 1) / kMiniSize);
}

Sector FirstSector(const DirectoryEntry& entry) {
    return entry.IsStream() && entry.size >= kMiniCutoff ? entry.start : kEndOfChain;
}

}  // namespace

OpenElement::OpenElement(File& file, EntryId id, const DirectoryEntry& entry)
    : file_(file), id_(id), chain_(file.Store(), file.Table(), FirstSector(entry)) {}

Error OpenElement::LoadPieces(const DirectoryEntry& entry, bool all) {
    if (piecesLoaded_ && (allPieces_ || !all)) return Error::kNone;
    const bool none = entry.size == 0;
    auto pieces = none  ? std::vector<Sector>{}
                  : all ? file_.Mini().AllPieces(entry.start)
                        : file_.Mini().Pieces(entry.start, entry.size);
    if (!pieces) return pieces.Failure();
    pieces_ = std::move(*pieces);
    piecesLoaded_ = true;
    allPieces_ = all;
    return Error::kNone;
}

Result<std::size_t> OpenElement::Read(std::uint64_t position, std::span<std::uint8_t> to) {
    static_cast<void>(file_.Trim());  // what cannot be written early waits: a full disk hinders no reading
    const auto entry = file_.Entry(id_);
    if (!entry) return entry.Failure();
    if (position >= entry->size) return std::size_t{0};
    to = to.first(static_cast<std::size_t>(std::min<std::uint64_t>(to.size(), entry->size - position)));
    Error error = Error::kNone;
    if (!entry->InMiniStream())
        error = chain_.Read(position, to);
    else if (error = LoadPieces(*entry, false); error == Error::kNone)
        error = file_.Mini().Read(pieces_, position, to);
    if (error != Error::kNone) return error;
    return to.size();
}

Error OpenElement::Write(std::uint64_t position, std::span<const std::uint8_t> from) {
    if (from.empty()) return Error::kNone;
    if (const Error error = file_.StartChange(); error != Error::kNone) return error;
    if (const Error error = file_.Trim(); error != Error::kNone) return error;
    auto entry = file_.Entry(id_);
    if (!entry) return entry.Failure();
    const std::uint64_t before = entry->size;
    if (position > file_.MaxStreamSize() || from.size() > file_.MaxStreamSize() - position) return Error::kTooLarge;
    file_.SetChanged();
    Error error = Resize(*entry, std::max(before, position + from.size()), position);
    if (error == Error::kNone) {
        error = entry->InMiniStream() ? file_.Mini().Write(pieces_, position, from) : chain_.Write(position, from);
        if (error != Error::kNone)
            if (const Error back = Resize(*entry, before, 0); back != Error::kNone) return file_.Break(back);
    }
    return Finish(*entry, error);
}

Error OpenElement::SetSize(std::uint64_t size) {
    if (const Error error = file_.StartChange(); error != Error::kNone) return error;
    auto entry = file_.Entry(id_);
    if (!entry) return entry.Failure();
    if (size > file_.MaxStreamSize()) return Error::kTooLarge;
    file_.SetChanged();
    return Finish(*entry, Resize(*entry, size, size));
}

/// After an error, too: sectors that were changed before it have moved.
Error OpenElement::Finish(DirectoryEntry& entry, Error error) {
    const auto before = file_.Entry(id_);
    if (!before) return file_.Break(before.Failure());
    entry.start = entry.InMiniStream() ? (pieces_.empty() ? kEndOfChain : pieces_.front()) : chain_.Start();
    if (entry.size != before->size || entry.start != before->start)
        if (const Error written = file_.SetEntry(id_, entry); written != Error::kNone) return file_.Break(written);
    return error;
}

/// Gives the stream room for `size` bytes and enters the size. Bytes from the old end up to `clearEnd` become zeros.
/// After an error all is as it was.
Error OpenElement::Resize(DirectoryEntry& entry, std::uint64_t size, std::uint64_t clearEnd) {
    const std::uint64_t before = entry.size;
    const bool mini = entry.InMiniStream();
    if (mini)
        if (const Error error = LoadPieces(entry, true); error != Error::kNone) return error;
    if (size == before) return Error::kNone;
    if (mini && size >= kMiniCutoff) return ToSectors(entry, size, clearEnd);
    if (!mini && size < kMiniCutoff) return ToPieces(entry, size);

    const std::uint64_t cleared = clearEnd > before ? clearEnd - before : 0;
    Error error = Error::kNone;
    if (mini) {
        if (pieces_.size() < PiecesFor(before)) return Error::kDamaged;
        const std::size_t length = pieces_.size();
        if (error = file_.Mini().SetLength(pieces_, PiecesFor(size)); error != Error::kNone) return error;
        if (error = file_.Mini().Clear(pieces_, before, cleared); error == Error::kNone) entry.size = size;
        if (error != Error::kNone)
            if (const Error back = file_.Mini().SetLength(pieces_, length); back != Error::kNone)
                return file_.Break(back);
        return error;
    }
    const auto length = chain_.Length();
    if (!length) return length.Failure();
    const unsigned shift = file_.Store().Shift();
    const auto sectors = [&](std::uint64_t bytes) {
        return static_cast<std::size_t>((bytes + file_.Store().SectorSize() - 1) >> shift);
    };
    if (*length < sectors(before) && size > before) return Error::kDamaged;  // what is missing is not made up
    if (error = chain_.SetLength(std::min(sectors(size), size < before ? *length : ~std::size_t{0}));
        error != Error::kNone)
        return error;
    if (cleared > 0) error = chain_.Clear(before, cleared);
    if (error == Error::kNone) entry.size = size;
    if (error != Error::kNone)
        if (const Error back = chain_.SetLength(*length); back != Error::kNone) return file_.Break(back);
    return error;
}

Error OpenElement::ToSectors(DirectoryEntry& entry, std::uint64_t size, std::uint64_t clearEnd) {
    std::vector<std::uint8_t> content(static_cast<std::size_t>(entry.size));
    Error error = file_.Mini().Read(pieces_, 0, content);
    if (error != Error::kNone) return error;
    Chain chain(file_.Store(), file_.Table());
    const std::uint64_t sector = file_.Store().SectorSize();
    error = chain.SetLength(static_cast<std::size_t>((size + sector - 1) / sector));
    if (error == Error::kNone) error = chain.Write(0, content);
    if (error == Error::kNone && clearEnd > entry.size) error = chain.Clear(entry.size, clearEnd - entry.size);
    if (error != Error::kNone) {
        const Error back = chain.SetLength(0);
        return back == Error::kNone ? error : file_.Break(back);
    }
    if (error = file_.Mini().SetLength(pieces_, 0); error != Error::kNone) return file_.Break(error);
    chain_ = std::move(chain);
    entry.size = size;
    return Error::kNone;
}

Error OpenElement::ToPieces(DirectoryEntry& entry, std::uint64_t size) {
    std::vector<std::uint8_t> content(static_cast<std::size_t>(size));
    if (const Error error = chain_.Read(0, content); error != Error::kNone) return error;
    if (const auto length = chain_.Length(); !length) return length.Failure();
    std::vector<Sector> pieces;
    Error error = file_.Mini().SetLength(pieces, PiecesFor(size));
    if (error == Error::kNone) error = file_.Mini().Write(pieces, 0, content);
    if (error != Error::kNone) {
        const Error back = file_.Mini().SetLength(pieces, 0);
        return back == Error::kNone ? error : file_.Break(back);
    }
    if (error = chain_.SetLength(0); error != Error::kNone) return file_.Break(error);
    pieces_ = std::move(pieces);
    piecesLoaded_ = allPieces_ = true;
    entry.size = size;
    return Error::kNone;
}

}  // namespace kestrel::compound
