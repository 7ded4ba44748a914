#include "core/arithmetic.h"

#include "support/support.h"

namespace cali::test {
namespace {

constexpr int32_t kMin = std::numeric_limits<int32_t>::min();
constexpr int32_t kMax = std::numeric_limits<int32_t>::max();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(Arithmetic, ConvertsAsX86Does) {
    const std::vector<std::pair<double, int32_t>> cases = {{-0.0, 0},
                                                           {1.9, 1},
                                                           {-1.9, -1},
                                                           {2147483647.9, kMax},
                                                           {2147483648.0, kMin},
                                                           {4294967296.0, kMin},
                                                           {-2147483648.0, kMin},
                                                           {-2147483647.9, -kMax},
                                                           {-2147483649.0, kMin},
                                                           {kNan, kMin},
                                                           {kInfinity, kMin},
                                                           {-kInfinity, kMin},
                                                           {1e300, kMin}};
    for (const auto& [value, expected] : cases) {
        EXPECT_EQ(to_int32(value), expected) << value;
    }
}

TEST(Arithmetic, AddsHalfThenTruncatesTowardZero) {
    const std::vector<std::pair<double, int32_t>> cases = {
        {0.5, 1}, {2.5, 3}, {-0.5, 0}, {-1.4, 0}, {-1.5, -1}, {-1.6, -1}, {2147483647.4, kMax}, {2147483647.5, kMin}};
    for (const auto& [value, expected] : cases) {
        EXPECT_EQ(add_half_and_truncate(value), expected) << value;
    }
    // The last float below one half: the sum is exact in double and rounds up to 1 in single precision.
    EXPECT_EQ(add_half_and_truncate(static_cast<double>(0.49999997F)), 0);
    EXPECT_EQ(add_half_and_truncate(0.49999997F), 1);
}

TEST(Arithmetic, LimitsGainsAfterNarrowing) {
    const std::vector<std::pair<int32_t, uint16_t>> cases = {{16382, 16382}, {16383, 16383}, {16384, 16383}, {65536, 0},
                                                             {70000, 4464},  {-1, 16383},    {kMin, 0}};
    for (const auto& [gain, expected] : cases) {
        EXPECT_EQ(clamp_gain16(gain), expected) << gain;
    }
}

}  // namespace
}  // namespace cali::test
