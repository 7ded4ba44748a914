#include "stages/mesh_shading.h"

#include <algorithm>

#include "support/support.h"

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

/// Both ways of the stage against the plain version, with the printed progress.
void compare(const Geometry& geometry, const std::vector<uint32_t>& samples, const reference::Grids& grids) {
    SCOPED_TRACE(::testing::Message() << geometry << ", grid " << grids.cols << " x " << grids.rows);
    std::string progress;
    const auto expected =
        reference::mesh_shading(samples, geometry.width, geometry.height, geometry.pattern, grids, progress);
    on_every_isa([&] {
        OwnedFrame frame{samples, geometry.width, geometry.height, geometry.pattern};
        std::vector<uint32_t> apart(geometry.size());
        CapturedOutput output;
        apply_lens_shading(frame.view(), library_record(grids), apart.data());
        ASSERT_TRUE(same_bits(expected, apart));
        ASSERT_TRUE(same_bits(samples, frame.samples));
        apply_lens_shading(frame.view(), library_record(grids), frame.samples.data());
        ASSERT_TRUE(same_bits(expected, frame.samples));
        ASSERT_EQ(output.take(), progress + progress);
    });
}

TEST(MeshShading, EqualsThePlainVersion) {
    Random random(3);
    std::size_t turn = 0;
    for (const Geometry& geometry : small_geometries()) {
        for (const SampleKind kind : kSampleKinds) {
            const auto samples = samples_of_kind(random, kind, geometry.size());
            ASSERT_NO_FATAL_FAILURE(compare(geometry, samples, grids_of_turn(random, turn++)));
        }
    }
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

TEST(MeshShading, UnityCostsFullScaleOneCode) {
    for (const auto& [cols, rows] : kNodeCounts) {
        SCOPED_TRACE(::testing::Message() << cols << " x " << rows);
        const reference::Grids grids = make_grids(cols, rows, [] { return 512U; });
        on_every_isa([&] {
            OwnedFrame frame{std::vector<uint32_t>(70 * 50, 1000), 70, 50, 1};
            std::fill_n(frame.samples.begin() + 70, 70, 4095);
            CapturedOutput output;
            apply_lens_shading(frame.view(), library_record(grids), frame.samples.data());
            for (std::size_t i = 0; i < frame.samples.size(); ++i) {
                ASSERT_EQ(frame.samples[i], i / 70 == 1 ? 4094U : 1000U) << i;
            }
        });
    }
}

TEST(MeshShading, GivesTheWorkedValues) {
    // One photosite between the first two nodes, filter phase 63: taps 11, 709, 2723, 650.
    reference::Grids grids{
        3, 3, reference::Samples(9, 1024), {100, 500, 900, 100, 500, 900, 100, 500, 900}, reference::Samples(9, 0)};
    struct Case {
        int32_t pattern;
        uint32_t result;
    };
    for (const Case& worked : {Case{1, 963}, Case{3, 1924}, Case{0, 0}}) {
        on_every_isa([&] {
            OwnedFrame frame{{1000}, 1, 1, worked.pattern};
            CapturedOutput output;
            apply_lens_shading(frame.view(), library_record(grids), frame.samples.data());
            EXPECT_EQ(frame.samples[0], worked.result) << worked.pattern;
        });
    }
}

TEST(MeshShading, PrintsProgressByRow) {
    OwnedFrame frame{std::vector<uint32_t>(6, 1), 2, 3, 0};
    const reference::Grids grids = make_grids(3, 3, [] { return 512U; });
    CapturedOutput output;
    apply_lens_shading(frame.view(), library_record(grids), frame.samples.data());
    EXPECT_EQ(output.take(), "LSC... 33%\rLSC... 66%\rLSC...100%\r\n");
}

}  // namespace
}  // namespace cali::test
