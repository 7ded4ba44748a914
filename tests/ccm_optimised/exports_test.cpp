#include <algorithm>

#include "support/chart_support.h"
#include "support/recorded_calls.h"

namespace cali::test {
namespace {

TEST(RecordedCalls, OptimisedPipeline) {
    expect_recorded("libm.ccm_optimised.pipe", 60, [](Random& random, int turn, Digest& digest) {
        const Geometry geometry{random.within(48, 90), random.within(40, 80), turn % 4};
        ChartCall call(chart_frame(random, geometry, 3000));
        if (turn % 3 != 0) {
            call.windows = random_windows(random, geometry);
        }
        CcmLensShading& shading = call.shading[0];
        shading.mode = turn / 4 % 4;
        shading.grid_cols = random.within(4, 8);
        for (uint32_t* const grid : {shading.red_grid, shading.green_grid, shading.blue_grid}) {
            std::generate_n(grid, shading.grid_cols * shading.grid_rows,
                            [&] { return static_cast<uint32_t>(random.within(450, 650)); });
        }
        shading.center_x = random.within(0, geometry.width);
        shading.center_y = random.within(0, geometry.height);
        std::ranges::generate(shading.radial_tables, [&] { return random.within(512, 640); });
        std::ranges::generate(call.black.offset, [&] { return random.within(50, 70); });
        std::ranges::generate(call.black.gain,
                              [&] { return 1.0F + static_cast<float>(random.within(0, 64)) / 1024.0F; });
        std::ranges::generate(call.saturation_and_weights,
                              [&] { return static_cast<float>(random.within(3, 9)) / 6.0F; });
        call.gain_r = turn % 6 == 0 ? 0 : random.within(900, 2000);
        call.gain_b = turn % 7 == 0 ? 0 : random.within(900, 2000);
        // Near a gamma curve, and near the identity.
        std::vector<uint32_t> second(static_cast<std::size_t>(random.within(200, 4096)));
        call.curve.resize(static_cast<std::size_t>(random.within(1, 400)));
        for (auto* const curve : {&call.curve, &second}) {
            const auto last = static_cast<uint32_t>(curve->size() - 1);
            for (uint32_t i = 0; i <= last; ++i) {
                const uint32_t linear = last == 0 ? 4095 : 4095 * i / last;
                (*curve)[i] = curve == &second ? linear : linear + linear * (4095 - linear) / 8190;
            }
        }
        call.curves = {call.curve.data(), static_cast<uint32_t>(call.curve.size()), second.data(),
                       static_cast<uint32_t>(second.size())};
        digest << cali_isp_ccm_pipe_calc_v2(call.frame, 9, turn % 3 == 0 ? nullptr : call.windows.data(),
                                            turn % 3 == 1 ? &call.curves : nullptr, call.width, call.height,
                                            call.pattern, &call.black, &shading, call.gain_r, call.gain_b, call.weights,
                                            9, call.ccm_out, call.q10_out, turn % 2 == 0 ? 65 : 50,
                                            turn % 9 == 8 ? 1 : 0)
               << call.state();
    });
}

}  // namespace
}  // namespace cali::test
