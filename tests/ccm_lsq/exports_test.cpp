#include "support/chart_support.h"

namespace cali::test {
namespace {

TEST(ChartPipelines, GainsComeFromTheGreysBetweenWhiteAndBlack) {
    OwnedFrame frame{{}, 96, 64, 3};
    for (int32_t y = 0; y < 64; ++y) {
        for (int32_t x = 0; x < 96; ++x) {
            const int32_t patch = y / 16 * 6 + x / 16;
            const auto cell = static_cast<std::size_t>(y % 2 * 2 + x % 2);
            frame.samples.push_back(64 + (patch >= 19 && patch <= 22 ? std::array{500U, 1000U, 1000U, 800U}
                                                                     : std::array{900U, 600U, 700U, 90U})[cell]);
        }
    }
    ChartCall call(std::move(frame));
    CapturedOutput output;
    EXPECT_EQ(call.joint(), 0);
    EXPECT_EQ(call.gains, (std::array<uint16_t, 3>{2048, 1024, 1280}));
}

}  // namespace
}  // namespace cali::test
