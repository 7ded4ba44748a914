#include "stages/radial_shading.h"

#include <algorithm>
#include <limits>

#include "stages/expect_stage.h"

namespace cali::test {
namespace {

constexpr std::array<int32_t, 10> kExtremeGains = {0,
                                                   512,
                                                   -1,
                                                   -512,
                                                   4095,
                                                   524287,
                                                   -524288,
                                                   1 << 25,
                                                   std::numeric_limits<int32_t>::max(),
                                                   std::numeric_limits<int32_t>::min()};

/// Gains as calibrated, negative ones among them, ones past 16 bits, and limits.
std::vector<int32_t> tables_of_turn(Random& random, std::size_t turn) {
    std::vector<int32_t> tables(kRadialTableSize);
    for (int32_t& gain : tables) {
        switch (turn % 4) {
            case 0: gain = static_cast<int32_t>(random() % 4096); break;
            case 1: gain = static_cast<int32_t>(random() % 4096) - 100; break;
            case 2: gain = static_cast<int32_t>(random() % 131072); break;
            default: gain = pick(random, kExtremeGains);
        }
    }
    return tables;
}

/// Inside the frame, at its corners, and as far outside as to wrap in the register.
std::array<std::array<int32_t, 2>, 7> centres(const Geometry& geometry) {
    return {{{geometry.width / 2, geometry.height / 2},
             {0, 0},
             {geometry.width, geometry.height - 1},
             {-5, 3},
             {8191, 8192},
             {10000, -20000},
             {70, -1}}};
}

RadialRegisters registers_of(const std::vector<uint32_t>& words) {
    RadialRegisters registers;
    std::ranges::copy(words, registers.word.begin());
    return registers;
}

TEST(RadialShading, EqualsThePlainVersion) {
    Random random(5);
    const std::vector<Geometry> long_frames = {{8192, 2, 1}, {3, 8192, 2}, {701, 303, 3}};
    for_small_frames(
        random, long_frames, [&](const Geometry& geometry, const std::vector<uint32_t>& samples, std::size_t turn) {
            const auto [x, y] = centres(geometry)[turn % 7];
            const auto tables = tables_of_turn(random, turn / 7);
            const auto words =
                reference::radial_registers(geometry.width, geometry.height, geometry.pattern, x, y, tables);
            const RadialTables record{x, y, tables.data()};
            const auto packed = pack_radial_registers(geometry.width, geometry.height, geometry.pattern, record);
            ASSERT_TRUE(same_bits(words, std::vector<uint32_t>(packed.word.begin(), packed.word.end())));
            FrontEnd front_end;
            front_end.radial = record;
            expect_stage(geometry, samples, front_end, reference::radial_block(words, samples));
        });
}

TEST(RadialShading, TakesEverythingFromTheRegisters) {
    Random random(6);
    for (int turn = 0; turn < 200; ++turn) {
        const int width = 1 + static_cast<int>(random() % 70);
        auto words = reference::radial_registers(width, 20, turn % 4, 0, 0, tables_of_turn(random, 0));
        words[1] = random() % 2 == 0 ? static_cast<uint32_t>(random()) : static_cast<uint32_t>(random()) & 0x7E03FU;
        words[2] = static_cast<uint32_t>(random());  // any normaliser and strength
        const auto samples = samples_of_kind(random, SampleKind::sprinkled, static_cast<std::size_t>(width) * 20);
        const auto expected = reference::radial_block(words, samples);
        SCOPED_TRACE(::testing::Message() << "words " << words[1] << ", " << words[2]);
        on_every_isa([&] {
            const RadialShading stage(registers_of(words));
            std::vector<uint32_t> result = samples;
            for (uint32_t y = 0; y < 20; ++y) {
                uint32_t* const row = result.data() + y * static_cast<std::size_t>(width);
                stage.row(y, 0, row, row, static_cast<std::size_t>(width));
            }
            ASSERT_TRUE(same_bits(expected, result));
        });
    }
}

}  // namespace
}  // namespace cali::test
