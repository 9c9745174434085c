#include "kestrel/kernels/PlainForm.h"

#include <gtest/gtest.h>
#include <hwy/highway.h>

#include <cstdlib>
#include <string_view>

namespace kestrel::kernels {
namespace {

// Run twice by the build: once as it is and once with the switch in the environment.
TEST(PlainForm, TheSwitchDecidesWhichFormRuns) {
    hwy::GetChosenTarget().DeInit();  // listing the instruction sets, as other tests here do, has chosen among all
    const std::string_view target = KernelTarget();
    const bool plain = target == "SCALAR" || target == "EMU128";
    const char* value = std::getenv("KESTREL_PLAIN");
    const bool forced = value && std::string_view(value) == "1";
#if defined(__x86_64__)
    EXPECT_EQ(plain, forced) << target;  // SSE2 at least is on every such CPU
#else
    EXPECT_TRUE(plain || !forced) << target;
#endif
}

}  // namespace
}  // namespace kestrel::kernels
