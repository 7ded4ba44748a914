#include <algorithm>
#include <cmath>
#include <numbers>

#include "stages/grid_placement.h"
#include "support/export_calls.h"

namespace cali::test {
namespace {

constexpr int32_t kWidth = 400;
constexpr int32_t kHeight = 304;

/// Light over the frame: full turns of a cosine across and down the channel planes, which mirror at the edges and which
/// the low-pass only makes flatter, by `kept`.
double light(double x, double y, std::array<double, 2> kept) {
    const double across = std::cos(2 * std::numbers::pi * x / (kWidth - 2));
    const double down = std::cos(2 * std::numbers::pi * y / (kHeight - 2));
    return 2499 - 300 * kept[0] * across - 250 * kept[1] * down;  // a code less: both passes truncate
}

/// What a Gaussian of sigma 4 plane samples leaves of a full turn over the frame.
double kept_of(int32_t size) { return std::exp(-std::pow(2 * std::numbers::pi * 8 / (size - 2), 2) / 2); }

TEST(LensShadingGains, UndoAnAnalyticVignette) {
    const std::array<double, 2> kept = {kept_of(kWidth), kept_of(kHeight)};
    OwnedFrame frame{{}, kWidth, kHeight, 3};
    for (int32_t y = 0; y < kHeight; ++y) {
        for (int32_t x = 0; x < kWidth; ++x) {
            const double colour = x % 2 == y % 2 ? (x % 2 == 0 ? 0.5 : 0.75) : 1;  // red, blue, green
            frame.samples.push_back(static_cast<uint32_t>(std::lround(colour * (light(x & ~1, y & ~1, {1, 1}) + 1))) +
                                    64);
        }
    }
    LscCall call(std::move(frame), 13, 9);
    call.blc = {64, 64, 64, 64};
    CapturedOutput output;
    ASSERT_EQ(call.calc(), 0);
    // The middle of the plane is between samples 99 and 100, 75 and 76.
    EXPECT_EQ(call.center_x, 198);
    EXPECT_EQ(call.center_y, 150);
    const double farthest = std::hypot(kWidth - 198, kHeight - 150);
    EXPECT_EQ(call.norm, static_cast<int32_t>(31 / farthest * 2048));
    const double centre = light(198, 150, kept);
    const GridPlacement across = place_grid(13, kWidth);
    const GridPlacement down = place_grid(9, kHeight);
    for (int32_t j = 1; j < 8; ++j) {
        for (int32_t i = 1; i < 12; ++i) {
            const auto position = [](int32_t node, const GridPlacement& placement, int32_t size) {
                const double at = static_cast<double>(node * 32768 - placement.origin) / placement.step;
                return std::min(at, size - 2.0);  // the last plane sample goes on
            };
            const auto node = static_cast<std::size_t>(13 * j + i);
            const double gain = centre / light(position(i, across, kWidth), position(j, down, kHeight), kept);
            EXPECT_NEAR(call.mesh[1][node], 512 * gain, 1) << i << ", " << j;
            EXPECT_NEAR(call.mesh[0][node], 512, 1) << i << ", " << j;
            EXPECT_NEAR(call.mesh[2][node], 512, 1) << i << ", " << j;
        }
    }
    for (std::size_t k = 0; k < 31; ++k) {
        double sum = 0;
        double count = 0;
        for (int m = 0; m < 20000; ++m) {
            const double radius = static_cast<double>(k) / 31 * farthest;
            const double x = 198 + radius * std::cos(m * std::numbers::pi / 10000);
            const double y = 150 + radius * std::sin(m * std::numbers::pi / 10000);
            if (x >= 0 && x < kWidth && y >= 0 && y <= kHeight) {
                sum += centre / light(std::min(x, kWidth - 2.0), std::min(y, kHeight - 2.0), kept);
                ++count;
            }
        }
        for (std::size_t table = 0; table < 4; ++table) {
            EXPECT_NEAR(call.radial[32 * table + k], 512 * sum / count, 1) << table << ", " << k;
        }
    }
}

}  // namespace
}  // namespace cali::test
