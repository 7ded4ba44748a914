#include <algorithm>

#include "chart/chart_table.h"
#include "support/chart_support.h"
#include "support/recorded_calls.h"

namespace cali::test {
namespace {

TEST(RecordedCalls, ChartMatrix) {
    expect_recorded("libm.ccm_lsq.calc", 1000, [](Random& random, int turn, Digest& digest) {
        // The chart as a sensor with crosstalk and noise sees it, codes of any size, and patches all alike.
        const double crosstalk = turn % 7 * 0.07;
        std::vector<std::vector<int32_t>> patches;
        std::vector<const int32_t*> pointers;
        for (const auto& encoded : kChartSrgb24) {
            auto& patch = patches.emplace_back();
            for (std::size_t i = 0; i < 18; ++i) {
                const double own = encoded[i % 3] * encoded[i % 3];
                const double next = encoded[(i + 1) % 3] * encoded[(i + 1) % 3];
                const auto mixed = static_cast<int32_t>(4095 * (own * (1 - crosstalk) + next * crosstalk));
                const auto any = static_cast<int32_t>(random());
                patch.push_back(turn % 13 == 0   ? any
                                : turn % 11 == 0 ? turn % 2 * 2000
                                                 : mixed + any % (1 + turn % 60));
            }
            pointers.push_back(patch.data());
        }
        std::vector<float> weights(24, 1.0F);
        if (turn % 2 == 1) {
            std::ranges::generate(weights, [&] { return static_cast<float>(random.within(0, 255)) / 64.0F; });
        }
        const float lambda_scale = pick(random, std::array{1.0F, 1.0F, 2.0F, 0.0F, -0.5F});
        std::array<float, 9> ccm{};
        std::array<int32_t, 9> q10{};
        digest << cali_ccm_calc(pointers.data(), nullptr, turn % 3 == 0 ? random.within(1, 24) : 24, 2, 3, 3,
                                lambda_scale, weights.data(), ccm.data(), q10.data())
               << ccm << q10;
    });
}

TEST(RecordedCalls, ChartPipelines) {
    expect_recorded("libm.ccm_lsq.pipe", 300, [](Random& random, int turn, Digest& digest) {
        const int32_t width = random.within(48, 90);
        const int32_t height = random.within(40, 80);
        ChartCall call(chart_frame(random, {width, height, turn % 4}, 3000));
        randomise(random, turn, call);
        digest << (turn % 2 == 0 ? call.joint() : call.first_generation()) << call.state();
    });
}

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
