#include "kestrel/storage/compound/CompoundFile.h"

#include <limits>
#include <type_traits>
#include <utility>

#include "kestrel/storage/compound/ElementCopy.h"
#include "kestrel/storage/compound/File.h"
#include "kestrel/storage/compound/Guarded.h"
#include "kestrel/storage/compound/OpenElement.h"

namespace kestrel::compound {
namespace {

using Kind = DirectoryEntry::Kind;

/// A change that ran out of memory half way is never committed.
template <class Operation>
auto Guard(const std::shared_ptr<File>& file, const Operation& operation) -> decltype(operation()) {
    return Guarded(operation, [&] { static_cast<void>(file->Break(Error::kOutOfMemory)); });
}

/// Reading leaves nothing half way.
template <class Operation>
auto GuardRead(const Operation& operation) -> decltype(operation()) {
    return Guarded(operation, [] {});
}

Result<ElementInfo> InfoOf(File& file, EntryId id) {
    const auto entry = file.Entry(id);
    if (!entry) return entry.Failure();
    return entry->Info();
}

}  // namespace

// ---- Stream

Stream::Stream() = default;
Stream::Stream(std::shared_ptr<File> file, std::shared_ptr<OpenElement> element)
    : file_(std::move(file)), element_(std::move(element)) {}
Stream::Stream(Stream&&) noexcept = default;

Stream& Stream::operator=(Stream&& other) noexcept {
    Stream taken(std::move(other));  // closes what this one had
    std::swap(file_, taken.file_);
    std::swap(element_, taken.element_);
    std::swap(position_, taken.position_);
    return *this;
}

Stream::~Stream() {
    if (file_) file_->Close(element_);
}

Result<std::size_t> Stream::Read(std::span<std::uint8_t> to) {
    if (element_->Reverted()) return Error::kReverted;
    return GuardRead([&]() -> Result<std::size_t> {
        const auto count = element_->Read(position_, to);
        if (count) position_ += *count;
        return count;
    });
}

Error Stream::Write(std::span<const std::uint8_t> from) {
    if (element_->Reverted()) return Error::kReverted;
    return Guard(file_, [&] {
        const Error error = element_->Write(position_, from);
        if (error == Error::kNone) position_ += from.size();
        return error;
    });
}

Result<std::uint64_t> Stream::Seek(std::int64_t offset, Origin origin) {
    std::uint64_t base = origin == Origin::kCurrent ? position_ : 0;
    if (origin == Origin::kEnd) {
        const auto size = Size();
        if (!size) return size;
        base = *size;
    }
    const std::uint64_t to = base + static_cast<std::uint64_t>(offset);  // modulo 2^64
    const bool before = offset < 0 && to > base;
    const bool beyond = offset >= 0 && to > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    if (before || beyond) return Error::kInvalidArgument;
    return position_ = to;
}

Error Stream::SetSize(std::uint64_t size) {
    if (element_->Reverted()) return Error::kReverted;
    return Guard(file_, [&] { return element_->SetSize(size); });
}

Result<std::uint64_t> Stream::Size() const {
    const auto info = Info();
    if (!info) return info.Failure();
    return info->size;
}

Result<ElementInfo> Stream::Info() const {
    if (element_->Reverted()) return Error::kReverted;
    return GuardRead([&] { return InfoOf(*file_, element_->Id()); });
}

// ---- Storage

Storage::Storage() = default;
Storage::Storage(std::shared_ptr<File> file, std::shared_ptr<OpenElement> element)
    : file_(std::move(file)), element_(std::move(element)) {}
Storage::Storage(Storage&&) noexcept = default;

Storage& Storage::operator=(Storage&& other) noexcept {
    Storage taken(std::move(other));  // closes what this one had
    std::swap(file_, taken.file_);
    std::swap(element_, taken.element_);
    return *this;
}

Storage::~Storage() {
    if (file_) file_->Close(element_);
}

template <class Handle>
Result<Handle> Storage::Open(std::u16string_view name) const {
    constexpr Kind kKind = std::is_same_v<Handle, Stream> ? Kind::kStream : Kind::kStorage;
    if (element_->Reverted()) return Error::kReverted;
    return GuardRead([&]() -> Result<Handle> {
        const auto id = file_->Find(element_->Id(), name);
        if (!id) return id.Failure();
        const auto entry = file_->Entry(*id);
        if (!entry) return entry.Failure();
        if (entry->kind != kKind) return Error::kWrongKind;
        auto opened = file_->OpenEntry(*id);
        if (!opened) return opened.Failure();
        return Handle(file_, *opened);
    });
}

template <class Handle>
Result<Handle> Storage::Create(std::u16string_view name) {
    constexpr Kind kKind = std::is_same_v<Handle, Stream> ? Kind::kStream : Kind::kStorage;
    if (element_->Reverted()) return Error::kReverted;
    return Guard(file_, [&]() -> Result<Handle> {
        const auto id = file_->Create(element_->Id(), name, kKind);
        if (!id) return id.Failure();
        auto opened = file_->OpenEntry(*id);
        if (!opened) return opened.Failure();
        return Handle(file_, *opened);
    });
}

Result<Stream> Storage::CreateStream(std::u16string_view name) { return Create<Stream>(name); }
Result<Stream> Storage::OpenStream(std::u16string_view name) { return Open<Stream>(name); }
Result<Storage> Storage::CreateStorage(std::u16string_view name) { return Create<Storage>(name); }
Result<Storage> Storage::OpenStorage(std::u16string_view name) { return Open<Storage>(name); }

Error Storage::Remove(std::u16string_view name) {
    if (element_->Reverted()) return Error::kReverted;
    return Guard(file_, [&] { return file_->Remove(element_->Id(), name); });
}

Error Storage::Rename(std::u16string_view from, std::u16string_view to) {
    if (element_->Reverted()) return Error::kReverted;
    return Guard(file_, [&] { return file_->Rename(element_->Id(), from, to); });
}

Result<ElementInfo> Storage::Find(std::u16string_view name) const {
    if (element_->Reverted()) return Error::kReverted;
    return GuardRead([&]() -> Result<ElementInfo> {
        const auto id = file_->Find(element_->Id(), name);
        if (!id) return id.Failure();
        return InfoOf(*file_, *id);
    });
}

Result<std::vector<ElementInfo>> Storage::Elements() const {
    if (element_->Reverted()) return Error::kReverted;
    return GuardRead([&]() -> Result<std::vector<ElementInfo>> {
        const auto ids = file_->Elements(element_->Id());
        if (!ids) return ids.Failure();
        std::vector<ElementInfo> infos;
        infos.reserve(ids->size());
        for (const EntryId id : *ids) {
            auto info = InfoOf(*file_, id);
            if (!info) return info.Failure();
            infos.push_back(std::move(*info));
        }
        return infos;
    });
}

Result<ElementInfo> Storage::Info() const {
    if (element_->Reverted()) return Error::kReverted;
    return GuardRead([&] { return InfoOf(*file_, element_->Id()); });
}

Error Storage::CopyTo(Storage& target) const {
    if (element_->Reverted() || target.element_->Reverted()) return Error::kReverted;
    return Guard(target.file_,
                 [&] { return CopyElements(*file_, element_->Id(), *target.file_, target.element_->Id()); });
}

template <class Change>
Error Storage::ChangeEntry(const Change& change) {
    if (element_->Reverted()) return Error::kReverted;
    return Guard(file_, [&] {
        auto entry = file_->Entry(element_->Id());
        if (!entry) return entry.Failure();
        change(*entry);
        return file_->SetEntry(element_->Id(), *entry);
    });
}

Error Storage::SetClassId(const GUID& id) {
    return ChangeEntry([&](DirectoryEntry& entry) { entry.classId = id; });
}

Error Storage::SetUserFlags(std::uint32_t flags, std::uint32_t mask) {
    return ChangeEntry([&](DirectoryEntry& entry) { entry.userFlags = (entry.userFlags & ~mask) | (flags & mask); });
}

Error Storage::SetTimes(std::uint64_t created, std::uint64_t modified) {
    return ChangeEntry([&](DirectoryEntry& entry) {
        entry.created = created;
        entry.modified = modified;
    });
}

// ---- CompoundFile

CompoundFile::CompoundFile(std::shared_ptr<File> file) : file_(std::move(file)) {}
CompoundFile::CompoundFile(CompoundFile&&) noexcept = default;
CompoundFile& CompoundFile::operator=(CompoundFile&&) noexcept = default;
CompoundFile::~CompoundFile() = default;

Result<CompoundFile> CompoundFile::Open(std::unique_ptr<ByteStore> store, Access access) {
    return GuardRead([&]() -> Result<CompoundFile> {
        auto file = File::Open(std::move(store), access);
        if (!file) return file.Failure();
        return CompoundFile(std::move(*file));
    });
}

Result<CompoundFile> CompoundFile::Create(std::unique_ptr<ByteStore> store, Version version) {
    return GuardRead([&]() -> Result<CompoundFile> {
        const auto size = store->Size();
        if (!size) return size.Failure();
        if (*size != 0) return Error::kInvalidArgument;
        if (const Error error = store->WriteAt(0, File::Empty(version)); error != Error::kNone) return error;
        if (const Error error = store->Flush(); error != Error::kNone) return error;
        return Open(std::move(store), Access::kReadWrite);
    });
}

Result<CompoundFile> CompoundFile::OpenFile(const std::string& path, Access access) {
    return GuardRead([&]() -> Result<CompoundFile> {
        auto store = FileStore::Open(path, access);
        if (!store) return store.Failure();
        return Open(std::move(*store), access);
    });
}

Result<CompoundFile> CompoundFile::CreateFile(const std::string& path, Version version) {
    return GuardRead([&]() -> Result<CompoundFile> {
        auto store = FileStore::CreateNew(path, File::Empty(version));
        if (!store) return store.Failure();
        return Open(std::move(*store), Access::kReadWrite);
    });
}

Result<Storage> CompoundFile::Root() {
    return GuardRead([&]() -> Result<Storage> {
        auto opened = file_->OpenEntry(kRootEntry);
        if (!opened) return opened.Failure();
        return Storage(file_, *opened);
    });
}

Error CompoundFile::Commit() {
    return Guard(file_, [&] { return file_->Commit(); });
}

bool CompoundFile::Changed() const { return file_->Changed(); }
Version CompoundFile::FileVersion() const { return file_->FileVersion(); }

}  // namespace kestrel::compound
