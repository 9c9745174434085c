#pragma once
#include <array>
#include <cstdint>

namespace kestrel::kernels {

/// Exponents from this on weigh 1, the minimum.
inline constexpr std::int32_t kGaussLimit = 10646;

/// Weights of a reduction by exponent in 1/1024: exp(-i / 1024) in units of 1/65535 below `kGaussLimit`, 1 from there
/// on. Two exponents up to the limit may be added, so that a weight in two dimensions is one look-up. Never 0.
const std::array<std::uint32_t, 2 * kGaussLimit + 1>& GaussTable();

/// What an exponent of 0..`kGaussLimit` contributes to a weight when it is that of a column or that of a row.
struct GaussFactor {
    std::uint32_t ofColumn;  ///< exp(-i / 1024) in units of 2^-31
    std::uint32_t ofRow;     ///< exp(-i / 1024) × 65535 in units of 2^-16
};
const std::array<GaussFactor, kGaussLimit + 1>& GaussFactors();

/// The high half of a product of two factors holds the weight in units of 2^-15. Below this bound the sum of the two
/// exponents has reached the limit: the largest such product is 65582, the smallest other one 65645.
inline constexpr std::uint32_t kSmallestGaussProduct = 65600;
inline constexpr int kGaussProductBits = 15;

/// The weight of a pair of exponents, the same as `GaussTable` holds for their sum, without a look-up.
constexpr std::uint32_t GaussWeight(std::uint32_t ofColumn, std::uint32_t ofRow) {
    const auto product = static_cast<std::uint32_t>((std::uint64_t{ofColumn} * ofRow) >> 32);
    return product < kSmallestGaussProduct ? 1 : product >> kGaussProductBits;
}

}  // namespace kestrel::kernels
