#include <algorithm>
#include <cmath>

#include "reference/lens_shading.h"
#include "support/export_calls.h"

namespace cali::test {
namespace {

/// A flat field as a lens leaves it, brightest at a random place, with noise and the odd extreme sample.
OwnedFrame shaded_frame(Random& random, int32_t width, int32_t height, int32_t pattern) {
    OwnedFrame frame{{}, width, height, pattern};
    const double peak = 50 + static_cast<double>(random() % 5000);  // saturated, ordinary and dark ones
    const double slope = static_cast<double>(random() % 90) / 100.0;
    const double x0 = static_cast<double>(random() % static_cast<uint32_t>(width));
    const double y0 = static_cast<double>(random() % static_cast<uint32_t>(height));
    const bool dusty = random() % 3 == 0;
    for (int32_t y = 0; y < height; ++y) {
        for (int32_t x = 0; x < width; ++x) {
            const double distance = std::hypot((x - x0) / width, (y - y0) / height);
            const double noise = static_cast<double>(random() % 64) - 32;
            const double level = peak * (1 - slope * distance) + noise;
            const bool dust = dusty && random() % 200 == 0;
            frame.samples.push_back(dust ? pick(random, kExtremeSamples)
                                         : static_cast<uint32_t>(std::clamp(level, 0.0, 4095.0)));
        }
    }
    return frame;
}

struct CalcTurn {
    OwnedFrame frame;
    reference::LensShadingArguments arguments;
};

CalcTurn random_turn(Random& random, int32_t turn) {
    const auto width = static_cast<int32_t>(2 + random() % 150);
    const auto height = static_cast<int32_t>(2 + random() % 150);
    const auto pattern = turn % 4;
    const auto cols = static_cast<int32_t>(4 + random() % 12);
    const auto rows = static_cast<int32_t>(4 + random() % 12);
    const int32_t type = std::array{0, 1, 2, 3, -1}[static_cast<std::size_t>(turn % 5)];
    const auto black = [&] { return static_cast<int32_t>(random() % 130) - (turn % 7 == 0 ? 200 : 0); };
    return {shaded_frame(random, width, height, pattern),
            {width, height, pattern, cols, rows, type, turn % 2, {black(), black(), black(), black()}}};
}

TEST(LensShadingCalc, MatchesThePlainCalibration) {
    const SavedModuleState saved;
    Random random(63);
    for (int32_t turn = 0; turn < 120; ++turn) {
        const CalcTurn random_calc = random_turn(random, turn);
        const OwnedFrame& frame = random_calc.frame;
        const reference::LensShadingArguments& arguments = random_calc.arguments;
        const Geometry geometry{frame.width, frame.height, frame.pattern};
        SCOPED_TRACE(::testing::Message() << geometry << ", type " << arguments.type << ", turn " << turn);
        const bool dump = turn % 4 == 0;
        module_state().debug.lsc_dump = dump;
        const auto expected = reference::lens_shading(frame.samples, arguments, dump);
        on_every_isa([&] {
            const TemporaryDirectory directory;
            LscCall call(frame, arguments.cols, arguments.rows);
            call.type = arguments.type;
            call.denoise = arguments.denoise;
            call.blc = arguments.blc;
            CapturedOutput output;
            const CapturedWarnings warnings;
            ASSERT_EQ(call.calc(), expected.rejected ? -1 : 0);
            ASSERT_EQ(output.take(), expected.printed);
            if (!expected.rejected) {
                ASSERT_EQ(call.center_x, expected.center_x);
                ASSERT_EQ(call.center_y, expected.center_y);
                ASSERT_EQ(call.norm, expected.norm);
                ASSERT_TRUE(same_bits(expected.red, call.mesh[0]));
                ASSERT_TRUE(same_bits(expected.green, call.mesh[1]));
                ASSERT_TRUE(same_bits(expected.blue, call.mesh[2]));
                ASSERT_TRUE(same_bits(expected.radial, call.radial));
            }
            for (const auto& [name, bytes] : expected.files) {
                ASSERT_EQ(read_file(name), bytes) << name;
            }
            ASSERT_EQ(call.input.samples, frame.samples);
        });
    }
}

TEST(LensShadingCalc, NeedsLightToCentreOn) {
    for (const Geometry& geometry : {Geometry{1, 40, 0}, Geometry{40, 1, 0}, Geometry{20, 20, 0}}) {
        LscCall call(OwnedFrame{std::vector<uint32_t>(geometry.size()), geometry.width, geometry.height, 0}, 5, 4);
        const auto before = call.state();
        CapturedOutput output;
        const CapturedWarnings warnings;
        EXPECT_EQ(call.calc(), -1) << geometry;
        EXPECT_TRUE(call.state() == before);
        ASSERT_EQ(warnings.texts().size(), 1U);
        EXPECT_NE(warnings.texts()[0].find("GR plane"), std::string::npos) << warnings.texts()[0];
    }
}

TEST(LensShadingCalc, FlatFieldNeedsNoCorrection) {
    LscCall call(OwnedFrame{std::vector<uint32_t>(std::size_t{64} * 48, 1000), 64, 48, 3}, 9, 7);
    CapturedOutput output;
    ASSERT_EQ(call.calc(), 0);
    EXPECT_EQ(call.center_x, 30);  // the centroid 15.5 and 11.5, truncated
    EXPECT_EQ(call.center_y, 22);
    EXPECT_EQ(call.mesh[1], std::vector<int32_t>(63, 512));
    EXPECT_EQ(call.radial, std::vector<int32_t>(128, 512));
    for (const std::size_t colour : {0U, 2U}) {
        EXPECT_TRUE(std::ranges::all_of(call.mesh[colour], [](int32_t gain) { return gain == 511 || gain == 512; }));
    }
}

TEST(LensShadingVerify, MatchesThePlainCheck) {
    const SavedModuleState saved;
    Random random(64);
    for (int32_t turn = 0; turn < 60; ++turn) {
        const auto width = static_cast<int32_t>(1 + random() % 60);
        const auto height = static_cast<int32_t>(1 + random() % 60);
        const OwnedFrame frame = turn % 3 == 0 ? random_frame(random, width, height, turn % 4, 0xFFFFFFFFU)
                                               : shaded_frame(random, width, height, turn % 4);
        auto grids = plausible_grids(random, 6, 5);
        const bool dump = turn % 2 == 0;
        const bool with_mesh = turn % 5 != 3;
        const bool with_radial = turn % 7 != 3;
        const Geometry geometry{width, height, frame.pattern};
        SCOPED_TRACE(::testing::Message() << geometry << ", turn " << turn);
        module_state().debug.lsc_dump = dump;
        on_every_isa([&] {
            const TemporaryDirectory directory;
            LscCall call(frame, 6, 5);
            for (std::size_t node = 0; node < call.mesh[0].size(); ++node) {
                call.mesh[0][node] = static_cast<int32_t>(grids.red[node]);
                call.mesh[1][node] = static_cast<int32_t>(grids.green[node]);
                call.mesh[2][node] = static_cast<int32_t>(grids.blue[node]);
            }
            for (std::size_t k = 0; k < call.radial.size(); ++k) {
                call.radial[k] = 512 + static_cast<int32_t>(k % 32) * 40;
            }
            call.center_x = width / 3;
            call.center_y = height / 2;
            call.green = with_mesh ? call.green : nullptr;
            call.radius_lut = with_radial ? call.radius_lut : nullptr;
            const auto expected = reference::lens_shading_check(
                frame.samples, width, height, frame.pattern, call.black, with_mesh ? &grids : nullptr, call.center_x,
                call.center_y, with_radial ? &call.radial : nullptr, call.mesh_samples, call.radial_samples, dump);
            CapturedOutput output;
            ASSERT_EQ(call.verify(), 0);
            ASSERT_EQ(output.take(), expected.printed);
            ASSERT_TRUE(same_bits(expected.input, call.input.samples));
            ASSERT_TRUE(same_bits(expected.mesh, call.mesh_samples));
            ASSERT_TRUE(same_bits(expected.radial, call.radial_samples));
            for (const auto& [name, bytes] : expected.files) {
                ASSERT_EQ(read_file(name), bytes) << name;
            }
        });
    }
}

}  // namespace
}  // namespace cali::test
