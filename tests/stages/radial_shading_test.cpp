#include "stages/radial_shading.h"

#include <algorithm>
#include <limits>

#include "support/support.h"

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
    std::vector<Geometry> geometries = small_geometries();
    geometries.insert(geometries.end(), {{8192, 2, 1}, {3, 8192, 2}, {701, 303, 3}});
    Random random(5);
    std::size_t turn = 0;
    for (const Geometry& geometry : geometries) {
        const auto samples = samples_of_kind(random, pick(random, kSampleKinds), geometry.size());
        for (const auto& [x, y] : centres(geometry)) {
            SCOPED_TRACE(::testing::Message() << geometry << ", centre " << x << ", " << y);
            const auto tables = tables_of_turn(random, turn++);
            const auto words =
                reference::radial_registers(geometry.width, geometry.height, geometry.pattern, x, y, tables);
            const RadialTables record{x, y, tables.data()};
            const auto packed = pack_radial_registers(geometry.width, geometry.height, geometry.pattern, record);
            ASSERT_TRUE(same_bits(words, std::vector<uint32_t>(packed.word.begin(), packed.word.end())));

            const auto expected = reference::radial_block(words, samples);
            on_every_isa([&] {
                OwnedFrame frame{samples, geometry.width, geometry.height, geometry.pattern};
                std::vector<uint32_t> apart(geometry.size());
                apply_radial_shading(frame.view(), record, apart.data());
                ASSERT_TRUE(same_bits(expected, apart));
                ASSERT_TRUE(same_bits(samples, frame.samples));
                apply_radial_shading(frame.view(), record, frame.samples.data());
                ASSERT_TRUE(same_bits(expected, frame.samples));
            });
            if (HasFailure()) {
                return;
            }
        }
    }
}

TEST(RadialShading, TakesEverythingFromTheRegisters) {
    Random random(6);
    for (int turn = 0; turn < 200; ++turn) {
        const int width = 1 + static_cast<int>(random() % 70);
        const int height = 1 + static_cast<int>(random() % 20);
        auto words = reference::radial_registers(width, height, turn % 4, 0, 0, tables_of_turn(random, 0));
        words[1] = random() % 2 == 0 ? static_cast<uint32_t>(random()) : static_cast<uint32_t>(random()) & 0x7E03FU;
        words[2] = static_cast<uint32_t>(random());  // any normaliser and strength
        const Geometry geometry{width, height, turn % 4};
        const auto samples = samples_of_kind(random, SampleKind::sprinkled, geometry.size());
        const auto expected = reference::radial_block(words, samples);
        SCOPED_TRACE(::testing::Message() << geometry << ", words " << words[1] << ", " << words[2]);
        on_every_isa([&] {
            std::vector<uint32_t> result(geometry.size());
            run_radial_block(registers_of(words), samples.data(), result.data());
            ASSERT_TRUE(same_bits(expected, result));
        });
    }
}

TEST(RadialShading, PacksTheWorkedRegisters) {
    const std::vector<int32_t> tables(kRadialTableSize, 512);
    // The farthest corner is sqrt(20) away: 31 / sqrt(20) * 2048 = 14196.3.
    const RadialRegisters registers = pack_radial_registers(8, 4, 3, {4, 2, tables.data()});
    EXPECT_EQ(registers.word[0], 1U + (3U << 1) + (7U << 3) + (3U << 16));
    EXPECT_EQ(registers.word[1], 4U + (2U << 13));
    EXPECT_EQ(registers.word[2], 14196U + (4095U << 15));
}

TEST(RadialShading, GivesTheWorkedValues) {
    // Red: doubled at the centre, halved at the rim. Green: unity. Blue: 1024 throughout.
    std::vector<int32_t> tables(kRadialTableSize, 512);
    tables[0] = 1024;
    std::fill_n(tables.begin() + 1, 31, 256);
    std::fill_n(tables.begin() + 64, 32, 1024);
    on_every_isa([&] {
        OwnedFrame frame{std::vector<uint32_t>(32 * 32, 4095), 32, 32, 3};
        frame.samples[0] = 1000;
        frame.samples[30 * 32 + 30] = 1000;
        apply_radial_shading(frame.view(), {0, 0, tables.data()}, frame.samples.data());
        EXPECT_EQ(frame.samples[0], 2000U);
        EXPECT_EQ(frame.samples[30 * 32 + 30], 500U);
        EXPECT_EQ(frame.samples[1], 4095U);
        EXPECT_EQ(frame.samples[33], 4095U);
    });
}

}  // namespace
}  // namespace cali::test
