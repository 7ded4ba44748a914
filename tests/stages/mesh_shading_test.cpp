#include "stages/mesh_shading.h"

#include <algorithm>

#include "stages/expect_stage.h"

namespace cali::test {
namespace {

constexpr std::array<uint32_t, 12> kExtremeNodes = {32767, 32768,  0,      1,           512,         4095,
                                                    16384, 524287, 524288, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU};

/// Node counts by turns: the ends of the block's fields and of its grid memory, and everyday ones.
constexpr std::array<std::array<int, 2>, 10> kNodeCounts = {
    {{3, 3}, {4, 3}, {3, 4}, {129, 3}, {3, 129}, {129, 36}, {36, 129}, {69, 69}, {17, 13}, {37, 37}}};

reference::Grids grids_of_turn(Random& random, std::size_t turn) {
    const auto [cols, rows] = kNodeCounts[turn % kNodeCounts.size()];
    switch (turn / kNodeCounts.size() % 5) {
        case 0: return plausible_grids(random, cols, rows);
        case 1: return make_grids(cols, rows, [&] { return pick(random, kExtremeNodes); });
        case 2: {  // up to the ends of 16 bits
            reference::Grids grids = make_grids(cols, rows, [&] { return static_cast<uint32_t>(random()) % 513; });
            for (uint32_t& node : grids.green) {
                node = 16000 + static_cast<uint32_t>(random()) % 16768;
            }
            return grids;
        }
        case 3: {  // one gain out of range among plausible ones
            reference::Grids grids = plausible_grids(random, cols, rows);
            grids.green[random() % grids.green.size()] = pick(random, kExtremeNodes);
            return grids;
        }
        default: return make_grids(cols, rows, [&] { return 500000 + static_cast<uint32_t>(random()) % 50000; });
    }
}

void compare(const Geometry& geometry, const std::vector<uint32_t>& samples, const reference::Grids& grids) {
    SCOPED_TRACE(::testing::Message() << "grid " << grids.cols << " x " << grids.rows);
    std::string progress;
    FrontEnd front_end;
    front_end.mesh = library_record(grids);
    expect_stage(geometry, samples, front_end,
                 reference::mesh_shading(samples, geometry.width, geometry.height, geometry.pattern, grids, progress));
}

TEST(MeshShading, EqualsThePlainVersion) {
    Random random(3);
    for_small_frames(random, {}, [&](const Geometry& geometry, const std::vector<uint32_t>& samples, std::size_t turn) {
        compare(geometry, samples, grids_of_turn(random, turn));
    });
}

TEST(MeshShading, EqualsThePlainVersionOnLongFrames) {
    // Long sides with few nodes reach one node past the grid's end.
    const std::array<Geometry, 5> geometries = {{{300, 8, 0}, {7, 700, 1}, {2049, 5, 2}, {8192, 2, 3}, {2, 8192, 0}}};
    Random random(4);
    for (const Geometry& geometry : geometries) {
        const auto samples = samples_of_kind(random, SampleKind::codes, geometry.size());
        for (std::size_t turn = 0; turn < 3 * kNodeCounts.size(); ++turn) {
            ASSERT_NO_FATAL_FAILURE(compare(geometry, samples, grids_of_turn(random, turn)));
        }
    }
}

}  // namespace
}  // namespace cali::test
