// Where deleting, and asking whether a picture exists, look for it; and what lies beside it.
#include <algorithm>

#include "kestrel/box/PicBox.h"
#include "kestrel/storage/QvError.h"
#include "kestrel/storage/WholeStream.h"

namespace kestrel {
namespace {

/// The first stream "name.*" that is a picture.
std::string AnyExtension(IQvStorage& storage, const std::string& name) {
    QvString found;
    unsigned long flags = 0;
    const std::string mask = name + ".*";
    for (bool more = storage.FirstElement(found, flags, mask.c_str()); more; more = storage.NextElement(found, flags)) {
        std::string stored(found);
        const bool begins = PicNamesEqual(stored.substr(0, name.size() + 1), name + ".");
        if (begins && flags == kElementStream && !PicNamesEqual(stored, name + ".inf")) return stored;
    }
    return "";
}

constexpr const char* kChains = "Chains";
constexpr std::int64_t kLongestChain = 1 << 20;  // bytes

}  // namespace

bool qvPicBox::Place::IsSameAs(const Place& other) const {
    const bool equal = storage && storage->Kind() == 0 ? PicNamesEqual(name, other.name) : name == other.name;
    return storage == other.storage && equal;
}

qvPicBox::Place qvPicBox::FindPlace(const std::string& name, const std::string& extension) {
    if (!pictures_) return {};
    if (Place native = FindNativePlace(name, extension)) return native;
    for (IQvStorage* const storage : {pictures_.get(), picMask_.get(), onlyPic_.get(), onlyMask_.get()})
        for (const std::string& stored : StoredPicNames(name))
            if (storage && storage->Exists(stored.c_str())) return {storage, stored};
    return {};
}

qvPicBox::Place qvPicBox::FindNativePlace(const std::string& name, const std::string& extension) {
    IQvStorage* const storage = pictures_.get();
    if (keepNative_ && !extension.empty())
        for (const std::string& stored : StoredPicNames(name, extension))
            if (storage->Exists(stored.c_str())) return {storage, stored};
    for (const std::string& stored : StoredPicNames(name, "JPG"))
        if (storage->Exists(stored.c_str())) return {storage, stored};
    for (const std::string& base : StoredPicNames(name))
        if (const std::string stored = AnyExtension(*storage, base); !stored.empty()) return {storage, stored};
    return {};
}

bool qvPicBox::Delete(const char* name, const char* extension) {
    if (!name || (!external_ && !pictures_)) return false;
    try {
        if (external_) {
            const std::string file = ExternalName(name, extension ? extension : "");
            Log(__LINE__, "      qvPicBox::Delete(): Deleting external Image " + ExternalPath(file));
            return root_.DeleteElement(file.c_str());
        }
        const Place place = FindPlace(name, extension ? extension : "");
        DeleteBeside(name);
        return place && DeletePlace(place);
    } catch (const CQvError& error) {
        return Fail(__LINE__, std::string("CStream-Exception in qvPicBox::Delete: ") + error.what());
    }
}

bool qvPicBox::Delete(const PicEntry& entry) {
    try {
        return DeleteEntry(entry);
    } catch (const CQvError& error) {
        return Fail(__LINE__, std::string("CStream-Exception in qvPicBox::Delete: ") + error.what());
    }
}

bool qvPicBox::DeleteEntry(const PicEntry& entry) {
    IQvStorage* const storage = FindShelf(entry);
    if (!storage) return false;
    if (external_) return root_.DeleteElement(entry.stream.c_str());
    const std::vector<PicEntry> all = Pictures();
    const auto alike = std::count_if(all.begin(), all.end(),
                                     [&](const PicEntry& other) { return PicNamesEqual(other.name, entry.name); });
    if (!DeletePlace({storage, entry.stream})) return false;
    if (alike <= 1) DeleteBeside(entry.name);
    return true;
}

bool qvPicBox::DeletePlace(const Place& place) {
    // Compound files would delete a storage with all that it holds.
    if (place.storage->Kind() == 0 && !place.storage->OpenStream(place.name.c_str(), kStorageRead)) return false;
    if (!place.storage->DeleteElement(place.name.c_str())) return false;
    if (place.storage == pictures_.get()) return true;
    place.storage->DeleteStorage(nullptr);  // those that hold something refuse
    if (place.storage != onlyMask_.get()) pictures_->DeleteStorage(nullptr);
    return true;
}

/// What belongs to a picture goes with it, if it is there.
void qvPicBox::DeleteBeside(const std::string& name) {
    if (!pictures_) return;
    for (const std::string& stored : StoredPicNames(name))
        if (pictures_->Exists((stored + ".inf").c_str())) pictures_->DeleteElement((stored + ".inf").c_str());
    if (!GetChain(name.c_str()).empty()) SetChain(name.c_str(), "");
}

std::string qvPicBox::GetChain(const char* name) {
    if (!name || external_ || StoredPicNames(name).empty() || !root_.Exists(kChains)) return "";
    const QvStoragePtr chains = root_.OpenStorage(kChains, kStorageRead);
    const std::string stored = WrittenPicName(name);
    if (!chains || !chains->Exists(stored.c_str())) return "";
    return ReadWholeStream(*chains, stored.c_str(), kLongestChain).value_or("");
}

bool qvPicBox::SetChain(const char* name, const std::string& text) {
    if (!name || external_ || StoredPicNames(name).empty() || text.size() > std::size_t{kLongestChain}) return false;
    try {
        const std::string stored = WrittenPicName(name);
        QvStoragePtr chains = root_.OpenStorage(kChains, kStorageRead | kStorageWrite | kStorageCreate);
        if (!chains) return Fail(__LINE__, "qvPicBox::SetChain: the storage of chains cannot be opened");
        if (text.empty()) {
            if (!chains->Exists(stored.c_str())) return true;
            return chains->DeleteElement(stored.c_str()) && CloseStorage(chains);
        }
        Target target = OpenTarget(chains.get(), stored);
        return (target.stream && target.stream->Write(text.data(), text.size()) == text.size() &&
                CloseStream(target.stream) && CloseStorage(chains)) ||
               Fail(__LINE__, "qvPicBox::SetChain: the chain of " + stored + " cannot be written");
    } catch (const CQvError& error) {
        return Fail(__LINE__, std::string("CStream-Exception in qvPicBox::SetChain: ") + error.what());
    }
}

}  // namespace kestrel
