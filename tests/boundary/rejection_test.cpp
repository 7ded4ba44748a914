#include <functional>
#include <limits>

#include "boundary/calls.h"

namespace cali::test {
namespace {

constexpr int32_t kMax = std::numeric_limits<int32_t>::max();

/// Makes one argument of a sound call bad; `named` is what the warning then names.
template <typename Call>
struct Damage {
    const char* named;
    std::function<void(Call&)> apply;
    bool late = false;  ///< found when the progress was printed already
};

/// Null, unless a value is given.
template <typename Call, typename T, typename Value = T>
Damage<Call> bad(const char* named, T Call::*member, Value value = {}) {
    return {named, [=](Call& call) { call.*member = static_cast<T>(value); }};
}

template <typename Call, typename T, std::size_t size>
Damage<Call> bad_element(const char* named, std::array<T, size> Call::*member, std::size_t i, T value = {}) {
    return {named, [=](Call& call) { (call.*member)[i] = value; }};
}

template <typename Call>
std::vector<Damage<Call>> operator+(std::vector<Damage<Call>> first, const std::vector<Damage<Call>>& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

template <typename Call, typename... More>
std::vector<Damage<Call>> list(Damage<Call> first, More... more) {
    return {first, more...};
}

template <typename Call>
Damage<Call> when(const char* named, void (*apply)(Call&)) {
    return {named, apply};
}

/// Every damage is rejected with one warning, nothing is touched or printed, a list is released once; undamaged, the
/// call goes through.
template <typename Call>
void expect_rejections(int32_t (Call::*method)(), const char* family, const std::vector<Damage<Call>>& shared,
                       const std::vector<Damage<Call>>& more = {}) {
    const auto damages = shared + more;
    for (std::size_t i = 0; i <= damages.size(); ++i) {
        SCOPED_TRACE(::testing::Message() << family << ", damage " << i);
        const auto call = make<Call>();
        const auto before = call->state();
        CapturedOutput output;
        const CapturedWarnings warnings;
        if (i == damages.size()) {
            EXPECT_NE(((*call).*method)(), -1) << "undamaged";
            return;
        }
        damages[i].apply(*call);
        EXPECT_EQ(((*call).*method)(), -1) << damages[i].named;
        EXPECT_TRUE(call->state() == before);
        EXPECT_TRUE(output.take().empty() || damages[i].late);
        ASSERT_EQ(warnings.texts().size(), 1U) << damages[i].named;
        const std::string& text = warnings.texts()[0];
        EXPECT_EQ(text.rfind(std::string(family) + " Calib Warning: ", 0), 0U) << text;
        EXPECT_NE(text.find(damages[i].named), std::string::npos) << text << "\nexpected " << damages[i].named;
        if constexpr (std::is_same_v<Call, NoiseCall>) {
            const bool by_value = method == &NoiseCall::deviation_of_levels || method == &NoiseCall::variance_of_levels;
            EXPECT_EQ(call->releases, by_value ? 1 : 0);
        }
    }
}

TEST(Rejection, WhiteBalance) {
    const SavedModuleState saved;
    cali_awb_setROI(0, 0, 8, 8);
    using C = AwbCall;
    const auto shared = list(
        bad("frame", &C::frame), bad("frame", &C::input_pointer), bad("red_grid", &C::red),
        bad("green_grid", &C::green), bad("blue_grid", &C::blue), bad("-1 x 12", &C::width, -1),
        bad("16 x 4294967295", &C::height, 0xFFFFFFFFU), bad("8193 x 12", &C::width, 8193),
        bad("16 x 8193", &C::height, 8193), bad("pattern", &C::pattern, 4), bad("pattern", &C::pattern, -1),
        bad("grid_cols", &C::cols, 2), bad("grid_cols", &C::cols, 130), bad("grid_rows", &C::rows, 2),
        bad("grid_rows", &C::rows, kMax), when<C>("grid_cols * grid_rows", [](C& c) { c.cols = 69, c.rows = 70; }));
    expect_rejections(&C::calc, "WB", shared,
                      list(bad("gain_r", &C::gain_r), bad("gain_g", &C::gain_g), bad("gain_b", &C::gain_b)));
    expect_rejections(&C::verify, "WB", shared, list(bad("output", &C::output), bad("output", &C::output_pointer)));

    expect_rejections(
        &CurveCall::build, "WB",
        list(bad("Amount is Over", &CurveCall::count, 8), bad("ratio_a", &CurveCall::ratio_a),
             bad("ratio_b", &CurveCall::ratio_b), bad("temp_k", &CurveCall::temp_k), bad("weight", &CurveCall::weight),
             bad("record", &CurveCall::record), bad_element("TempK is 0", &CurveCall::kelvins, 2),
             when<CurveCall>("Total Weight", [](CurveCall& c) { c.weights.fill(171); })));
    expect_rejections(
        &CurveCall::sample, "WB",
        list(bad("table", &CurveCall::table), bad("ref_a", &CurveCall::ref), bad("ref_b", &CurveCall::ref_b)));
}

TEST(Rejection, BlackLevel) {
    using C = BlcCall;
    const auto in_16_bits = list(bad("frame", &C::frame), bad("frame", &C::input_pointer),
                                 bad("pattern", &C::pattern, 4), bad("pattern", &C::pattern, -1));
    const auto sized = in_16_bits + list(when<C>("65536 x 32768", [](C& c) { c.width = 65536, c.height = 32768; }));
    std::vector<Damage<C>> results, blocks, histograms;
    for (std::size_t i = 0; i < 4; ++i) {
        constexpr std::array kNames = {"_rr is", "_gr is", "_gb is", "_bb is"};
        results = results + list(bad_element(kNames[i], &C::offset, i), bad_element(kNames[i], &C::gain, i));
        blocks = blocks + list(bad_element(kNames[i], &C::block_offset, i));
        histograms = histograms + list(bad_element(kNames[i], &C::histogram, i));
    }
    expect_rejections(&C::median, "BLC", sized, results);
    expect_rejections(&C::deviation, "BLC", sized, results);
    expect_rejections(&C::mean, "BLC", in_16_bits,
                      results + list(when<C>("65535 x 65535", [](C& c) { c.width = c.height = ~0U; })));
    expect_rejections(&C::local, "BLC", sized,
                      blocks + list(bad("blocks", &C::blocks, 0), bad("blocks", &C::blocks, 13),
                                    bad("blocks", &C::blocks, ~0U), when<C>("blocks", [](C& c) {
                                        c.width = 65536, c.blocks = 1;  // a block's size has 16 bits
                                    })));
    expect_rejections(&C::get_histogram, "BLC", sized, histograms);
    expect_rejections(&C::verify, "BLC", sized, list(bad("output", &C::output), bad("output", &C::output_pointer)));
}

TEST(Rejection, LensShading) {
    using C = LscCall;
    const auto shared =
        list(bad("raw", &C::raw), bad("raw", &C::input_pointer), bad("-1", &C::width, -1), bad("8193", &C::width, 8193),
             bad("8193", &C::height, 8193), bad("pattern", &C::pattern, 4), bad("grid_cols", &C::cols, 2),
             bad("grid_rows", &C::rows, 130));
    expect_rejections(
        &C::calc, "LSC", shared,
        list(bad("width is 0", &C::width, 0), bad("height is 0", &C::height, 0), bad("grid_cols", &C::cols, 3),
             bad("grid_rows", &C::rows, 3), bad("center_x", &C::center_x_out), bad("rtbl", &C::red),
             bad("center_y", &C::center_y_out), bad("norm", &C::norm_out), bad("gtbl", &C::green),
             bad("btbl", &C::blue), bad("radius_lut", &C::radius_lut)));
    expect_rejections(&C::verify, "LSC", shared,
                      list(bad("mesh_output", &C::mesh_output), bad("mesh_output", &C::mesh_output_pointer),
                           bad("radial_output", &C::radial_output), bad("radial_output", &C::radial_output_pointer)));
}

TEST(Rejection, Chart) {
    using C = ChartCall;
    const auto shared =
        list(bad("frame size", &C::width, -1), bad("8193", &C::height, 8193), bad("pattern", &C::pattern, 4),
             bad("ccm", &C::ccm_out), bad("ccm_q10", &C::q10_out), bad("weights", &C::weights),
             when<C>("window 24 is 4 x 4 at (45, 0)",
                     [](C& c) {
                         c.windows[23] = RoiRect{45, 0, 4, 4};
                     }),
             when<C>("window 3 is 1 x 4", [](C& c) { c.windows[2].w = 1, c.windows[2].h = 4; }),
             when<C>("window 1 is 2147483647", [](C& c) { c.windows[0].w = kMax; }));
    expect_rejections(
        &C::optimised, "CCM", shared,
        list(bad("frame", &C::frame), bad("preprocess", &C::preprocess), bad("lens_shading", &C::lens_shading),
             bad("wb_gain_r", &C::gain_r, 65536), bad("wb_gain_b", &C::gain_b, -1),
             when<C>("lens_shading.mode", [](C& c) { c.shading[0].mode = 4; }),
             when<C>("lens_shading.grid_rows", [](C& c) { c.shading[0].grid_rows = 38; }),
             when<C>("lens_shading.grid_cols", [](C& c) { c.shading[0].grid_cols = 3; }),
             when<C>("curves.first is a null", [](C& c) { c.curves.first = nullptr; }),
             when<C>("curves.second is 0", [](C& c) { c.curves.second_count = 0; }),
             when<C>("curves.first[15] is 4096, expected 0 to 4095", [](C& c) { c.curve[15] = 4096; }),
             Damage<C>{"start of the fit", [](C& c) { std::fill_n(c.black.offset, 4, 4095); }, true}));
    expect_rejections(&C::joint, "CCM", shared,
                      list(bad("frame", &C::frame_pointer), bad("gain_r", &C::gain_out),
                           when<C>("grid_rows", [](C& c) { c.shading[0].grid_rows = 2; })));
}

TEST(Rejection, PatchesWithoutAWarning) {
    const std::vector<void (*)(MatrixCall&)> damages = {
        [](MatrixCall& c) { c.patches_in = nullptr; }, [](MatrixCall& c) { c.patches[23] = nullptr; },
        [](MatrixCall& c) { c.patch_count = 0; },      [](MatrixCall& c) { c.patch_count = 25; },
        [](MatrixCall& c) { c.channels = 4; },         [](MatrixCall& c) { c.patch_w = 0x80000000U; },
        [](MatrixCall& c) { c.weights = nullptr; },    [](MatrixCall& c) { c.ccm_out = nullptr; },
        [](MatrixCall& c) { c.q10_out = nullptr; },    [](MatrixCall&) {}};
    for (std::size_t i = 0; i < damages.size(); ++i) {
        MatrixCall call;
        const auto before = call.state();
        damages[i](call);
        const CapturedWarnings warnings;
        EXPECT_EQ(call.of_patches(), i + 1 < damages.size() ? -1 : 0) << i;
        EXPECT_EQ(call.state() == before, i + 1 < damages.size()) << i;
        EXPECT_TRUE(warnings.texts().empty());
    }
}

TEST(Rejection, Regions) {
    using C = RegionCall;
    expect_rejections(
        &C::measure, "ROI",
        list(bad("width", &C::width, -1), bad("means", &C::measured), bad("rois", &C::rois), bad("image", &C::image)));
    expect_rejections(
        &C::adjust, "ROI",
        list(bad("measured", &C::measured), bad("reference", &C::reference), bad("adjusted", &C::adjusted)));
    expect_rejections(
        &C::interpolate, "ROI",
        list(bad("settings", &C::settings), bad("out_count", &C::out_count), bad("measured", &C::measured),
             bad("reference", &C::reference), bad("count + max_add", &C::count, 0xFFFFFFF8U),
             when<C>("step is 0", [](C& c) { c.how.step = 0; })));
}

TEST(Rejection, Noise) {
    using C = NoiseCall;
    const auto series =
        list(bad("frame size", &C::width, 0x80000000U), bad("hold more", &C::width, 200000000),
             bad("count is 4, expected 0 to 3", &C::count, 4), bad("nframes is -1", &C::nframes, -1),
             bad("nframes is 3, level 0 holds 2", &C::nframes, 3), bad_element("level's frame", &C::pointers, 5),
             when<C>("level's frames", [](C& c) { c.levels[1].frames = nullptr; }),
             when<C>("levels", [](C& c) { c.list.levels = nullptr; }));
    for (const auto method : {&C::deviation_of_levels, &C::variance_of_levels}) {
        expect_rejections(
            method, "Noise", series,
            list(bad("nch is 3, expected 4", &C::nch, 3), bad("means", &C::means_out), bad("spreads", &C::spreads_out),
                 bad_element("means", &C::means, 3), bad_element("spreads", &C::spreads, 3),
                 when<C>("nch is 2, expected 3", [](C& c) { c.width = 1, c.nch = 2; })));
    }
    expect_rejections(&C::deviation_profile, "Noise", series,
                      list(bad("levels", &C::levels_in), bad_element("slope", &C::bits_out, 4)));
    expect_rejections(&C::variance_profile, "Noise", series,
                      list(bad("pattern", &C::pattern, 4), bad_element("intercept", &C::bits_out, 7)));
    expect_rejections(&C::fixed_profile, "Noise", series,
                      list(bad("pattern", &C::pattern, -1), bad("formats", &C::formats),
                           bad("two", &C::formats, "U4.8"), bad("\"U8\"", &C::formats, "U4.8,U8"),
                           bad("\"U4.8 \"", &C::formats, "U4.8 ,U8.0"), bad_element("level", &C::registers_out, 1)));
    // What the arithmetic of a format would take and nobody means.
    auto formats = list(bad("slope_format", &C::slope_format), bad("level_format", &C::level_format));
    for (const char* text :
         {"", "U", "4.8", "-4.8", "U-4.8", "U4.+8", " U4.8", "U4 .8", "U4.8.1", "U32.1", "U1.32", "U4294967300.8"}) {
        formats.push_back(bad("slope_format is", &C::slope_format, text));
    }
    expect_rejections(&C::luma, "Noise", formats, list(bad("slopes", &C::x), bad("intercepts", &C::y)));
    expect_rejections(&C::move, "Noise", formats, list(bad("new_level", &C::new_level_format, "U9.-1")));
    expect_rejections(&C::to_fixed, "Noise", list(bad_element("level_fix", &C::registers_out, 1)));
    expect_rejections(&C::to_fixed_by_text, "Noise",
                      list(bad("\"U8\"", &C::level_format, "U8"), bad("slope_format", &C::slope_format)));
    expect_rejections(&C::line, "Noise", list(bad("x", &C::x), bad("y", &C::y), bad_element("slope", &C::bits_out, 0)));
    expect_rejections(&C::subtract, "Noise",
                      list(bad("frame_a", &C::frame_a), bad("frame_b", &C::frame_b), bad("output", &C::output),
                           bad_element("frame_b", &C::pointers, 1), bad("output", &C::difference)));
    expect_rejections(&C::deviation, "Noise",
                      list(bad("nframes is 1, expected 2", &C::deviation_frames, 1), bad("frames", &C::all_frames),
                           bad("output", &C::deviation_out), bad_element("frames", &C::pointers, 5)));
}

TEST(Rejection, ColourTables) {
    using C = ClutCall;
    const auto shared = list(
        bad("cell_count is 0", &C::cell_count, 0), bad("measured", &C::measured), bad("target", &C::target),
        bad("settings", &C::settings), bad("table", &C::table),
        when<C>("measured[1]", [](C& c) { c.from[1].g = 1.01F; }),
        when<C>("target[0]", [](C& c) { c.to[0].b = std::numeric_limits<float>::quiet_NaN(); }),
        when<C>("weight", [](C& c) { c.from[1].weight = -1; }), when<C>("nodes is 1", [](C& c) { c.how.nodes[2] = 1; }),
        when<C>("nodes is 66", [](C& c) { c.how.nodes[0] = 66; }),
        when<C>("strength", [](C& c) { c.how.strength = 1.5F; }), when<C>("radius", [](C& c) { c.how.radius = 0; }));
    expect_rejections(&C::rgb, "CLUT", shared);
    expect_rejections(&C::hsv, "CLUT", shared, list(when<C>("without saturation", [](C& c) {
        c.from[0] = {0.5F, 0.5F, 0.505F, 1}, c.from[1] = {0, 0, 0, 1};
    })));
}

TEST(Rejection, EmptyFramesAreVerifiedUntouched) {
    for (const bool no_width : {true, false}) {
        const auto awb = make<AwbCall>();
        const auto blc = make<BlcCall>();
        const auto lsc = make<LscCall>();
        const std::array before = {awb->state(), blc->state(), lsc->state()};
        (no_width ? awb->width : reinterpret_cast<int32_t&>(awb->height)) = 0;
        (no_width ? blc->width : blc->height) = 0;
        (no_width ? lsc->width : lsc->height) = 0;
        awb->frame = blc->frame = lsc->raw = nullptr;
        CapturedOutput output;
        const CapturedWarnings warnings;
        EXPECT_EQ(awb->verify() + blc->verify() + lsc->verify(), 0);
        EXPECT_TRUE((before == std::array{awb->state(), blc->state(), lsc->state()}));
        EXPECT_TRUE(warnings.texts().empty());
    }
}

TEST(Rejection, BuffersThatAreNotReachedMayBeNull) {
    const SavedModuleState saved;
    CapturedOutput output;
    const CapturedWarnings warnings;
    // One block per frame: no entries to write.
    const auto blc = make<BlcCall>();
    blc->blocks = 1;
    blc->block_offset.fill(nullptr);
    EXPECT_EQ(blc->local(), 0);
    // Without tables no stage runs.
    const auto lsc = make<LscCall>();
    lsc->red = lsc->radius_lut = nullptr;
    lsc->mesh_output = lsc->radial_output = nullptr;
    lsc->cols = 0;
    EXPECT_EQ(lsc->verify(), 0);
    // No points, no levels, nothing to release.
    NoiseCall noise;
    noise.x = noise.y = nullptr;
    for (const uint32_t points : {0U, 0x80000000U, 0xFFFFFFFFU}) {
        noise.points = points;
        noise.bits.fill(0);
        EXPECT_EQ(noise.line(), 0);
        EXPECT_TRUE(std::isnan(std::bit_cast<float>(noise.bits[0])) && std::isnan(std::bit_cast<float>(noise.bits[1])));
    }
    noise.count = 0;
    noise.means_out = nullptr;
    EXPECT_EQ(noise.variance_of_levels(), 0);
    EXPECT_EQ(noise.releases, 1);
    noise.list.release = nullptr;
    EXPECT_EQ(noise.variance_of_levels(), 0);
    EXPECT_TRUE(warnings.texts().empty());
    // The window's fault comes before the results.
    cali_awb_setROI(0, 0, 16, 8);
    const auto awb = make<AwbCall>();
    awb->gain_r = nullptr;
    EXPECT_EQ(awb->calc(), -1);
    EXPECT_EQ(warnings.texts(), std::vector<std::string>{"WB Calib Warning: ROI X,W is wrong"});
}

}  // namespace
}  // namespace cali::test
