#include <limits>

#include "core/arithmetic.h"
#include "core/channel.h"
#include "stages/grid_placement.h"
#include "support/support.h"

namespace cali::test {
namespace {

constexpr int32_t kMin = std::numeric_limits<int32_t>::min();
constexpr int32_t kMax = std::numeric_limits<int32_t>::max();

TEST(ChannelOf, KnowsTheTwentyMosaics) {
    using Row = std::array<uint32_t, 16>;
    constexpr Row kUnused = {7, 7, 7, 7};
    const std::array<Row, 20> mosaics = {{{0, 1, 2, 3},
                                          {1, 0, 3, 2},
                                          {2, 3, 0, 1},
                                          {3, 2, 1, 0},
                                          kUnused,
                                          kUnused,
                                          kUnused,
                                          kUnused,
                                          {16, 3, 16, 0, 19, 17, 18, 17, 16, 0, 16, 3, 18, 17, 19, 17},
                                          {3, 16, 0, 16, 17, 18, 17, 19, 0, 16, 3, 16, 17, 19, 17, 18},
                                          {16, 0, 16, 3, 18, 17, 19, 17, 16, 3, 16, 0, 19, 17, 18, 17},
                                          {0, 16, 3, 16, 17, 19, 17, 18, 3, 16, 0, 16, 17, 18, 17, 19},
                                          {18, 17, 19, 17, 16, 3, 16, 0, 19, 17, 18, 17, 16, 0, 16, 3},
                                          {17, 19, 17, 18, 3, 16, 0, 16, 17, 18, 17, 19, 0, 16, 3, 16},
                                          {17, 18, 17, 19, 0, 16, 3, 16, 17, 19, 17, 18, 3, 16, 0, 16},
                                          {19, 17, 18, 17, 16, 0, 16, 3, 18, 17, 19, 17, 16, 3, 16, 0}}};
    for (std::size_t pattern = 0; pattern < mosaics.size(); ++pattern) {
        const uint32_t period = pattern < 4 ? 2 : 4;
        // From 100 on: more than a period away from the origin.
        for (const uint32_t start : {0U, 100U, 0xFFFFFFF8U}) {
            for (uint32_t row = start; row != start + 8; ++row) {
                for (uint32_t column = start; column != start + 8; ++column) {
                    const uint32_t expected = mosaics[pattern][row % period * period + column % period];
                    ASSERT_EQ(channel_of(row, column, static_cast<int32_t>(pattern)), expected)
                        << pattern << ": " << row << ", " << column;
                    if (pattern < 4) {
                        ASSERT_EQ(bayer_channel(static_cast<int32_t>(pattern), row, column), expected);
                    }
                }
            }
        }
    }
}

TEST(Arithmetic, ConvertsAsX86Does) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinity = std::numeric_limits<double>::infinity();
    const std::vector<std::pair<double, int32_t>> cases = {{0.0, 0},
                                                           {-0.0, 0},
                                                           {1.9, 1},
                                                           {-1.9, -1},
                                                           {2147483647.0, kMax},
                                                           {2147483647.9, kMax},
                                                           {2147483648.0, kMin},
                                                           {4294967296.0, kMin},
                                                           {-2147483648.0, kMin},
                                                           {-2147483647.9, -kMax},
                                                           {-2147483649.0, kMin},
                                                           {nan, kMin},
                                                           {infinity, kMin},
                                                           {-infinity, kMin},
                                                           {1e300, kMin}};
    for (const auto& [value, expected] : cases) {
        EXPECT_EQ(to_int32(value), expected) << value;
        EXPECT_EQ(reference::x86_int32(value), expected) << value;
    }
}

TEST(Arithmetic, AddsHalfThenTruncatesTowardZero) {
    const std::vector<std::pair<double, int32_t>> cases = {{0.5, 1},
                                                           {1.5, 2},
                                                           {2.5, 3},
                                                           {-0.4, 0},
                                                           {-0.5, 0},
                                                           {-0.6, 0},
                                                           {-1.4, 0},
                                                           {-1.5, -1},
                                                           {-1.6, -1},
                                                           {-2.5, -2},
                                                           {2147483647.4, kMax},
                                                           {2147483647.5, kMin}};
    for (const auto& [value, expected] : cases) {
        EXPECT_EQ(add_half_and_truncate(value), expected) << value;
    }
    // The last float below one half: the sum is exact in double and rounds up to 1 in single precision.
    EXPECT_EQ(add_half_and_truncate(static_cast<double>(0.49999997F)), 0);
    EXPECT_EQ(add_half_and_truncate(0.49999997F), 1);
    EXPECT_EQ(add_half_and_truncate(8388609.0F), 8388610);
    EXPECT_EQ(add_half_and_truncate(std::numeric_limits<float>::quiet_NaN()), kMin);
}

TEST(Arithmetic, LimitsGainsAfterNarrowing) {
    const std::vector<std::pair<int32_t, uint16_t>> cases = {
        {0, 0},        {16382, 16382}, {16383, 16383},  {16384, 16383}, {65535, 16383}, {65536, 0},
        {70000, 4464}, {-1, 16383},    {-65536 + 5, 5}, {kMin, 0},      {kMax, 16383}};
    for (const auto& [gain, expected] : cases) {
        EXPECT_EQ(clamp_gain16(gain), expected) << gain;
    }
}

TEST(GridPlacement, GivesTheWorkedValues) {
    EXPECT_EQ(place_grid(3, 100).step, 1);
    EXPECT_EQ(place_grid(3, 100).origin, 32718);
    EXPECT_EQ(place_grid(69, 4000).step, 541);  // 66 * 32768 / 4000 = 540.67
    EXPECT_EQ(place_grid(69, 4000).origin, 32112);
}

TEST(GridPlacement, KeepsAMarginOfOneNode) {
    for (int32_t nodes = 3; nodes <= 129; ++nodes) {
        for (int32_t size = 1; size <= 8192; size += size < 300 ? 1 : 263) {
            const GridPlacement placement = place_grid(nodes, size);
            const int32_t last = placement.origin + (size - 1) * placement.step;
            // Half the photosites' surplus of one unit each may eat into either margin.
            ASSERT_GE(placement.origin, kNodeDistance - size / 2 - 1) << nodes << ", " << size;
            ASSERT_LT(placement.origin, kNodeDistance) << nodes << ", " << size;
            ASSERT_LE(last >> 15, nodes - 2) << nodes << ", " << size;
        }
    }
}

}  // namespace
}  // namespace cali::test
