// Where deleting, and asking whether a picture exists, look for it.
#include "kestrel/box/PicBox.h"

namespace kestrel {
namespace {

/// The first stream "name.*" that is a picture.
std::string AnyExtension(IQvStorage& storage, const std::string& name) {
    QvString found;
    unsigned long flags = 0;
    const std::string mask = name + ".*";
    for (bool more = storage.FirstElement(found, flags, mask.c_str()); more; more = storage.NextElement(found, flags)) {
        const std::string stored(found);
        const bool begins = PicNamesEqual(stored.substr(0, name.size() + 1), name + ".");
        if (begins && flags == kElementStream && !PicNamesEqual(stored, name + ".inf")) return stored;
    }
    return "";
}

}  // namespace

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

}  // namespace kestrel
