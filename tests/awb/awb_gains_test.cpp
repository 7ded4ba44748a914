#include "awb/awb_gains.h"

#include "support/export_calls.h"

namespace cali::test {
namespace {

/// Frames of one code per colour, both greens alike or not, through unity stages.
TEST(WhiteBalanceGains, BringRedAndBlueToGreen) {
    struct Case {
        std::array<uint32_t, 4> cell;  // RGGB
        std::array<uint16_t, 3> gains;
        std::string warning;
    };
    const std::vector<Case> cases = {
        {{500, 1000, 1000, 800}, {2048, 1024, 1280}, ""},
        {{0, 2000, 2000, 125}, {0, 1024, 16383}, ""},
        // 2048 and 2327 (full strength costs one code above 2048) average 2187.5, 68.359375 times 32: 70000 - 65536.
        {{32, 2048, 2328, 2187}, {4464, 1024, 1025}, ""},
        // Around the brightness limits; a green mean of exactly 2866.5 is within.
        {{614, 614, 614, 614}, {1024, 1024, 1024}, "Too Dark"},
        {{615, 614, 615, 615}, {1023, 1024, 1023}, ""},
        {{2867, 2867, 2868, 2867}, {1024, 1024, 1024}, ""},
        {{2868, 2868, 2868, 2868}, {1024, 1024, 1024}, "Too Bright"},
    };
    const SavedModuleState saved;
    cali_awb_setROI(0, 0, 8, 8);
    for (const auto& [cell, gains, warning] : cases) {
        std::vector<uint32_t> samples;
        for (std::size_t i = 0; i < 100; ++i) {
            samples.push_back(cell[i / 10 % 2 * 2 + i % 2]);
        }
        AwbCall call({samples, 10, 10, 3}, make_grids(3, 3, [] { return 512U; }));
        call.black = {{0, 0, 0, 0}, {1, 1, 1, 1}};
        CapturedOutput output;
        const CapturedWarnings warnings;
        EXPECT_EQ(call.calc(), 0);
        EXPECT_EQ(call.gains, gains);
        ASSERT_EQ(warnings.texts().size(), warning.empty() ? 0U : 1U);
        EXPECT_TRUE(warning.empty() || warnings.texts()[0] == "WB Calib Warning: " + warning);
    }
}

}  // namespace
}  // namespace cali::test
