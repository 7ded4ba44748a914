#include "calibrations/black_level.h"

#include <cmath>

#include "captures/read_capture.h"
#include "support/program.h"

namespace cali::test {
namespace {

host::Capture even_frame(uint32_t code) { return {"even", {32, 32, 3, 12, {}}, host::Samples(32 * 32, code)}; }

TEST(BlackLevel, SeveralFramesAndBlocks) {
    const host::LibraryOutput output;
    host::Capture first = even_frame(60);
    host::Capture second = even_frame(71);
    second.samples[33] = 75;  // blue, in the first block
    const host::BlackLevelResults results = combine({measure_dark_frame(first, Histogram(first.view()), 0, output),
                                                     measure_dark_frame(second, Histogram(second.view()), 4, output)},
                                                    host::BlackLevelMethod::median);
    EXPECT_EQ(results.values.offset, (host::Channels<uint32_t>{66, 66, 66, 66}));  // 65.5, rounded
    EXPECT_EQ(results.values.gain[host::kBB], 4096.0F / 4030.0F);
    EXPECT_TRUE(results.frames[0].blocks.empty());
    ASSERT_EQ(results.frames[1].blocks.size(), 4U);
    EXPECT_EQ(results.frames[1].blocks[3], (host::Channels<uint32_t>{71, 71, 71, 71}));
    EXPECT_TRUE(results.frames[1].median_in_bounds);
    host::Capture lit = even_frame(800);
    EXPECT_FALSE(measure_dark_frame(lit, Histogram(lit.view()), 0, output).median_in_bounds);
}

TEST(RealCaptures, DarkFrame) {
    const auto folder = real_captures();
    if (!folder) {
        GTEST_SKIP() << "CALI_TEST_DATA does not name the folder of real captures";
    }
    host::Capture dark =
        host::read_capture(*folder / "dark_1920x1080_12bits_BGGR.raw", {1920, 1080, 0, 12, "the test"});
    const host::DarkFrameLevels found = measure_dark_frame(dark, Histogram(dark.view()), 0, {});
    for (std::size_t position = 0; position < 4; ++position) {
        const std::size_t channel = host::kBB - position;
        SCOPED_TRACE(host::kChannelKeys[channel]);
        double sum = 0;
        double squares = 0;
        for (std::size_t y = position / 2; y < 1080; y += 2) {
            for (std::size_t x = position % 2; x < 1920; x += 2) {
                const double sample = dark.samples[y * 1920 + x];
                sum += sample;
                squares += sample * sample;
            }
        }
        constexpr double kCount = 1920.0 * 1080 / 4;
        const double mean = sum / kCount;
        const double deviation = std::sqrt(squares / kCount - mean * mean);
        EXPECT_LE(std::abs(found.by_method[0].offset[channel] - mean), 1.1);
        EXPECT_EQ(found.by_method[1].offset[channel], std::floor(mean + 0.5));
        EXPECT_EQ(found.by_method[2].offset[channel], std::floor(mean + 0.1 * deviation + 0.5));
    }
}

}  // namespace
}  // namespace cali::test
