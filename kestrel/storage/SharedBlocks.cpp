#include "kestrel/storage/SharedBlocks.h"

#include <pthread.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <system_error>

#include "kestrel/diagnostics/TMDebugMonitor.h"
#include "kestrel/storage/SharedMemory.h"
#include "kestrel/storage/StorageError.h"

namespace kestrel {
namespace {

void MakeMutex(void* address) {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(static_cast<pthread_mutex_t*>(address), &attributes);
    pthread_mutexattr_destroy(&attributes);
}

void Failed(const std::string& name) {
    const std::string line = name + ": no shared memory: " + std::generic_category().message(errno);
    TMDebugMonitor("QvStorage", "%s", line.c_str());
    SetLastStorageError(line);
}

}  // namespace

/// The 8 bytes under the base name.
struct SharedBlocks::Counter {
    std::uint32_t next;  // the number of the next segment
    std::int32_t flag;   // -1 once the base name is in use
};

/// Holds the mutex between the processes. What it guards is whole at each step, so that nothing has to be mended after
/// an owner that died.
class SharedBlocks::Guard {
public:
    explicit Guard(const SharedBlocks& blocks) : mutex_(nullptr) {
        if (!blocks.mutex_) return;
        mutex_ = reinterpret_cast<pthread_mutex_t*>(blocks.mutex_->Address());
        if (pthread_mutex_lock(mutex_) == EOWNERDEAD) pthread_mutex_consistent(mutex_);
    }
    ~Guard() {
        if (mutex_) pthread_mutex_unlock(mutex_);
    }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;

private:
    pthread_mutex_t* mutex_;
};

SharedBlocks::SharedBlocks(const std::string& baseName, const Begin& begin) : baseName_(baseName) {
    errno = EINVAL;
    if (!baseName.empty() && baseName.find('/') == std::string::npos)
        mutex_ =
            SharedMemory::Open("/" + baseName + "Mutex", sizeof(pthread_mutex_t), SharedMemory::Which::Any, MakeMutex);
    const Guard guard(*this);
    if (mutex_) counter_ = SharedMemory::Open("/" + baseName, sizeof(Counter), SharedMemory::Which::Any);
    if (!counter_) {
        Failed(baseName);
        return;
    }
    auto& counter = *reinterpret_cast<Counter*>(counter_->Address());
    isNew_ = counter.flag == 0;
    counter.flag = -1;
    if (begin) begin(*this);
}

SharedBlocks::~SharedBlocks() {
    const Guard guard(*this);
    segments_.clear();
    counter_.reset();
}

std::string SharedBlocks::SegmentName(std::uint32_t number) const {
    char text[16];
    std::snprintf(text, sizeof text, "_%ld", static_cast<long>(number));
    return "/" + baseName_ + text;
}

std::uint8_t* SharedBlocks::Keep(std::uint32_t number, std::unique_ptr<SharedMemory> segment) {
    std::uint8_t* address = segment->Address();
    segments_.emplace(number, std::move(segment));
    return address;
}

std::uint8_t* SharedBlocks::Allocate(std::size_t size) {
    if (!IsOpen() || size == 0) return nullptr;
    const Guard guard(*this);
    auto& counter = *reinterpret_cast<Counter*>(counter_->Address());
    const std::uint32_t number = counter.next++;
    auto segment = SharedMemory::Open(SegmentName(number), size, SharedMemory::Which::Any);
    if (segment) return Keep(number, std::move(segment));
    Failed(baseName_);
    return nullptr;
}

std::uint8_t* SharedBlocks::Open(std::uint32_t number) {
    if (!IsOpen()) return nullptr;
    const Guard guard(*this);
    auto segment = SharedMemory::Open(SegmentName(number), 1, SharedMemory::Which::Existing);
    if (segment) return Keep(number, std::move(segment));
    Failed(baseName_);
    return nullptr;
}

void SharedBlocks::Free(const std::uint8_t* address) {
    if (!IsOpen()) return;
    const Guard guard(*this);
    const auto found = std::find_if(segments_.begin(), segments_.end(),
                                    [address](const auto& one) { return one.second->Address() == address; });
    if (found != segments_.end()) segments_.erase(found);
}

std::int64_t SharedBlocks::NumberOf(const std::uint8_t* address) const {
    const Guard guard(*this);
    for (const auto& [number, segment] : segments_)
        if (segment->Address() == address) return number;
    return -1;
}

std::size_t SharedBlocks::SizeOf(const std::uint8_t* address) const {
    const Guard guard(*this);
    for (const auto& [number, segment] : segments_)
        if (segment->Address() == address) return segment->Size();
    return 0;
}

std::uint8_t* SharedBlocks::AddressOf(std::uint32_t number) const {
    const Guard guard(*this);
    const auto found = segments_.find(number);
    return found == segments_.end() ? nullptr : found->second->Address();
}

}  // namespace kestrel
