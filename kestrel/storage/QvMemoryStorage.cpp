#include "kestrel/storage/QvMemoryStorage.h"

#include <algorithm>
#include <string>

#include "kestrel/foundation/FileReplacement.h"
#include "kestrel/storage/CompoundSession.h"
#include "kestrel/storage/StorageError.h"
#include "kestrel/storage/StoragePath.h"
#include "kestrel/storage/compound/MemoryStore.h"

namespace kestrel {

QvMemoryStorage::QvMemoryStorage(int size)
    : QvCompoundStorage(""), bytes_(std::make_shared<std::vector<std::uint8_t>>()) {
    bytes_->reserve(static_cast<std::size_t>(std::max(size, 0)));
    auto file = compound::CompoundFile::Create(std::make_unique<compound::MemoryStore>(bytes_));
    if (!file) {
        TellFailure(false, file.Failure(), "storage in memory");
        return;
    }
    Attach(std::make_shared<CompoundSession>(*std::move(file), true, false));
}

bool QvMemoryStorage::DumpToFile(const char* path) {
    if (!path || HasFailed() || !Detach()) return false;
    const std::string error = WriteWhole(SystemPath(path), *bytes_);
    bytes_.reset();
    if (!error.empty()) SetLastStorageError(std::string(path) + ": " + error);
    return error.empty();
}

}  // namespace kestrel
