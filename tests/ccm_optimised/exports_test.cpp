#include <algorithm>

#include "support/chart_support.h"
#include "support/recorded_calls.h"

namespace cali::test {
namespace {

TEST(RecordedCalls, OptimisedPipeline) {
    expect_recorded("libm.ccm_optimised.pipe", 60, [](Random& random, int turn, Digest& digest) {
        const int32_t width = random.within(48, 90);
        const int32_t height = random.within(40, 80);
        ChartCall call(chart_frame(random, {width, height, turn % 4}, 3000));
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
        digest << call.optimised() << call.input.samples << call.ccm << call.q10 << call.gains;
    });
}

}  // namespace
}  // namespace cali::test
