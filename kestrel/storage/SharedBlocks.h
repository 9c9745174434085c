#pragma once
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "kestrel/foundation/Export.h"

namespace kestrel {

class SharedMemory;

/// Numbered blocks of memory that processes share under a base name. A mutex between the processes orders what they do
/// to the numbers; it is waited for without a limit, and the death of its owner frees it. Blocks and names are gone
/// once their last user is, however it ended. The operations may be called from any thread.
class KESTREL_API SharedBlocks {
public:
    /// What a user does first, while all others wait: the first user makes segment 0, the others open it.
    using Begin = std::function<void(SharedBlocks& blocks)>;
    /// Joins the users of a base name, or is the first of them. The name holds no slash.
    explicit SharedBlocks(const std::string& baseName, const Begin& begin = {});
    ~SharedBlocks();
    SharedBlocks(const SharedBlocks&) = delete;
    SharedBlocks& operator=(const SharedBlocks&) = delete;

    /// False when the system refused; `LastStorageError` says why, and no other operation succeeds.
    bool IsOpen() const { return counter_ != nullptr; }
    /// Whether this object was the first user.
    bool IsNew() const { return isNew_; }

    /// A new segment of zeros; null when the system refuses.
    std::uint8_t* Allocate(std::size_t size);
    /// The segment of that number, which somebody uses; null when there is none.
    std::uint8_t* Open(std::uint32_t number);
    /// Lets go of a segment of this object; other addresses are left alone.
    void Free(const std::uint8_t* address);

    /// The number and the size of a segment of this object; -1 and 0 for other addresses.
    std::int64_t NumberOf(const std::uint8_t* address) const;
    std::size_t SizeOf(const std::uint8_t* address) const;
    /// The address of a segment of this object, null when it has no such number.
    std::uint8_t* AddressOf(std::uint32_t number) const;

private:
    class Guard;
    struct Counter;
    std::string SegmentName(std::uint32_t number) const;
    std::uint8_t* Keep(std::uint32_t number, std::unique_ptr<SharedMemory> segment);

    std::string baseName_;
    std::unique_ptr<SharedMemory> mutex_;
    std::unique_ptr<SharedMemory> counter_;
    bool isNew_ = false;
    std::multimap<std::uint32_t, std::unique_ptr<SharedMemory>> segments_;  // under the mutex
};

}  // namespace kestrel
