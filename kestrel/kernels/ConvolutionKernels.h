#pragma once
#include <cstddef>
#include <cstdint>

namespace kestrel::kernels {

/// Nine weights by rows, the first for the row with the lower index, which is the lower row of the picture.
struct ConvolutionKernel {
    const char* name;
    std::int32_t weights[3][3];
    std::int32_t bias;  ///< read by nobody: every convolution adds 0
    std::int32_t divisor;
};

/// All kernels that pictures were ever convolved with. Filters address their row by its index.
inline constexpr ConvolutionKernel ConvolutionKernels[] = {
    {"Weichzeichnen", {{0, 1, 0}, {1, 2, 1}, {0, 1, 0}}, 0, 6},
    {"Stark Weichzeichnen", {{4, 4, 4}, {4, 5, 4}, {4, 4, 4}}, 0, 37},
    {"Gaussscher Weichzeichner", {{1, 2, 1}, {2, 5, 2}, {1, 2, 1}}, 0, 17},
    {"Scharfzeichnen", {{-1, -2, -1}, {-2, 16, -2}, {-1, -2, -1}}, 0, 4},
    {"Stark Scharfzeichnen", {{0, -1, 0}, {-1, 5, -1}, {0, -1, 0}}, 0, 1},
    {"Gaussscher Scharfzeichner", {{-1, -2, -1}, {-2, 13, -2}, {-1, -2, -1}}, 0, 1},
    {"Konturen Finden", {{1, 1, 1}, {1, -8, 1}, {1, 1, 1}}, 0, 1},
    {"Konturen Scharfzeichnen", {{1, 1, 1}, {1, -7, 1}, {1, 1, 1}}, 0, 1},
    {"Relief", {{2, 0, 0}, {0, 0, 0}, {0, 0, -2}}, 128, 1},
    {"Schwaches Relief", {{-10, 0, 0}, {0, 10, 0}, {0, 0, 10}}, 128, 10},
    {"Alias", {{-1, 0, 0}, {-1, 4, 0}, {-1, 0, 0}}, 0, 1},
};

inline constexpr std::size_t kBlurKernel = 1;
inline constexpr std::size_t kSharpenKernel = 4;
inline constexpr std::size_t kFindEdgesKernel = 6;
inline constexpr std::size_t kEmbossKernel = 8;

/// `strength` percent of a kernel over the one that changes nothing; `mixed` takes the weights by rows. Strengths
/// beyond 0..100 extrapolate.
constexpr void MixWithIdentity(const ConvolutionKernel& kernel, double strength, double mixed[3][3]) {
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c) {
            const double identity = r == 1 && c == 1 ? 1.0 : 0.0;
            const double base = static_cast<double>(kernel.weights[r][c]) / kernel.divisor;
            mixed[r][c] = (1.0 - strength / 100.0) * identity + strength / 100.0 * base;
        }
}

}  // namespace kestrel::kernels
