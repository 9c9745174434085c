// Which instruction sets the kernels may use: the functions of Highway's library behind its headers. That library
// measures the clock when it is loaded, which takes longer than a small picture.
#include <hwy/targets.h>

#include <atomic>
#include <cstdint>

#if HWY_ARCH_X86
#include <cpuid.h>
#endif

namespace hwy {
namespace {

constexpr int64_t kPlain = HWY_SCALAR | HWY_EMU128;

#if HWY_ARCH_X86
/// What the compiler's own question does not know.
bool HasFeature(unsigned leaf, unsigned bitOfEcx) {
    unsigned a = 0, b = 0, c = 0, d = 0;
    return __get_cpuid_count(leaf, 0, &a, &b, &c, &d) && (c >> bitOfEcx & 1) != 0;
}

/// The sets that CPU and system support. Each needs all the instructions that Highway's headers use for it.
int64_t Detect() {
    __builtin_cpu_init();
    const bool ssse3 = __builtin_cpu_supports("ssse3");
    const bool sse4 = ssse3 && __builtin_cpu_supports("sse4.1") && __builtin_cpu_supports("sse4.2") &&
                      __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("aes");
    const bool lzcnt = HasFeature(0x80000001, 5), f16c = HasFeature(1, 29);
    const bool avx2 = sse4 && __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma") &&
                      __builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2") && lzcnt && f16c;
    const bool avx3 = avx2 && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl") &&
                      __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512bw") &&
                      __builtin_cpu_supports("avx512cd");
    const bool vaes = HasFeature(7, 9), vpclmulqdq = HasFeature(7, 10);
    const bool avx3dl = avx3 && __builtin_cpu_supports("avx512vbmi") && __builtin_cpu_supports("avx512vbmi2") &&
                        __builtin_cpu_supports("avx512vnni") && __builtin_cpu_supports("avx512bitalg") &&
                        __builtin_cpu_supports("avx512vpopcntdq") && vaes && vpclmulqdq;
    return (ssse3 ? HWY_SSSE3 : 0) | (sse4 ? HWY_SSE4 : 0) | (avx2 ? HWY_AVX2 : 0) | (avx3 ? HWY_AVX3 : 0) |
           (avx3dl ? HWY_AVX3_DL : 0);
}
#else
int64_t Detect() { return 0; }  // elsewhere the sets that the compiler may use everywhere are all there are
#endif

std::atomic<int64_t> allowed{~int64_t{0}};
std::atomic<int64_t> forced{0};  // in place of those that there are; 0: none

}  // namespace

int64_t SupportedTargets() {
    static const int64_t here = Detect() | HWY_ENABLED_BASELINE | kPlain;
    const int64_t targets = (forced != 0 ? forced.load() : here) & allowed;
    return targets != 0 ? targets : HWY_STATIC_TARGET;
}

void DisableTargets(int64_t disabled) {
    allowed = ~disabled;
    GetChosenTarget().DeInit();  // the next call of a kernel chooses anew
}

void SetSupportedTargetsForTest(int64_t targets) {
    forced = targets;
    GetChosenTarget().DeInit();
}

ChosenTarget& GetChosenTarget() {
    static ChosenTarget chosen;
    return chosen;
}

}  // namespace hwy
