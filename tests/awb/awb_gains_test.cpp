#include <limits>

#include "reference/estimates.h"
#include "support/export_calls.h"

namespace cali::test {
namespace {

constexpr int32_t kMax = std::numeric_limits<int32_t>::max();
constexpr int32_t kMin = std::numeric_limits<int32_t>::min();

void set_window(const reference::Window& window) {
    module_state().awb_roi = {window.x, window.y, window.width, window.height};
}

/// cali_awb_calc against the plain version, on every instruction set: result, gains, warnings, printed text, and
/// nothing else touched.
void compare_calibration(AwbCall& call, const reference::Window& window) {
    const Geometry geometry{call.width, call.input.height, call.pattern};
    SCOPED_TRACE(::testing::Message() << geometry << ", window " << window.x << " " << window.y << " " << window.width
                                      << " " << window.height);
    const SavedModuleState saved;
    set_window(window);
    const reference::WhiteBalance expected = reference::wb_calibration(
        call.input.samples, call.width, call.input.height, call.pattern, call.nodes, call.black, window);
    on_every_isa([&] {
        call.gains.fill(0xBEEF);
        const auto input = call.input.samples;
        CapturedOutput output;
        const CapturedWarnings warnings;
        ASSERT_EQ(call.calc(), expected.result);
        ASSERT_EQ(call.gains, expected.result == 0 ? expected.gain : (std::array<uint16_t, 3>{0xBEEF, 0xBEEF, 0xBEEF}));
        ASSERT_EQ(warnings.texts(), expected.warnings);
        ASSERT_EQ(output.take(), expected.printed);
        ASSERT_EQ(call.input.samples, input);
    });
}

TEST(AwbRoi, IsAlignedToWholeCells) {
    const SavedModuleState saved;
    EXPECT_EQ(cali_awb_setROI(5, 7, 101, 99), 0);
    EXPECT_EQ(module_state().awb_roi.x, 4);
    EXPECT_EQ(module_state().awb_roi.y, 6);
    EXPECT_EQ(module_state().awb_roi.width, 100);
    EXPECT_EQ(module_state().awb_roi.height, 98);
    cali_awb_setROI(-3, -1, kMin, kMax);
    EXPECT_EQ(module_state().awb_roi.x, -4);
    EXPECT_EQ(module_state().awb_roi.y, -2);
    EXPECT_EQ(module_state().awb_roi.width, kMin);
    EXPECT_EQ(module_state().awb_roi.height, kMax - 1);
}

TEST(AwbCalibration, EqualsThePlainVersion) {
    Random random(10);
    for (int turn = 0; turn < 300; ++turn) {
        const auto width = static_cast<int32_t>(1 + random() % 70);
        const auto height = static_cast<int32_t>(1 + random() % 70);
        const uint32_t high = pick(random, std::array<uint32_t, 4>{600, 2500, 4095, 0xFFFFFFFFU});
        AwbCall call(random_frame(random, width, height, turn % 4, high),
                     plausible_grids(random, static_cast<int>(3 + random() % 30), static_cast<int>(3 + random() % 30)));
        // Windows of any parity: the internal state may hold what the setter would have made even.
        const auto x = static_cast<int32_t>(random() % static_cast<uint32_t>(width));
        const auto y = static_cast<int32_t>(random() % static_cast<uint32_t>(height));
        compare_calibration(call, {x, y, static_cast<int32_t>(random() % static_cast<uint32_t>(width - x)),
                                   static_cast<int32_t>(random() % static_cast<uint32_t>(height - y))});
        if (HasFailure()) {
            return;
        }
    }
}

TEST(AwbCalibration, RoundsLongSumsInSinglePrecision) {
    Random random(11);
    AwbCall call(random_frame(random, 402, 350, 2), plausible_grids(random, 17, 13));
    call.black = {{0, 0, 0, 0}, {1, 1, 1, 1}};
    compare_calibration(call, {0, 0, 400, 348});  // green sums above 2^27
}

TEST(AwbCalibration, ChecksTheWindow) {
    Random random(12);
    AwbCall call(random_frame(random, 20, 12, 1), plausible_grids(random, 5, 4));
    const std::vector<reference::Window> windows = {
        {0, 0, 18, 10},     {2, 2, 17, 9},           {2, 0, 18, 10},     {0, 2, 18, 10},
        {2, 2, 18, 10},                                                                  // edges
        {0, 0, 0, 0},       {19, 11, 0, 0},          {20, 0, 0, 0},      {0, 12, 0, 0},  // empty
        {-40, -60, 0, 4},   {-40, -60, 4, 0},        {-40, 100, 4, -98}, {100, 4, -90, 4},
        {4, 4, -2, -4},     {-2, 0, 4, 4},           {0, -2, 4, 4},      {kMin, 0, kMax, 4},  // outside
        {kMax, 0, kMax, 4}, {0, kMax, 4, kMax},      {kMin, 0, kMin, 4}, {0, kMin, 4, kMin},
        {4, 4, kMax, 2},  // 64 bits
        {kMin, kMin, 0, 0}, {kMin, kMin, kMin, kMin}};
    for (const reference::Window& window : windows) {
        compare_calibration(call, window);
    }
}

/// A 10 x 10 frame of one code per colour through unity stages, both greens alike or not.
std::array<uint16_t, 3> gains_of(uint32_t red, uint32_t gr, uint32_t gb, uint32_t blue, const char* warning) {
    AwbCall call({{}, 10, 10, 3}, make_grids(3, 3, [] { return 512U; }));
    const std::array<uint32_t, 4> cell = {red, gr, gb, blue};
    for (std::size_t i = 0; i < 100; ++i) {
        call.input.samples.push_back(cell[i / 10 % 2 * 2 + i % 2]);
    }
    call.input_pointer = call.input.samples.data();
    call.black = {{0, 0, 0, 0}, {1, 1, 1, 1}};
    const SavedModuleState saved;
    cali_awb_setROI(0, 0, 8, 8);
    CapturedOutput output;
    const CapturedWarnings warnings;
    EXPECT_EQ(call.calc(), 0);
    std::vector<std::string> expected;
    if (warning != nullptr) {
        expected.push_back(std::string("WB Calib Warning: ") + warning);
    }
    EXPECT_EQ(warnings.texts(), expected);
    return call.gains;
}

TEST(AwbCalibration, GivesTheWorkedValues) {
    using Gains = std::array<uint16_t, 3>;
    EXPECT_EQ(gains_of(500, 1000, 1000, 800, nullptr), (Gains{2048, 1024, 1280}));
    EXPECT_EQ(gains_of(500, 2000, 2000, 125, nullptr), (Gains{4096, 1024, 16383}));
    EXPECT_EQ(gains_of(0, 1000, 1000, 1000, nullptr), (Gains{0, 1024, 1024}));
    // 2048 and 2327 (full strength costs one code above 2048) average 2187.5, 68.359375 times 32: 70000 - 65536.
    EXPECT_EQ(gains_of(32, 2048, 2328, 2187, nullptr), (Gains{4464, 1024, 1025}));
    // Around the brightness limits; a green mean of exactly 2866.5 is within.
    EXPECT_EQ(gains_of(614, 614, 614, 614, "Too Dark"), (Gains{1024, 1024, 1024}));
    EXPECT_EQ(gains_of(615, 614, 615, 615, nullptr), (Gains{1023, 1024, 1023}));
    EXPECT_EQ(gains_of(2867, 2867, 2868, 2867, nullptr), (Gains{1024, 1024, 1024}));
    EXPECT_EQ(gains_of(2868, 2868, 2868, 2868, "Too Bright"), (Gains{1024, 1024, 1024}));
}

TEST(AwbVerification, EqualsThePlainVersion) {
    Random random(13);
    for (const Geometry& geometry : small_geometries()) {
        const auto samples = samples_of_kind(random, pick(random, kSampleKinds), geometry.size());
        const auto grids =
            plausible_grids(random, static_cast<int>(3 + random() % 20), static_cast<int>(3 + random() % 20));
        const std::array<uint16_t, 3> gains = {pick(random, std::array<uint16_t, 4>{0, 1024, 1700, 65535}), 0,
                                               pick(random, std::array<uint16_t, 4>{0, 1023, 2999, 16383})};
        std::string progress;
        SCOPED_TRACE(::testing::Message() << geometry);
        on_every_isa([&] {
            progress.clear();
            AwbCall call({samples, geometry.width, geometry.height, geometry.pattern}, grids);
            call.applied_gains = gains;
            const auto subtracted =
                reference::black_level(samples, geometry.width, geometry.height, geometry.pattern, call.black);
            const auto shaded =
                reference::mesh_shading(subtracted, geometry.width, geometry.height, geometry.pattern, grids, progress);
            const auto balanced =
                reference::wb_gains(shaded, geometry.width, geometry.height, geometry.pattern, gains[0], gains[2]);
            CapturedOutput output;
            const CapturedWarnings warnings;
            ASSERT_EQ(call.verify(), 0);
            ASSERT_TRUE(same_bits(balanced, call.output_samples));
            ASSERT_TRUE(same_bits(subtracted, call.input.samples));
            ASSERT_EQ(output.take(), progress);
            ASSERT_TRUE(warnings.texts().empty());
        });
        if (HasFailure()) {
            return;
        }
    }
}

TEST(AwbVerification, WritesTheFrameOntoItself) {
    Random random(14);
    const OwnedFrame frame = random_frame(random, 33, 21, 0);
    const auto grids = plausible_grids(random, 7, 6);
    AwbCall apart(frame, grids);
    AwbCall same(frame, grids);
    same.output_pointer = same.input_pointer;
    CapturedOutput output;
    EXPECT_EQ(apart.verify(), 0);
    EXPECT_EQ(same.verify(), 0);
    EXPECT_TRUE(same_bits(apart.output_samples, same.input.samples));
}

TEST(AwbVerification, WritesPicturesWhenSwitchedOn) {
    const TemporaryDirectory directory;
    const SavedModuleState saved;
    AwbCall call({{1664, 664, 864, 64}, 2, 2, 3}, make_grids(3, 3, [] { return 512U; }));
    call.black = {{64, 64, 64, 64}, {1, 1, 1, 1}};
    call.applied_gains = {1536, 0, 1024};
    {
        CapturedOutput output;
        EXPECT_EQ(call.verify(), 0);
        EXPECT_EQ(output.take(), "LSC... 50%\rLSC...100%\r\n");
        EXPECT_FALSE(std::filesystem::exists("_awb_in.ppm") || std::filesystem::exists("_awb_out.ppm"));
    }
    module_state().debug.awb_dump = true;
    call.input.samples = {1664, 664, 864, 64};
    call.input_pointer = call.input.samples.data();
    CapturedOutput output;
    EXPECT_EQ(call.verify(), 0);
    EXPECT_EQ(output.take(), "LSC... 50%\rLSC...100%\r\noutput ppm to _awb_in.ppm\noutput ppm to _awb_out.ppm\n");
    std::string in = "P6 2 2 255\n";
    std::string out = in;
    for (int pixel = 0; pixel < 4; ++pixel) {
        in += {'\x64', '\x2B', '\0'};   // 1600 -> 100; 600 -> 37 and 800 -> 50
        out += {'\x96', '\x2B', '\0'};  // 2400 -> 150
    }
    EXPECT_EQ(read_file("_awb_in.ppm"), in);
    EXPECT_EQ(read_file("_awb_out.ppm"), out);
}

}  // namespace
}  // namespace cali::test
