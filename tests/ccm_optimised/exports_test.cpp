#include <algorithm>

#include "support/chart_support.h"
#include "support/recorded_calls.h"

namespace cali::test {
namespace {

TEST(RecordedCalls, OptimisedPipeline) {
    expect_recorded("libm.ccm_optimised.pipe", 60, [](Random& random, int turn, Digest& digest) {
        const int32_t width = random.within(48, 90);
        const int32_t height = random.within(40, 80);
        ChartCall call(chart_frame(random, {width, height, turn % 4}));
        randomise(random, turn, call);
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
        call.tone_curves = turn % 3 == 1 ? &call.curves : nullptr;
        digest << call.optimised() << call.state();
    });
}

/// One argument wrong in each call of the exports on a chart: nothing but the warning happens.
TEST(RecordedCalls, ChartRejections) {
    constexpr std::array<void (*)(ChartCall&), 23> kDamages = {
        [](ChartCall& call) { call.width = -1; },
        [](ChartCall& call) { call.height = 8193; },
        [](ChartCall& call) { call.pattern = 4; },
        [](ChartCall& call) {
            call.windows[23] = {45, 0, 4, 4};
        },
        [](ChartCall& call) {
            call.windows[2] = {0, 0, 1, 4};
        },
        [](ChartCall& call) {
            call.windows[0] = {2, 0, 2147483647, 2};
        },
        [](ChartCall& call) { call.ccm_out = nullptr; },
        [](ChartCall& call) { call.q10_out = nullptr; },
        [](ChartCall& call) { call.weights = nullptr; },
        [](ChartCall& call) { call.frame = nullptr; },
        [](ChartCall& call) { call.preprocess = nullptr; },
        [](ChartCall& call) { call.lens_shading = nullptr; },
        [](ChartCall& call) { call.shading[0].mode = 4; },
        [](ChartCall& call) { call.shading[0].grid_rows = 38; },
        [](ChartCall& call) { call.shading[0].grid_cols = 3; },
        [](ChartCall& call) { call.shading[0].grid_rows = 2; },
        [](ChartCall& call) { call.gain_r = 65536; },
        [](ChartCall& call) { call.gain_b = -1; },
        [](ChartCall& call) { call.curves.first = nullptr; },
        [](ChartCall& call) { call.curves.second_count = 0; },
        [](ChartCall& call) { std::fill_n(call.black.offset, 4, 4095); },  // the fit has no start
        [](ChartCall& call) { call.frame_pointer = nullptr; },
        [](ChartCall& call) { call.gain_out = nullptr; }};
    expect_recorded("libm.ccm.rejections", kDamages.size(), [&](Random&, int turn, Digest& digest) {
        for (const auto method : {&ChartCall::optimised, &ChartCall::joint}) {
            ChartCall call(small_chart());
            kDamages[static_cast<std::size_t>(turn)](call);
            digest << (call.*method)() << call.state();
        }
    });
}

}  // namespace
}  // namespace cali::test
