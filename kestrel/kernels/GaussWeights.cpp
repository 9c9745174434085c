#include "kestrel/kernels/GaussWeights.h"

#include <cmath>
#include <cstddef>

namespace kestrel::kernels {
namespace {

/// The weights of the sums 6311 and 8730 are 138 + 1.0e-6 and 13 - 4.6e-6; every other weight but the first, which is
/// 65535, is at least 7.5e-5 away from a whole number, more than the rounding of both factors moves it. Factors up to
/// the first of these sums are rounded up and the others down, so that neither weight crosses its whole number.
constexpr int kLastRoundedUp = 6311;

std::uint32_t Rounded(double value, int exponent) {
    return static_cast<std::uint32_t>(exponent <= kLastRoundedUp ? std::ceil(value) : std::floor(value));
}

}  // namespace

const std::array<std::uint32_t, 2 * kGaussLimit + 1>& GaussTable() {
    static const auto table = [] {
        std::array<std::uint32_t, 2 * kGaussLimit + 1> weights;
        weights.fill(1);
        for (int i = 0; i < kGaussLimit; ++i)
            weights[static_cast<std::size_t>(i)] = static_cast<std::uint32_t>(std::exp(-i / 1024.0) * 65535.0);
        return weights;
    }();
    return table;
}

const std::array<GaussFactor, kGaussLimit + 1>& GaussFactors() {
    static const auto table = [] {
        std::array<GaussFactor, kGaussLimit + 1> factors;
        for (int i = 0; i <= kGaussLimit; ++i) {
            const double share = std::exp(-i / 1024.0);
            factors[static_cast<std::size_t>(i)] = {Rounded(share * 2147483648.0, i),
                                                    Rounded(share * 65535.0 * 65536.0, i)};
        }
        return factors;
    }();
    return table;
}

}  // namespace kestrel::kernels
