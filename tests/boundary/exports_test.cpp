#include <cstdlib>
#include <fstream>

#include "boundary/every_export.h"
#include "math/colour_space.h"

namespace cali::test {
namespace {

TEST(Exports, JointCalibrationWarnsOfExposure) {
    for (const auto& [exposure, text] :
         {std::pair{1000.0, "WB Calib Warning: Too Dark"}, {3000.0, ""}, {12000.0, "WB Calib Warning: Too Bright"}}) {
        Random random(90);
        ChartCall call(chart_frame(random, {48, 40, 3}, exposure));
        CapturedOutput output;
        const CapturedWarnings warnings;
        EXPECT_EQ(call.joint(), 0);
        EXPECT_EQ(warnings.texts(), *text == '\0' ? std::vector<std::string>{} : std::vector<std::string>{text});
    }
}

TEST(Exports, ColourTableRemovesFilesOfSkippedPhases) {
    const TemporaryDirectory directory;
    for (const char* name : {"clut_phase_4.txt", "clut_phase_5.txt"}) {
        std::ofstream(name) << "old";
    }
    const EnvironmentVariable dump("CLUT_EXPORT_TABLE", "1");
    const EnvironmentVariable bypass("CLUT_BYPASS_POSTPROCESS", "1");
    World world;
    CapturedOutput output;
    EXPECT_EQ(cali_clut_calc_rgb(world.from.data(), world.to.data(), 2, &world.clut, world.whole.data()), 0);
    EXPECT_NE(read_file("clut_phase_3.txt"), "");
    EXPECT_FALSE(std::filesystem::exists("clut_phase_4.txt") || std::filesystem::exists("clut_phase_5.txt"));
}

TEST(Exports, FilesThatCannotBeWrittenChangeNoResult) {
    const SavedModuleState saved;
    const TemporaryDirectory directory;
    const EnvironmentVariable dump("CLUT_EXPORT_TABLE", "1");
    cali_awb_setROI(16, 30, 8, 8);  // a grey
    module_state().debug = {true, true, true, true};
    const auto state_after_all = [] {
        World world;
        CapturedOutput output;
        world.for_every_export([](const char* /*family*/, const auto& export_call, const auto&... /*damages*/) {
            EXPECT_GE(export_call.run(), 0);
        });
        return world.state();
    };
    const auto state = state_after_all();
    std::vector<std::filesystem::path> names;
    for (const auto& entry : std::filesystem::directory_iterator(".")) {
        names.push_back(entry.path());
    }
    EXPECT_GT(names.size(), 30U);
    for (const std::filesystem::path& name : names) {
        std::filesystem::remove(name);
        std::filesystem::create_directory(name);
    }
    EXPECT_TRUE(state_after_all() == state);
}

TEST(Exports, NegativeNoiseIsNone) {
    const std::array<float, 4> slopes{}, intercepts{0, 0, 0, -100};
    int32_t slope = 7, level = 7;
    EXPECT_EQ(cali_isp_ynr_np_fix_calc(slopes.data(), intercepts.data(), 64, "U4.8", "U8.0", &slope, &level), 0);
    EXPECT_TRUE(slope == 0 && level == 0);
}

TEST(Exports, TransferCurveTurnsAtItsThreshold) {
    EXPECT_EQ(srgb_decode(0.04045), static_cast<float>(std::pow((0.04045 + 0.055) / 1.055, 2.4)));
    EXPECT_EQ(srgb_decode(0.0404), 0.0404F / 12.92F);
}

}  // namespace
}  // namespace cali::test
