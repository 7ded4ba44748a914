#include "library/chart_mosaic.h"

#include <gtest/gtest.h>

#include "library/exports.h"
#include "simulation/sensor.h"

namespace cali::test {
namespace {

namespace exports = host::exports;

TEST(ChartMosaic, GivesTheBitsOfTheWholeFrame) {
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
        auto [frame, places, left] = set_together(chart, given, windows, host::MosaicOrder::mesh_first);
        EXPECT_LT(frame.samples.size(), chart.samples.size() / 2);
        exports::PatchWeights weights = exports::kEqualWeights;
        weights[4] = 0;
        EXPECT_EQ(exports::ccm_pipe(frame, left, places, weights, output).value,
                  exports::ccm_pipe(chart, given, windows, weights, output).value);
        host::GainRegisters small;
        host::GainRegisters whole;
        EXPECT_EQ(exports::awb_ccm(frame, left, places, weights, small, output).value,
                  exports::awb_ccm(chart, given, windows, weights, whole, output).value);
        EXPECT_EQ(small.red, whole.red);
        auto [gained, positions, rest] = set_together(chart, given, windows, host::MosaicOrder::gains_first);
        EXPECT_EQ(exports::ccm_pipe_optimised(gained, rest, positions, weights, {}, output).value,
                  exports::ccm_pipe_optimised(chart, given, windows, weights, {}, output).value);
    }
}

}  // namespace
}  // namespace cali::test
