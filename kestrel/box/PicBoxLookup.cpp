// Where a picture of a given name lies, and in which of its forms.
#include <new>

#include "kestrel/box/PicBox.h"
#include "kestrel/storage/QvError.h"

namespace kestrel {
namespace {

constexpr const char* kJpegExtension = "JPG";

/// The first stream of the folder that a stored name may have become: whatever follows its first hyphen, and the case
/// of its letters, do not count.
std::string LenientName(IQvStorage& storage, const std::string& name, const std::string& extension) {
    const std::string mask = name.substr(0, name.find('-')) + "*." + extension;
    QvString found;
    unsigned long flags = 0;
    for (bool more = storage.FirstElement(found, flags, mask.c_str()); more; more = storage.NextElement(found, flags))
        if (std::string stored(found); flags == kElementStream && !IsPicInfo(stored)) return stored;
    return "";
}

}  // namespace

bool qvPicBox::Lookup(const std::string& name, const std::string& extension, Stored& found) {
    if (external_) return OpenExternal(name, extension, found);
    if (!pictures_) return false;
    if (!extension.empty() && OpenNative(pictures_.get(), name, extension, false, found)) return true;
    if (OpenNative(pictures_.get(), name, kJpegExtension, false, found)) return true;
    if (OpenPlain(name, found) || LookupOlder(name, found)) return true;
    if (!extension.empty() && OpenNative(&root_, name, extension, false, found)) return true;
    if (!keepNative_) return false;
    const bool named = !extension.empty();
    return (named && OpenNative(pictures_.get(), name, extension, true, found)) ||
           OpenNative(pictures_.get(), name, kJpegExtension, true, found) ||
           (named && OpenNative(&root_, name, extension, true, found));
}

/// A file of its own format: "name.extension" of the storage.
bool qvPicBox::OpenNative(IQvStorage* storage, const std::string& name, const std::string& extension, bool lenient,
                          Stored& found) {
    for (const std::string& possible : StoredPicNames(name, extension)) {
        const std::string stored = lenient ? LenientName(*storage, CleanPicName(name), extension) : possible;
        if (stored.empty() || !storage->Exists(stored.c_str())) continue;
        found.stream = storage->OpenStream(stored.c_str(), kStorageRead);
        if (!found.stream) continue;
        found.header = NativePicHeader(*found.stream, extension);
        found.path = std::string(storage->Path()) + stored;
        found.isFile = storage->Kind() == 1;
        return true;
    }
    return false;
}

/// A stream of the main storage, whose header tells what it is.
bool qvPicBox::OpenPlain(const std::string& name, Stored& found) {
    for (const std::string& stored : StoredPicNames(name)) {
        if (!pictures_->Exists(stored.c_str())) continue;
        found.stream = pictures_->OpenStream(stored.c_str(), kStorageRead);
        if (!found.stream) continue;
        if (!ReadHeader(stored, found)) return false;
        found.path = std::string(pictures_->Path()) + stored;
        found.isFile = pictures_->Kind() == 1 && found.header.native && found.header.length == 0;
        return true;
    }
    return false;
}

bool qvPicBox::ReadHeader(const std::string& name, Stored& found) {
    try {
        found.header = ReadPicHeader(*found.stream, name, keepNative_);
        return true;
    } catch (const CQvError& error) {
        return Fail(__LINE__, std::string("CStream-Exception in qvPicBox::Read5BytesHeader: ") + error.what());
    } catch (const std::bad_alloc&) {
        return Fail(__LINE__, "CStream-Exception: unexpected Error in QvPicBox::Read5BytesHeader()");
    }
}

bool qvPicBox::LookupOlder(const std::string& name, Stored& found) {
    const struct {
        IQvStorage* storage;
        OlderPlace place;
    } places[] = {{onlyPic_.get(), OlderPlace::OnlyPic},
                  {picMask_.get(), OlderPlace::PicMask},
                  {onlyMask_.get(), OlderPlace::OnlyMask},
                  {oldPicMask_.get(), OlderPlace::OldPicMask},
                  {rootPicMask_.get(), OlderPlace::OldPicMask}};
    for (const auto& [storage, place] : places)
        for (const std::string& stored : StoredPicNames(name)) {
            if (!storage || !storage->Exists(stored.c_str())) continue;
            found.stream = storage->OpenStream(stored.c_str(), kStorageRead);
            if (!found.stream) continue;
            found.header = ReadOlderPicHeader(*found.stream, place);
            found.path = std::string(storage->Path()) + stored;
            found.isFile = false;
            return true;
        }
    return false;
}

/// The file of a picture of an external box: the name as it is, or with the extension.
std::string qvPicBox::ExternalName(const std::string& name, const std::string& extension) {
    const std::string with = name + "." + extension;
    return extension.empty() || root_.Exists(name.c_str()) || !root_.Exists(with.c_str()) ? name : with;
}

std::string qvPicBox::ExternalPath(const std::string& name) const {
    const bool ends = !basePath_.empty() && basePath_.back() == '\\';
    return basePath_ + (ends ? "" : "\\") + name;
}

bool qvPicBox::OpenExternal(const std::string& name, const std::string& extension, Stored& found) {
    const std::string file = ExternalName(name, extension);
    if (!root_.Exists(file.c_str())) return false;
    found.stream = root_.OpenStream(file.c_str(), kStorageRead);
    if (!found.stream) return false;
    const std::size_t dot = file.rfind('.');
    found.header = NativePicHeader(*found.stream, dot == std::string::npos ? "" : file.substr(dot + 1));
    found.path = ExternalPath(file);
    found.isFile = true;
    return true;
}

bool qvPicBox::Exists(const char* name, const char* extension) {
    if (external_) return root_.Exists(ExternalName(name, extension).c_str());
    return bool(FindPlace(name, extension));
}

bool qvPicBox::FirstElement(QvString& name, unsigned long& flags) {
    stage_ = -1;
    IQvStorage* const first = external_ ? &root_ : pictures_.get();
    return first && (first->FirstElement(name, flags) || NextStage(name, flags));
}

bool qvPicBox::NextElement(QvString& name, unsigned long& flags) {
    IQvStorage* const storage = Stage();
    return storage && (storage->NextElement(name, flags) || NextStage(name, flags));
}

IQvStorage* qvPicBox::Stage() const {
    if (external_) return &root_;
    IQvStorage* const stages[] = {pictures_.get(), picMask_.get(), onlyPic_.get(), onlyMask_.get()};
    return stages[stage_ + 1];
}

bool qvPicBox::NextStage(QvString& name, unsigned long& flags) {
    constexpr int kLastStage = 2;
    while (!external_ && stage_ < kLastStage) {
        ++stage_;
        if (IQvStorage* const storage = Stage(); storage && storage->FirstElement(name, flags)) return true;
    }
    return false;
}

}  // namespace kestrel
