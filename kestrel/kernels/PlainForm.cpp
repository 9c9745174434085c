#include "kestrel/kernels/PlainForm.h"

#include <cstdlib>
#include <string_view>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kestrel/kernels/PlainForm.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace kestrel::kernels::HWY_NAMESPACE {

const char* TargetHere() { return hwy::TargetName(HWY_TARGET); }

}  // namespace kestrel::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kestrel::kernels {
namespace {

// Runs when the library is loaded, before any kernel has chosen its form.
[[maybe_unused]] const bool plain_is_forced = [] {
    const char* value = std::getenv("KESTREL_PLAIN");
    const bool forced = value && *value && std::string_view(value) != "0";
    if (forced) hwy::DisableTargets(~(HWY_SCALAR | HWY_EMU128));
    return forced;
}();

}  // namespace

HWY_EXPORT(TargetHere);
const char* KernelTarget() { return HWY_DYNAMIC_DISPATCH(TargetHere)(); }

}  // namespace kestrel::kernels
#endif
