#include "kestrel/storage/QvStorage.h"

#include "kestrel/storage/CompoundSession.h"
#include "kestrel/storage/StoragePath.h"

namespace kestrel {
namespace {

using compound::CompoundFile;
using compound::Error;
using compound::Result;

Result<CompoundFile> OpenOrCreate(const std::string& path, unsigned long mode) {
    auto file =
        CompoundFile::OpenFile(path, mode & kStorageWrite ? compound::Access::kReadWrite : compound::Access::kRead);
    const bool missing = !file && (file.Failure() == Error::kNotFound || file.Failure() == Error::kPathNotFound);
    if (!missing || !(mode & kStorageCreate)) return file;
    auto made = CompoundFile::CreateFile(path);
    // Somebody else made it in between: the next try opens it.
    if (!made && made.Failure() == Error::kExists) return Error::kShareViolation;
    return made;
}

QvString FolderOf(const char* path) {
    const std::string stored = StoragePath(path);
    return stored.substr(0, stored.rfind('\\')).c_str();
}

}  // namespace

QvStoragePtr QvStorage::CreateNewQvStorage(const char* path, unsigned long mode, bool, bool) {
    QvStoragePtr storage(new QvStorage(path, mode));
    return storage->HasFailed() ? nullptr : std::move(storage);
}

QvStorage::QvStorage(const char* path, unsigned long mode) : QvCompoundStorage(path) {
    const std::string name = path ? path : "";
    auto file = OpenPatiently(true, name, [&] { return OpenOrCreate(SystemPath(name), mode); });
    if (!file) return;
    Attach(
        std::make_shared<CompoundSession>(*std::move(file), (mode & kStorageWrite) != 0, true, FolderOf(name.c_str())));
}

}  // namespace kestrel
