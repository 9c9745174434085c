#include "kestrel/foundation/Truncate.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>

namespace kestrel {
namespace {

struct TruncateCase {
    double value;
    std::int32_t want;
};

TEST(TruncateTest, CutsTowardZeroAndMarksWhatDoesNotFit) {
    const double infinity = std::numeric_limits<double>::infinity();
    const TruncateCase cases[] = {
        {0.0, 0},
        {0.999, 0},
        {-0.999, 0},
        {1.5, 1},
        {-1.5, -1},
        {2147483647.0, INT_MAX},
        {2147483647.999, INT_MAX},
        {-2147483648.0, INT_MIN},
        {-2147483648.999, INT_MIN},
        {2147483648.0, INT_MIN},
        {-2147483649.0, INT_MIN},
        {1e300, INT_MIN},
        {infinity, INT_MIN},
        {-infinity, INT_MIN},
        {std::nan(""), INT_MIN},
    };
    for (const auto& c : cases) EXPECT_EQ(TruncateToInt(c.value), c.want) << c.value;
}

static_assert(TruncateToInt(-7.9) == -7, "usable where constants are made");

}  // namespace
}  // namespace kestrel
