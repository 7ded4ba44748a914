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
        for (const auto& encoded : kChartSrgb24) {
            auto& patch = patches.emplace_back();
            for (std::size_t i = 0; i < 18; ++i) {
                const double own = encoded[i % 3] * encoded[i % 3];
                const double next = encoded[(i + 1) % 3] * encoded[(i + 1) % 3];
                const auto mixed = static_cast<int32_t>(4095 * (own * (1 - crosstalk) + next * crosstalk));
                const auto any = static_cast<int32_t>(static_cast<uint32_t>(random()));
                patch.push_back(turn % 13 == 0   ? any
                                : turn % 11 == 0 ? turn % 2 * 2000
                                                 : mixed + any % (1 + turn % 60));
            }
        }
        std::vector<const int32_t*> pointers;
        std::ranges::transform(patches, std::back_inserter(pointers), [](const auto& patch) { return patch.data(); });
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
        const Geometry geometry{random.within(48, 90), random.within(40, 80), turn % 4};
        OwnedFrame frame = chart_frame(random, geometry, 3000);
        uint32_t* samples = frame.samples.data();
        reference::Grids grids =
            make_grids(random.within(3, 8), 5, [&] { return 400 + static_cast<uint32_t>(random() % 256); });
        for (uint32_t& node : grids.green) {
            node += 200;  // below saturation, and never too bright for balancing
        }
        std::array<uint32_t, 4> offset{};
        std::array<float, 4> gain{};
        std::array<float, 24> weights{};
        std::ranges::generate(offset, [&] { return static_cast<uint32_t>(random.within(50, 70)); });
        std::ranges::generate(gain, [&] { return 1.0F + static_cast<float>(random.within(0, 64)) / 1024.0F; });
        std::ranges::generate(weights, [&] { return static_cast<float>(random.within(2, 9)) / 4.0F; });
        const auto windows = random_windows(random, geometry);
        const RoiRect* const given = turn % 3 == 0 ? nullptr : windows.data();
        std::array<uint16_t, 3> gains = {static_cast<uint16_t>(random.within(900, 2000)), 7,
                                         static_cast<uint16_t>(random.within(900, 2000))};
        std::array<float, 9> ccm{};
        std::array<int32_t, 9> q10{};
        digest << (turn % 2 == 0 ? cali_isp_awb_ccm(&samples, geometry.width, geometry.height, geometry.pattern,
                                                    grids.cols, grids.rows, grids.red.data(), grids.green.data(),
                                                    grids.blue.data(), offset[0], offset[1], offset[2], offset[3],
                                                    gain[0], gain[1], gain[2], gain[3], given, 1.0F, weights.data(),
                                                    &gains[0], &gains[1], &gains[2], ccm.data(), q10.data())
                                 : cali_isp_ccm_pipe_calc(
                                       &samples, geometry.width, geometry.height, geometry.pattern, grids.cols,
                                       grids.rows, grids.red.data(), grids.green.data(), grids.blue.data(), offset[0],
                                       offset[1], offset[2], offset[3], gain[0], gain[1], gain[2], gain[3], gains[0],
                                       gains[1], gains[2], given, 1.0F, weights.data(), ccm.data(), q10.data()))
               << gains << ccm << q10 << frame.samples;
    });
}

}  // namespace
}  // namespace cali::test
