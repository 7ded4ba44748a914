#include <limits>
#include <memory>

#include "support/export_calls.h"

namespace cali::test {
namespace {

constexpr int32_t kMax = std::numeric_limits<int32_t>::max();

uint32_t* null_frame = nullptr;

/// Makes one argument of a good call bad; `named` is what the warning then names.
template <typename Call>
struct Damage {
    const char* named;
    void (*apply)(Call&);
};

/// Every damage of `method` is rejected with one warning, and nothing is touched or printed.
template <typename Call, typename MakeCall>
void expect_rejections(int32_t (Call::*method)(), const char* caption, MakeCall&& make_call,
                       const std::vector<Damage<Call>>& damages) {
    for (std::size_t i = 0; i < damages.size(); ++i) {
        SCOPED_TRACE(::testing::Message() << "damage " << i << ": " << damages[i].named);
        auto call = make_call();
        const auto before = call->state();
        damages[i].apply(*call);
        CapturedOutput output;
        const CapturedWarnings warnings;
        EXPECT_EQ(((*call).*method)(), -1);
        EXPECT_TRUE(call->state() == before);
        EXPECT_EQ(output.take(), "");
        ASSERT_EQ(warnings.texts().size(), 1U);
        EXPECT_EQ(warnings.texts()[0].rfind(std::string(caption) + " Calib Warning: ", 0), 0U) << warnings.texts()[0];
        EXPECT_NE(warnings.texts()[0].find(damages[i].named), std::string::npos) << warnings.texts()[0];
    }
    auto sound = make_call();
    CapturedOutput output;
    const CapturedWarnings warnings;
    EXPECT_NE(((*sound).*method)(), -1) << "the undamaged call";
}

std::unique_ptr<AwbCall> make_awb_call() {
    Random random(40);
    auto grids = plausible_grids(random, 6, 5);
    return std::make_unique<AwbCall>(random_frame(random, 16, 12, 2), std::move(grids));
}

std::unique_ptr<BlcCall> make_blc_call() {
    Random random(41);
    return std::make_unique<BlcCall>(random_frame(random, 16, 12, 2), 4);
}

template <typename Call>
std::vector<Damage<Call>> operator+(std::vector<Damage<Call>> first, const std::vector<Damage<Call>>& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

const std::vector<Damage<AwbCall>> kAwbDamages = {
    {"frame", [](AwbCall& call) { call.frame = nullptr; }},
    {"frame", [](AwbCall& call) { call.frame = &null_frame; }},
    {"red_grid", [](AwbCall& call) { call.red = nullptr; }},
    {"green_grid", [](AwbCall& call) { call.green = nullptr; }},
    {"blue_grid", [](AwbCall& call) { call.blue = nullptr; }},
    {"-1 x 12", [](AwbCall& call) { call.width = -1; }},
    {"16 x 4294967295", [](AwbCall& call) { call.height = 0xFFFFFFFFU; }},
    {"65536 x 65536", [](AwbCall& call) { call.width = 65536, call.height = 65536; }},
    {"8193 x 12", [](AwbCall& call) { call.width = 8193; }},
    {"16 x 8193", [](AwbCall& call) { call.height = 8193; }},
    {"pattern", [](AwbCall& call) { call.pattern = 4; }},
    {"pattern", [](AwbCall& call) { call.pattern = -1; }},
    {"grid_cols", [](AwbCall& call) { call.cols = 2; }},
    {"grid_cols", [](AwbCall& call) { call.cols = 130; }},
    {"grid_rows", [](AwbCall& call) { call.rows = 2; }},
    {"grid_rows", [](AwbCall& call) { call.rows = 130; }},
    {"grid_", [](AwbCall& call) { call.cols = 69, call.rows = 70; }},
    {"grid_", [](AwbCall& call) { call.cols = kMax, call.rows = kMax; }},
};

const std::vector<Damage<BlcCall>> kBlcFrameDamages = {
    {"frame", [](BlcCall& call) { call.frame = nullptr; }},
    {"frame", [](BlcCall& call) { call.frame = &null_frame; }},
    {"pattern", [](BlcCall& call) { call.pattern = 4; }},
    {"pattern", [](BlcCall& call) { call.pattern = -1; }},
};

const std::vector<Damage<BlcCall>> kBlcSizeDamages = {
    {"65536 x 32768", [](BlcCall& call) { call.width = 65536, call.height = 32768; }},
    {"frame size", [](BlcCall& call) { call.width = 0xFFFFFFFFU; }},
    {"frame size", [](BlcCall& call) { call.width = 0, call.height = 0xFFFFFFFFU; }},
};

const std::vector<Damage<BlcCall>> kEstimateDamages = {
    {"offset_rr", [](BlcCall& call) { call.offset[0] = nullptr; }},
    {"offset_gr", [](BlcCall& call) { call.offset[1] = nullptr; }},
    {"offset_gb", [](BlcCall& call) { call.offset[2] = nullptr; }},
    {"offset_bb", [](BlcCall& call) { call.offset[3] = nullptr; }},
    {"gain_rr", [](BlcCall& call) { call.gain[0] = nullptr; }},
    {"gain_gr", [](BlcCall& call) { call.gain[1] = nullptr; }},
    {"gain_gb", [](BlcCall& call) { call.gain[2] = nullptr; }},
    {"gain_bb", [](BlcCall& call) { call.gain[3] = nullptr; }},
};

TEST(Rejection, WhiteBalance) {
    const SavedModuleState saved;
    cali_awb_setROI(0, 0, 8, 8);
    expect_rejections(&AwbCall::calc, "WB", make_awb_call,
                      kAwbDamages + std::vector<Damage<AwbCall>>{
                                        {"gain_r", [](AwbCall& call) { call.gain_r = nullptr; }},
                                        {"gain_g", [](AwbCall& call) { call.gain_g = nullptr; }},
                                        {"gain_b", [](AwbCall& call) { call.gain_b = nullptr; }},
                                    });
    expect_rejections(&AwbCall::verify, "WB", make_awb_call,
                      kAwbDamages + std::vector<Damage<AwbCall>>{
                                        {"output", [](AwbCall& call) { call.output = nullptr; }},
                                        {"output", [](AwbCall& call) { call.output = &null_frame; }},
                                    });
}

TEST(Rejection, BlackLevel) {
    const auto sized = kBlcFrameDamages + kBlcSizeDamages;
    expect_rejections(&BlcCall::median, "BLC", make_blc_call, sized + kEstimateDamages);
    // Counts in 16 bits, so that no size is too large for it.
    expect_rejections(&BlcCall::mean, "BLC", make_blc_call,
                      kBlcFrameDamages + kEstimateDamages +
                          std::vector<Damage<BlcCall>>{
                              {"65535 x 65535", [](BlcCall& call) { call.width = call.height = 0xFFFFFFFFU; }}});
    expect_rejections(&BlcCall::deviation, "BLC", make_blc_call, sized + kEstimateDamages);
    expect_rejections(&BlcCall::local, "BLC", make_blc_call,
                      sized + std::vector<Damage<BlcCall>>{
                                  {"offset_rr", [](BlcCall& call) { call.block_offset[0] = nullptr; }},
                                  {"offset_gr", [](BlcCall& call) { call.block_offset[1] = nullptr; }},
                                  {"offset_gb", [](BlcCall& call) { call.block_offset[2] = nullptr; }},
                                  {"offset_bb", [](BlcCall& call) { call.block_offset[3] = nullptr; }},
                                  {"blocks", [](BlcCall& call) { call.blocks = 0; }},
                                  {"blocks", [](BlcCall& call) { call.blocks = 13; }},
                                  {"blocks", [](BlcCall& call) { call.blocks = 0xFFFFFFFFU; }},
                                  {"blocks", [](BlcCall& call) { call.width = 65536, call.blocks = 1; }},  // 16 bits
                              });
    expect_rejections(&BlcCall::get_histogram, "BLC", make_blc_call,
                      sized + std::vector<Damage<BlcCall>>{
                                  {"hist_rr", [](BlcCall& call) { call.histogram[0] = nullptr; }},
                                  {"hist_gr", [](BlcCall& call) { call.histogram[1] = nullptr; }},
                                  {"hist_gb", [](BlcCall& call) { call.histogram[2] = nullptr; }},
                                  {"hist_bb", [](BlcCall& call) { call.histogram[3] = nullptr; }},
                              });
    expect_rejections(&BlcCall::verify, "BLC", make_blc_call,
                      sized + std::vector<Damage<BlcCall>>{
                                  {"output", [](BlcCall& call) { call.output = nullptr; }},
                                  {"output", [](BlcCall& call) { call.output = &null_frame; }},
                              });
}

std::unique_ptr<LscCall> make_lsc_call() {
    Random random(42);
    return std::make_unique<LscCall>(random_frame(random, 16, 12, 2), 6, 5);
}

const std::vector<Damage<LscCall>> kLscDamages = {
    {"raw", [](LscCall& call) { call.raw = nullptr; }},
    {"raw", [](LscCall& call) { call.raw = &null_frame; }},
    {"-1", [](LscCall& call) { call.width = -1; }},
    {"8193", [](LscCall& call) { call.width = 8193; }},
    {"8193", [](LscCall& call) { call.height = 8193; }},
    {"pattern", [](LscCall& call) { call.pattern = 4; }},
    {"grid_cols", [](LscCall& call) { call.cols = 2; }},
    {"grid_rows", [](LscCall& call) { call.rows = 130; }},
    {"grid_", [](LscCall& call) { call.cols = 69, call.rows = 70; }},
};

TEST(Rejection, LensShading) {
    expect_rejections(&LscCall::calc, "LSC", make_lsc_call,
                      kLscDamages + std::vector<Damage<LscCall>>{
                                        {"width is 0", [](LscCall& call) { call.width = 0; }},
                                        {"height is 0", [](LscCall& call) { call.height = 0; }},
                                        {"grid_cols", [](LscCall& call) { call.cols = 3; }},
                                        {"grid_rows", [](LscCall& call) { call.rows = 3; }},
                                        {"center_x", [](LscCall& call) { call.center_x_out = nullptr; }},
                                        {"center_y", [](LscCall& call) { call.center_y_out = nullptr; }},
                                        {"norm", [](LscCall& call) { call.norm_out = nullptr; }},
                                        {"rtbl", [](LscCall& call) { call.red = nullptr; }},
                                        {"gtbl", [](LscCall& call) { call.green = nullptr; }},
                                        {"btbl", [](LscCall& call) { call.blue = nullptr; }},
                                        {"radius_lut", [](LscCall& call) { call.radius_lut = nullptr; }},
                                    });
    expect_rejections(&LscCall::verify, "LSC", make_lsc_call,
                      kLscDamages + std::vector<Damage<LscCall>>{
                                        {"mesh_output", [](LscCall& call) { call.mesh_output = nullptr; }},
                                        {"mesh_output", [](LscCall& call) { call.mesh_output = &null_frame; }},
                                        {"radial_output", [](LscCall& call) { call.radial_output = nullptr; }},
                                        {"radial_output", [](LscCall& call) { call.radial_output = &null_frame; }},
                                    });
}

TEST(Rejection, EmptyFramesAreVerifiedUntouched) {
    for (const bool no_width : {true, false}) {
        auto awb = make_awb_call();
        auto blc = make_blc_call();
        auto lsc = make_lsc_call();
        const auto lsc_before = lsc->state();
        const auto awb_before = awb->state();
        const auto blc_before = blc->state();
        (no_width ? awb->width : reinterpret_cast<int32_t&>(awb->height)) = 0;
        (no_width ? blc->width : blc->height) = 0;
        (no_width ? lsc->width : lsc->height) = 0;
        CapturedOutput output;
        const CapturedWarnings warnings;
        EXPECT_EQ(awb->verify(), 0);
        EXPECT_EQ(blc->verify(), 0);
        EXPECT_EQ(lsc->verify(), 0);
        EXPECT_TRUE(lsc->state() == lsc_before);
        EXPECT_TRUE(awb->state() == awb_before);
        EXPECT_TRUE(blc->state() == blc_before);
        EXPECT_TRUE(warnings.texts().empty());
    }
}

TEST(Rejection, BuffersThatAreNotReachedMayBeNull) {
    const SavedModuleState saved;
    CapturedOutput output;
    const CapturedWarnings warnings;
    // One block per frame: no entries to write.
    auto blc = make_blc_call();
    blc->blocks = 1;
    blc->block_offset.fill(nullptr);
    EXPECT_EQ(blc->local(), 0);
    EXPECT_TRUE(warnings.texts().empty());
    // Without tables no stage runs.
    auto lsc = make_lsc_call();
    lsc->red = lsc->radius_lut = nullptr;
    lsc->mesh_output = lsc->radial_output = nullptr;
    lsc->cols = 0;
    EXPECT_EQ(lsc->verify(), 0);
    EXPECT_TRUE(warnings.texts().empty());
    // The window's fault comes before the results.
    cali_awb_setROI(0, 0, 16, 8);
    auto awb = make_awb_call();
    awb->gain_r = nullptr;
    EXPECT_EQ(awb->calc(), -1);
    EXPECT_EQ(warnings.texts(), std::vector<std::string>{"WB Calib Warning: ROI X,W is wrong"});
}

TEST(Rejection, EmptyFramesHaveDefinedEstimates) {
    BlcCall call(OwnedFrame{{}, 0, 0, 0});
    CapturedOutput output;
    EXPECT_EQ(call.median(), 1);
    EXPECT_EQ(call.offsets, (std::array<uint32_t, 4>{}));
    EXPECT_EQ(call.mean(), 0);
    EXPECT_EQ(call.offsets[0], 0x80000000U);
    EXPECT_EQ(call.deviation(), 0);
    EXPECT_EQ(call.offsets[0], 0x80000000U);
    EXPECT_EQ(call.get_histogram(), 0);
    EXPECT_EQ(call.histograms[0], std::vector<uint32_t>(4096, 0));
}

}  // namespace
}  // namespace cali::test
