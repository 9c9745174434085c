#include "kestrel/storage/QvCompoundStorage.h"

#include <utility>

#include "kestrel/storage/CompoundSession.h"
#include "kestrel/storage/ElementName.h"
#include "kestrel/storage/NameMask.h"
#include "kestrel/storage/QvCompoundStream.h"
#include "kestrel/storage/StorageCopy.h"
#include "kestrel/storage/StorageError.h"
#include "kestrel/storage/StoragePath.h"
#include "kestrel/storage/compound/NameOrder.h"

namespace kestrel {
namespace {

using compound::Error;
using compound::Result;

std::shared_ptr<compound::Storage> Shared(compound::Storage storage) {
    return std::make_shared<compound::Storage>(std::move(storage));
}

bool MayWrite(const CompoundPlace& place, unsigned long mode) {
    return place.session->writable || !(mode & kStorageWrite);
}

Result<QvStreamPtr> CreateStreamAt(const CompoundPlace& place, unsigned long mode) {
    const auto found = place.parent->Find(place.name);
    if (!found && found.Failure() != Error::kNotFound) return found.Failure();
    std::unique_ptr<compound::Stream> old;
    if (found) {
        if (found->kind != compound::ElementKind::kStream) return Error::kWrongKind;
        if (!(mode & kStorageCreate)) return Error::kExists;
        auto stream = place.parent->OpenStream(place.name);
        if (!stream) return stream.Failure();
        old = std::make_unique<compound::Stream>(*std::move(stream));
    }
    return QvCompoundStream::Create(place, std::move(old), mode);
}

Result<QvStreamPtr> OpenStreamAt(const CompoundPlace& place, unsigned long mode) {
    auto stream = place.parent->OpenStream(place.name);
    if (!stream && stream.Failure() == Error::kNotFound && (mode & kStorageCreate)) return CreateStreamAt(place, mode);
    if (!stream) return stream.Failure();
    if (!MayWrite(place, mode)) return Error::kAccessDenied;
    return QvStreamPtr(new QvCompoundStream(place, *std::move(stream), mode));
}

Result<compound::Storage> CreateStorageAt(const CompoundPlace& place, unsigned long mode) {
    auto storage = place.parent->CreateStorage(place.name);
    if (storage || storage.Failure() != Error::kExists || !(mode & kStorageCreate)) return storage;
    // Opening it tells whether it is a storage, and whether somebody else has it open.
    if (const auto old = place.parent->OpenStorage(place.name); !old) return old.Failure();
    if (const Error error = place.parent->Remove(place.name); error != Error::kNone) return error;
    return place.parent->CreateStorage(place.name);
}

Result<compound::Storage> OpenStorageAt(const CompoundPlace& place, unsigned long mode) {
    auto storage = place.parent->OpenStorage(place.name);
    if (!storage && storage.Failure() == Error::kNotFound && (mode & kStorageCreate))
        return CreateStorageAt(place, mode);
    if (storage && !MayWrite(place, mode)) return Error::kAccessDenied;
    return storage;
}

}  // namespace

QvCompoundStorage::QvCompoundStorage(const QvString& name, std::shared_ptr<CompoundSession> session,
                                     std::shared_ptr<compound::Storage> own)
    : name_(name), session_(std::move(session)), own_(std::move(own)) {}

QvCompoundStorage::~QvCompoundStorage() = default;

void QvCompoundStorage::Attach(std::shared_ptr<CompoundSession> session) {
    auto root = session->file.Root();
    if (!root) {
        TellFailure(session->patient, root.Failure(), std::string(name_));
        return;
    }
    session_ = std::move(session);
    own_ = Shared(*std::move(root));
}

bool QvCompoundStorage::Detach() {
    if (!own_) return true;
    own_.reset();
    const std::shared_ptr<CompoundSession> session = std::move(session_);
    const Error error = session->Commit();
    if (error != Error::kNone) TellFailure(session->patient, error, std::string(name_));
    return error == Error::kNone;
}

void QvCompoundStorage::PauseCommits() {
    if (session_) session_->paused = true;
}

bool QvCompoundStorage::ResumeCommits() {
    if (!session_) return false;
    session_->paused = false;
    return Succeeded(session_->Commit(), name_);
}

bool QvCompoundStorage::Close() {
    const bool kept = Detach();
    delete this;
    return kept;
}

QvString QvCompoundStorage::Path() const { return session_ ? session_->path : QvString(); }

bool QvCompoundStorage::Patient() const { return session_ && session_->patient; }

bool QvCompoundStorage::Succeeded(Error error, const char* name) const {
    if (error != Error::kNone) TellFailure(Patient(), error, name ? name : "");
    return error == Error::kNone;
}

/// The storage that holds the element, and the element's name in it.
Result<CompoundPlace> QvCompoundStorage::Locate(const char* name) const {
    if (!own_) return Error::kNotFound;
    std::vector<std::string> names;
    if (!name || !SplitStorageName(name, names)) return Error::kInvalidName;
    CompoundPlace place{session_, own_, ElementName(names.back())};
    // A new stream begins under another name; one that it could not get is refused at once.
    if (const Error error = compound::CheckName(place.name); error != Error::kNone) return error;
    for (std::size_t i = 0; i + 1 < names.size(); ++i) {
        auto inner = place.parent->OpenStorage(ElementName(names[i]));
        if (!inner) return inner.Failure();
        place.parent = Shared(*std::move(inner));
    }
    return place;
}

template <class Open>
auto QvCompoundStorage::OpenElement(const char* name, const Open& open, MayPass mayPass, const char* before) const {
    using Opened = decltype(open(std::declval<CompoundPlace&>()));
    return OpenPatiently(
        Patient(), name ? name : "",
        [&]() -> Opened {
            auto place = Locate(name);
            return place ? open(*place) : Opened(place.Failure());
        },
        mayPass, before);
}

QvStreamPtr QvCompoundStorage::CreateStream(const char* name, unsigned long mode) {
    auto stream = OpenElement(
        name, [mode](const CompoundPlace& at) { return CreateStreamAt(at, mode); }, HeldByOthers);
    return stream ? *std::move(stream) : nullptr;
}

QvStreamPtr QvCompoundStorage::OpenStream(const char* name, unsigned long mode) {
    auto stream = OpenElement(
        name, [mode](const CompoundPlace& at) { return OpenStreamAt(at, mode); }, HeldByOthersForStreams);
    return stream ? *std::move(stream) : nullptr;
}

bool QvCompoundStorage::DeleteElement(const char* name) {
    const auto place = Locate(name);
    return Succeeded(place ? place->parent->Remove(place->name) : place.Failure(), name);
}

QvStoragePtr QvCompoundStorage::StorageOf(const char* name, Result<compound::Storage> opened) const {
    if (!opened) return nullptr;
    return QvStoragePtr(new QvCompoundStorage(name, session_, Shared(*std::move(opened))));
}

QvStoragePtr QvCompoundStorage::CreateStorage(const char* name, unsigned long mode) {
    return StorageOf(name,
                     OpenElement(
                         name, [mode](const CompoundPlace& at) { return CreateStorageAt(at, mode); }, HeldByOthers));
}

QvStoragePtr QvCompoundStorage::OpenStorage(const char* name, unsigned long mode) {
    return StorageOf(name, OpenElement(
                               name, [mode](const CompoundPlace& at) { return OpenStorageAt(at, mode); }, HeldByOthers,
                               " on OpenStorage with "));
}

QvStoragePtr QvCompoundStorage::Wrap(std::shared_ptr<compound::Storage> open) {
    if (!session_ || !open) return nullptr;
    const auto info = open->Info();
    if (!info) {
        TellFailure(Patient(), info.Failure(), "");
        return nullptr;
    }
    return QvStoragePtr(new QvCompoundStorage(ElementText(info->name).c_str(), session_, std::move(open)));
}

bool QvCompoundStorage::FirstElement(QvString& name, unsigned long& flags, const char* mask) {
    found_.clear();
    if (!own_) return false;
    const auto elements = own_->Elements();
    if (!elements) return Succeeded(elements.Failure(), name_);
    for (auto element = elements->rbegin(); element != elements->rend(); ++element) {
        std::string text = ElementText(element->name);
        if (session_->unfinished.count(element->name) || !MaskFits(mask ? mask : "", text)) continue;
        found_.push_back({std::move(text), StatOf(*element).flags});
    }
    return NextElement(name, flags);
}

bool QvCompoundStorage::NextElement(QvString& name, unsigned long& flags) {
    if (found_.empty()) return false;
    name = found_.back().name.c_str();
    flags = found_.back().flags;
    found_.pop_back();
    return true;
}

bool QvCompoundStorage::Exists(const char* name) {
    const auto place = Locate(name);
    return place && place->parent->Find(place->name);
}

bool QvCompoundStorage::CopyTo(IQvStorage& target) {
    auto* other = dynamic_cast<QvCompoundStorage*>(&target);
    if (!own_ || (other && !other->own_)) return false;
    if (!other) return CopyElements(*this, target).failures.empty();
    return Succeeded(own_->CopyTo(*other->own_), name_);
}

bool QvCompoundStorage::Stat(QvStat& stat) {
    if (!own_) return false;
    const auto info = own_->Info();
    if (!info) return Succeeded(info.Failure(), name_);
    stat = StatOf(*info);
    return true;
}

}  // namespace kestrel
