#include <algorithm>

#include "support/chart_support.h"

namespace cali::test {
namespace {

struct Damage {
    const char* named;
    void (*apply)(ChartCall&);
};

void expect_rejections(int32_t (ChartCall::*method)(), const std::vector<Damage>& damages) {
    for (const Damage& damage : damages) {
        SCOPED_TRACE(damage.named);
        ChartCall call(small_chart());
        const auto before = call.state();
        damage.apply(call);
        CapturedOutput output;
        const CapturedWarnings warnings;
        EXPECT_EQ((call.*method)(), -1);
        ASSERT_EQ(warnings.texts().size(), 1U);
        EXPECT_EQ(warnings.texts()[0].rfind("CCM Calib Warning: ", 0), 0U);
        EXPECT_NE(warnings.texts()[0].find(damage.named), std::string::npos) << warnings.texts()[0];
        EXPECT_TRUE(call.state() == before);
    }
    ChartCall sound(small_chart());
    CapturedOutput output;
    EXPECT_EQ((sound.*method)(), 0);
}

TEST(ChartRejection, NamesWhatIsWrong) {
    const std::vector<Damage> shared = {
        {"frame size", [](ChartCall& call) { call.width = -1; }},
        {"8193", [](ChartCall& call) { call.height = 8193; }},
        {"pattern", [](ChartCall& call) { call.pattern = 4; }},
        {"chart window 24 is 4 x 4 at (45, 0)",
         [](ChartCall& call) {
             call.windows[23] = {45, 0, 4, 4};
         }},
        {"chart window 3 is 1 x 4",
         [](ChartCall& call) {
             call.windows[2] = {0, 0, 1, 4};
         }},
        {"chart window 1 is 2147483647 x 2",
         [](ChartCall& call) {
             call.windows[0] = {2, 0, 2147483647, 2};
         }},
        {"ccm", [](ChartCall& call) { call.ccm_out = nullptr; }},
        {"ccm_q10", [](ChartCall& call) { call.q10_out = nullptr; }},
        {"weights", [](ChartCall& call) { call.weights = nullptr; }},
    };
    auto optimised = shared;
    optimised.insert(optimised.end(),
                     {{"frame", [](ChartCall& call) { call.frame = nullptr; }},
                      {"preprocess", [](ChartCall& call) { call.preprocess = nullptr; }},
                      {"lens_shading", [](ChartCall& call) { call.lens_shading = nullptr; }},
                      {"lens_shading.mode", [](ChartCall& call) { call.shading[0].mode = 4; }},
                      {"lens_shading.grid_rows", [](ChartCall& call) { call.shading[0].grid_rows = 38; }},
                      {"lens_shading.grid_cols", [](ChartCall& call) { call.shading[0].grid_cols = 3; }},
                      {"wb_gain_r", [](ChartCall& call) { call.gain_r = 65536; }},
                      {"wb_gain_b", [](ChartCall& call) { call.gain_b = -1; }},
                      {"tone_curves.first", [](ChartCall& call) { call.curves.first = nullptr; }},
                      {"tone_curves.second", [](ChartCall& call) { call.curves.second_count = 0; }},
                      {"start of the fit", [](ChartCall& call) { std::fill_n(call.black.offset, 4, 4095); }}});
    expect_rejections(&ChartCall::optimised, optimised);
    auto joint = shared;
    joint.insert(joint.end(), {{"frame", [](ChartCall& call) { call.frame_pointer = nullptr; }},
                               {"grid_rows", [](ChartCall& call) { call.shading[0].grid_rows = 2; }},
                               {"gain_r", [](ChartCall& call) { call.gain_out = nullptr; }}});
    expect_rejections(&ChartCall::joint, joint);
}

}  // namespace
}  // namespace cali::test
