#include "kestrel/storage/QvResourceStorage.h"

#include "kestrel/storage/CompoundSession.h"
#include "kestrel/storage/compound/MemoryStore.h"

namespace kestrel {

QvResourceStorage::QvResourceStorage(std::span<const std::uint8_t> blob) : QvCompoundStorage("") {
    auto file = compound::CompoundFile::Open(std::make_unique<compound::BlobStore>(blob), compound::Access::kRead);
    if (!file) {
        TellFailure(false, file.Failure(), "built-in storage");
        return;
    }
    Attach(std::make_shared<CompoundSession>(*std::move(file), false, false));
}

}  // namespace kestrel
