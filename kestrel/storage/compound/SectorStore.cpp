#include "kestrel/storage/compound/SectorStore.h"

#include <algorithm>

namespace kestrel::compound {
namespace {

constexpr std::size_t kCacheBytes = 16U << 20;
constexpr std::size_t kGather = 1U << 20;  // bytes that one write takes at most when neighbours are put together

}  // namespace

Sector SectorStore::Count() const {
    const std::uint64_t sectors = (size_ + SectorSize() - 1) >> shift_;
    return static_cast<Sector>(std::min<std::uint64_t>(sectors > 0 ? sectors - 1 : 0, kMaxSector));
}

Result<std::uint8_t*> SectorStore::Load(Sector sector, Sector run) {
    if (const auto found = pages_.find(sector); found != pages_.end()) return found->second.bytes.get();
    std::vector<std::uint8_t> bytes(std::size_t{run} << shift_);
    const auto count = store_->ReadAt(Offset(sector), bytes);
    if (!count) return count.Failure();
    if (*count == 0) return Error::kDamaged;
    for (std::size_t at = 0, i = 0; at < *count; at += SectorSize(), ++i) {
        auto [page, added] = pages_.try_emplace(sector + static_cast<Sector>(i));
        if (!added) continue;
        page->second.bytes = std::make_unique<std::uint8_t[]>(SectorSize());
        std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(at), SectorSize(), page->second.bytes.get());
    }
    return pages_.find(sector)->second.bytes.get();
}

std::uint8_t* SectorStore::Fresh(Sector sector) {
    Page& page = pages_[sector];
    page.bytes = std::make_unique<std::uint8_t[]>(SectorSize());
    SetDirty(page);
    return page.bytes.get();
}

std::uint8_t* SectorStore::Move(Sector from, Sector to) {
    Drop(to);
    auto node = pages_.extract(from);
    node.key() = to;
    SetDirty(node.mapped());
    return pages_.insert(std::move(node)).position->second.bytes.get();
}

void SectorStore::Drop(Sector sector) {
    const auto found = pages_.find(sector);
    if (found == pages_.end()) return;
    dirty_ -= found->second.dirty ? 1 : 0;
    pages_.erase(found);
}

Error SectorStore::ReadRun(Sector first, std::uint32_t offset, std::span<std::uint8_t> to) {
    const auto count = store_->ReadAt(Offset(first) + offset, to);
    if (!count) return count.Failure();
    const std::size_t done = *count;
    std::fill(to.begin() + static_cast<std::ptrdiff_t>(done), to.end(), std::uint8_t{0});
    if (dirty_ == 0) return done == to.size() ? Error::kNone : Error::kDamaged;
    bool missing = false;
    std::size_t at = 0;
    for (Sector sector = first; at < to.size(); ++sector) {
        const std::size_t begin = at == 0 ? offset : 0;
        const std::size_t part = std::min<std::size_t>(SectorSize() - begin, to.size() - at);
        if (const auto found = pages_.find(sector); found != pages_.end() && found->second.dirty)
            std::copy_n(found->second.bytes.get() + begin, part, to.begin() + static_cast<std::ptrdiff_t>(at));
        else if (at + part > done)
            missing = true;
        at += part;
    }
    return missing ? Error::kDamaged : Error::kNone;
}

Error SectorStore::WriteRun(Sector first, std::span<const std::uint8_t> from) {
    const auto sectors = static_cast<Sector>(from.size() >> shift_);
    if (!pages_.empty())
        for (Sector i = 0; i < sectors; ++i) Drop(first + i);
    const Error error = store_->WriteAt(Offset(first), from);
    if (error == Error::kNone) size_ = std::max(size_, Offset(first) + from.size());
    return error;
}

Error SectorStore::WriteBack() {
    std::vector<Sector> dirty;
    for (const auto& [sector, page] : pages_)
        if (page.dirty) dirty.push_back(sector);
    std::sort(dirty.begin(), dirty.end());
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 0; i < dirty.size();) {
        const std::size_t begin = i;
        bytes.clear();
        do {
            const std::uint8_t* page = pages_[dirty[i]].bytes.get();
            bytes.insert(bytes.end(), page, page + SectorSize());
            ++i;
        } while (i < dirty.size() && dirty[i] == dirty[i - 1] + 1 && bytes.size() < kGather);
        if (const Error error = store_->WriteAt(Offset(dirty[begin]), bytes); error != Error::kNone) return error;
        size_ = std::max(size_, Offset(dirty[begin]) + bytes.size());
        for (std::size_t j = begin; j < i; ++j) pages_[dirty[j]].dirty = false;
        dirty_ -= i - begin;
    }
    return Error::kNone;
}

Error SectorStore::Trim() {
    if (pages_.size() <= kCacheBytes >> shift_) return Error::kNone;
    const Error error = WriteBack();
    std::erase_if(pages_, [](const auto& page) { return !page.second.dirty; });
    return error;
}

Error SectorStore::SetSize(std::uint64_t size) {
    const Error error = store_->SetSize(size);
    if (error == Error::kNone) size_ = size;
    return error;
}

}  // namespace kestrel::compound
