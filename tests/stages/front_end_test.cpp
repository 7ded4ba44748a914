#include "stages/front_end.h"

#include <algorithm>

#include "stages/expect_stage.h"

namespace cali::test {
namespace {

TEST(FrontEnd, RunsItsStagesInOrder) {
    Random random(7);
    const reference::BlackLevelArguments black{{64, 65, 66, 67}, {1.0158F, 1.0161F, 1.0163F, 1.0166F}};
    const reference::Grids grids = plausible_grids(random, 6, 5);
    std::vector<int32_t> tables(kRadialTableSize);
    std::ranges::generate(tables, [&] { return 500 + static_cast<int32_t>(random() % 600); });
    for_small_frames(random, {}, [&](const Geometry& geometry, std::vector<uint32_t> samples, std::size_t turn) {
        const int32_t width = geometry.width;
        const int32_t height = geometry.height;
        const int32_t pattern = geometry.pattern;
        // Each bit of the turn is a stage, or where the gains stand.
        FrontEnd front_end;
        front_end.gains_before_shading = (turn & 16U) != 0;
        std::vector<uint32_t> expected = samples;
        const auto gains = [&](bool before) {
            if ((turn & 8U) != 0 && front_end.gains_before_shading == before) {
                front_end.wb_gains = WbGains{1900, 1500};
                expected = reference::wb_gains(expected, width, height, pattern, 1900, 1500);
            }
        };
        if ((turn & 1U) != 0) {
            front_end.black_level = library_record(black);
            expected = reference::black_level(expected, width, height, pattern, black);
        }
        gains(true);
        if ((turn & 2U) != 0) {
            std::string progress;
            front_end.mesh = library_record(grids);
            expected = reference::mesh_shading(expected, width, height, pattern, grids, progress);
        }
        if ((turn & 4U) != 0) {
            front_end.radial = RadialTables{width / 2, 3, tables.data()};
            expected = reference::radial_block(
                reference::radial_registers(width, height, pattern, width / 2, 3, tables), expected);
        }
        gains(false);
        expect_stage(geometry, samples, front_end, expected);
    });
}

}  // namespace
}  // namespace cali::test
