#include "kestrel/framework/HostServices.h"

#include <mutex>

namespace kestrel {
namespace {

std::mutex servicesGuard;
Ref<IHostServices> processServices;

}  // namespace

void SetHostServices(IHostServices* services) {
    Ref<IHostServices> next(services);
    const std::lock_guard lock(servicesGuard);
    std::swap(processServices, next);  // what was set before is released after the lock
}

Ref<IHostServices> GetHostServices() {
    const std::lock_guard lock(servicesGuard);
    return processServices;
}

Ref<IHostServices> FindHostServices(IFilterObject& filter) {
    Ref<IFilterObject> last(&filter);
    Ref<IFilterObject> next;
    while (last->QueryDownstream(IFilterObject::kIid, next.Out()) == S_OK && next) last = next;
    Ref<IHostServices> services;
    if (last->QueryDownstream(IHostServices::kIid, services.Out()) == S_OK && services) return services;
    return GetHostServices();
}

}  // namespace kestrel
