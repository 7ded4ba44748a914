#include "library/chart_mosaic.h"

#include <gtest/gtest.h>

#include "chart/matrix_fit.h"
#include "library/exports.h"
#include "library/front_end.h"
#include "simulation/sensor.h"

namespace cali::test {
namespace {

namespace exports = host::exports;

TEST(Refits, GiveTheBitsOfTheWholeFrame) {
    host::SensorModel sensor;
    sensor.width = 192;
    sensor.height = 128;
    sensor.pattern = 1;
    const std::vector<uint16_t> codes = expose(sensor, chart_scene(sensor, 5000, 0.9), 1, 0);
    host::Capture chart{"c.raw", {192, 128, 1, 12, {}}, {codes.begin(), codes.end()}};
    ChartWindows windows = windows_of_full_frame(192, 128);
    for (std::size_t i = 0; i < windows.size(); ++i) {  // odd corners and sides
        windows[i].x += static_cast<int32_t>(i % 2);
        windows[i].y += static_cast<int32_t>(i % 3);
        windows[i].w -= static_cast<int32_t>(i % 4);
    }
    host::TuningValues values;
    values.black_level = {{64, 66, 65, 63}, {1.12F, 1.13F, 1.12F, 1.11F}};
    values.gains = {2012, 1024, 1832};
    host::TuningValues shaded = values;
    shaded.flat_field = "flat.raw";
    shaded.grids = {4, 4, std::vector<uint32_t>(16, 512), std::vector<uint32_t>(16, 530),
                    std::vector<uint32_t>(16, 540)};
    const host::LibraryOutput output;
    for (const host::TuningValues& given : {values, shaded}) {
        auto [frame, places, left] = set_together(chart, given, windows);
        EXPECT_LT(frame.samples.size(), chart.samples.size() / 2);
        exports::PatchWeights weights = exports::kEqualWeights;
        weights[4] = 0;
        EXPECT_EQ(exports::ccm_pipe_optimised(frame, left, places, weights, {}, output).value,
                  exports::ccm_pipe_optimised(chart, given, windows, weights, {}, output).value);
        // Without the library: what refits of the closed form take instead.
        const ChartMeans means = measure_chart(chart.view(), front_end_of(given), windows);
        const auto refitted = fit_chart(means, weights, exports::kExactRowSums).value;
        EXPECT_EQ(refitted, exports::ccm_pipe(chart, given, windows, weights, output).value);
        host::GainRegisters gains;
        const auto joint = exports::awb_ccm(chart, given, windows, weights, gains, output).value;
        host::TuningValues balanced = given;
        balanced.gains = gains;
        EXPECT_EQ(
            fit_chart(measure_chart(chart.view(), front_end_of(balanced), windows), weights, exports::kExactRowSums)
                .value,
            joint);
    }
}

}  // namespace
}  // namespace cali::test
