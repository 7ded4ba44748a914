#include "chart/chart_measure.h"

#include "support/chart_support.h"

namespace cali::test {
namespace {

TEST(ChartMeasure, SumsEachWindowByColour) {
    Random random(91);
    for (int32_t pattern = 0; pattern < 4; ++pattern) {
        const Geometry geometry{30, 17, pattern};
        const OwnedFrame frame = random_frame(random, geometry.width, geometry.height, pattern);
        ChartWindows windows{};
        std::ranges::copy(random_windows(random, geometry), windows.begin());
        // Windows overlap; a doubled red shows where a window forgets on which column it starts.
        FrontEnd front_end;
        front_end.black_level = BlackLevel{{}, PerChannel<float>::from_red_first(2, 1, 1, 1)};
        const ChartSums sums = sum_chart(frame.view(), front_end, windows);
        const ChartMeans means = measure_chart(frame.view(), front_end, windows);
        for (std::size_t i = 0; i < windows.size(); ++i) {
            PatchSums expected;
            for (int32_t y = windows[i].y; y < windows[i].y + windows[i].h; ++y) {
                for (int32_t x = windows[i].x; x < windows[i].x + windows[i].w; ++x) {
                    const int code =
                        reference::colour_code(pattern, static_cast<uint32_t>(y), static_cast<uint32_t>(x));
                    const std::size_t colour = code == 3 ? 0 : code == 0 ? 2 : 1;
                    expected.sum[colour] += frame.view().row(y)[x] * (code == 3 ? 2U : 1U);
                    ++expected.count[colour];
                }
            }
            EXPECT_EQ(sums[i].sum, expected.sum);
            EXPECT_EQ(sums[i].count, expected.count);
            EXPECT_EQ(means[i][0], static_cast<double>(expected.sum[0]) / static_cast<double>(expected.count[0]));
        }
    }
}

TEST(ChartWindows, FillTheFrame) {
    const ChartWindows windows = windows_of_full_frame(101, 71);
    const std::vector<RoiRect> expected = full_frame_windows({101, 71, 0});
    for (std::size_t i = 0; i < windows.size(); ++i) {
        const auto& [x, y, w, h] = expected[i];
        EXPECT_TRUE(windows[i].x == x && windows[i].y == y && windows[i].w == w && windows[i].h == h) << i;
    }
}

}  // namespace
}  // namespace cali::test
