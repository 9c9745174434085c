#include "kestrel/storage/QvCompoundStream.h"

#include <vector>

#include "kestrel/storage/CopyBlock.h"
#include "kestrel/storage/ElementName.h"
#include "kestrel/storage/IQvStorage.h"

namespace kestrel {
namespace {

using compound::Error;

constexpr std::u16string_view kUnfinished = u"\u0006unfinished ";  // nobody begins a name with that character

/// A name that no stream has. One that is there and that nobody of this session writes was left by a writer that was
/// killed, and goes: compound files are held by one process at a time.
compound::Result<std::u16string> FreeName(CompoundSession& session, compound::Storage& parent) {
    for (int number = 1;; ++number) {
        std::u16string name(kUnfinished);
        for (const char digit : std::to_string(number)) name += static_cast<char16_t>(digit);
        if (session.unfinished.count(name)) continue;
        if (const Error error = parent.Remove(name); error != Error::kNone && error != Error::kNotFound) return error;
        return name;
    }
}

}  // namespace

QvCompoundStream::QvCompoundStream(CompoundPlace place, std::unique_ptr<compound::Stream> old, unsigned long mode)
    : place_(std::move(place)),
      old_(std::move(old)),
      mayRead_(!(mode & kStorageWrite) || (mode & kStorageRead)),
      mayWrite_(mode & kStorageWrite) {}

QvCompoundStream::QvCompoundStream(CompoundPlace place, compound::Stream stream, unsigned long mode)
    : QvCompoundStream(std::move(place), std::make_unique<compound::Stream>(std::move(stream)), mode) {}

compound::Result<QvStreamPtr> QvCompoundStream::Create(CompoundPlace place, std::unique_ptr<compound::Stream> old,
                                                       unsigned long mode) {
    auto* stream = new QvCompoundStream(std::move(place), std::move(old), mode);
    QvStreamPtr owned(stream);
    if (const Error error = stream->BeginChange(false); error != Error::kNone) return error;
    return owned;
}

bool QvCompoundStream::Failed(Error error) {
    if (error == Error::kNone) return false;
    failed_ = true;
    TellFailure(place_.session->patient, error, ElementText(place_.name));
    return true;
}

Error QvCompoundStream::BeginChange(bool keepContent) {
    if (changed_) return Error::kNone;
    if (!place_.session->writable) return Error::kAccessDenied;
    auto name = FreeName(*place_.session, *place_.parent);
    if (!name) return name.Failure();
    auto stream = place_.parent->CreateStream(*name);
    if (!stream) return stream.Failure();
    changed_ = std::make_unique<compound::Stream>(*std::move(stream));
    changedName_ = *name;
    place_.session->unfinished.insert(changedName_);
    return keepContent ? CopyOld() : Error::kNone;
}

Error QvCompoundStream::CopyOld() {
    const std::uint64_t position = old_->Position();
    if (const auto begin = old_->Seek(0, compound::Origin::kBegin); !begin) return begin.Failure();
    std::vector<std::uint8_t> buffer(kCopyBlock);
    for (;;) {
        const auto got = old_->Read(buffer);
        if (!got) return got.Failure();
        if (*got == 0) break;
        if (const Error error = changed_->Write({buffer.data(), *got}); error != Error::kNone) return error;
    }
    const auto back = changed_->Seek(static_cast<std::int64_t>(position), compound::Origin::kBegin);
    return back ? Error::kNone : back.Failure();
}

std::int64_t QvCompoundStream::Size() {
    const auto size = Current().Size();
    return size ? static_cast<std::int64_t>(*size) : -1;
}

std::int64_t QvCompoundStream::Tell() { return Seek(0, kSeekCurrent); }

std::int64_t QvCompoundStream::Seek(std::int64_t offset, int origin) {
    if (origin < kSeekBegin || origin > kSeekEnd) return -1;
    const auto position = Current().Seek(offset, static_cast<compound::Origin>(origin));
    return position ? static_cast<std::int64_t>(*position) : -1;
}

std::size_t QvCompoundStream::Read(void* buffer, std::size_t count) {
    if (!mayRead_) return Failed(Error::kAccessDenied), 0;
    const auto got = Current().Read({static_cast<std::uint8_t*>(buffer), count});
    return got ? *got : (Failed(got.Failure()), 0);
}

std::size_t QvCompoundStream::Write(const void* buffer, std::size_t count) {
    if (failed_ || (!mayWrite_ && Failed(Error::kAccessDenied)) || Failed(BeginChange(true))) return 0;
    return Failed(changed_->Write({static_cast<const std::uint8_t*>(buffer), count})) ? 0 : count;
}

bool QvCompoundStream::SetSize(std::int64_t bytes) {
    if (failed_ || (!mayWrite_ && Failed(Error::kAccessDenied)) || Failed(BeginChange(true))) return false;
    return bytes >= 0 && !Failed(changed_->SetSize(static_cast<std::uint64_t>(bytes)));
}

void QvCompoundStream::Revert() noexcept {
    if (!changed_) return;
    changed_.reset();
    // What cannot be removed is no more than a leftover, and the next writer removes those.
    static_cast<void>(place_.parent->Remove(changedName_));
    place_.session->unfinished.erase(changedName_);
    failed_ = true;
}

/// Puts the changed stream under the name.
Error QvCompoundStream::Publish() {
    changed_.reset();
    const bool replaces = old_ != nullptr;
    old_.reset();
    place_.session->unfinished.erase(changedName_);
    if (replaces)
        if (const Error error = place_.parent->Remove(place_.name); error != Error::kNone) return error;
    return place_.parent->Rename(changedName_, place_.name);
}

bool QvCompoundStream::Finish() {
    if (failed_) {
        Revert();
        return false;
    }
    if (changed_ && Failed(Publish())) return false;
    old_.reset();
    return !Failed(place_.session->Commit());
}

bool QvCompoundStream::Close() {
    const bool kept = Finish();
    delete this;
    return kept;
}

bool QvCompoundStream::Stat(QvStat& stat) {
    const auto info = Current().Info();
    if (!info) return !Failed(info.Failure());
    stat = StatOf(*info);
    stat.name = ElementText(place_.name).c_str();
    return true;
}

}  // namespace kestrel
