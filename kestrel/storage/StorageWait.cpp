#include "kestrel/storage/StorageWait.h"

#include <thread>

namespace kestrel {
namespace {

StorageWait& Current() {
    static StorageWait& wait = *new StorageWait;
    return wait;
}

}  // namespace

void SetStorageWait(StorageWait wait) { Current() = std::move(wait); }

void WaitForStorage(std::chrono::milliseconds time) {
    if (Current())
        Current()(time);
    else
        std::this_thread::sleep_for(time);
}

}  // namespace kestrel
