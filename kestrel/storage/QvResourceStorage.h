#pragma once
#include <cstdint>
#include <span>

#include "kestrel/storage/QvCompoundStorage.h"

namespace kestrel {

/// A compound file that the program carries with it; it is only read.
class KESTREL_API QvResourceStorage final : public QvCompoundStorage {
public:
    /// The bytes outlive the object. An empty blob, or one that is no compound file, leaves it without a storage.
    explicit QvResourceStorage(std::span<const std::uint8_t> blob);
};

}  // namespace kestrel
