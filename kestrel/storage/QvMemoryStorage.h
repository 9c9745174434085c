#pragma once
#include <cstdint>
#include <memory>
#include <vector>

#include "kestrel/storage/QvCompoundStorage.h"

namespace kestrel {

/// A compound file in memory.
class KESTREL_API QvMemoryStorage final : public QvCompoundStorage {
public:
    /// `size` bytes are made room for at once; the storage grows as needed.
    explicit QvMemoryStorage(int size);

    /// Closes the storage and writes it into a file, whole or not at all. The object has no storage afterwards.
    bool DumpToFile(const char* path);

private:
    std::shared_ptr<std::vector<std::uint8_t>> bytes_;
};

}  // namespace kestrel
