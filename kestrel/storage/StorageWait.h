#pragma once
#include <chrono>
#include <functional>

#include "kestrel/foundation/Export.h"

namespace kestrel {

/// How storages wait before they try again to open what somebody else holds.
using StorageWait = std::function<void(std::chrono::milliseconds)>;

/// Puts another way of waiting in the place of a sleep of the thread; null puts the sleep back. Set it while no other
/// thread opens a storage or a stream.
KESTREL_API void SetStorageWait(StorageWait wait);

/// Waits in the way that was set.
void WaitForStorage(std::chrono::milliseconds time);

}  // namespace kestrel
