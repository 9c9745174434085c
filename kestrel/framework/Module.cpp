#include "kestrel/framework/Module.h"

#include <atomic>

namespace kestrel {
namespace {
std::atomic<long> liveObjectsAndLocks{0};
}  // namespace

void Module::Lock() { liveObjectsAndLocks.fetch_add(1, std::memory_order_relaxed); }
void Module::Unlock() { liveObjectsAndLocks.fetch_sub(1, std::memory_order_acq_rel); }
long Module::Count() { return liveObjectsAndLocks.load(std::memory_order_acquire); }

}  // namespace kestrel
