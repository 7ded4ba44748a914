#include "calibrations/lens_shading.h"

#include <algorithm>
#include <cmath>

#include "base/error.h"
#include "core/channel.h"
#include "library/front_end.h"
#include "outputs/register_files.h"
#include "results/results_file.h"
#include "simulation/sensor.h"
#include "support/program.h"

namespace cali::test {
namespace {

using nlohmann::json;

constexpr double kLight = 5000;

/// Of the light on the GR photosites without noise, in photosites.
std::array<double, 2> light_centroid(host::SensorModel sensor) {
    sensor.read_noise = 0;
    sensor.conversion_gain = 0;
    const std::vector<uint16_t> field = host::expose(sensor, host::uniform_scene(sensor, kLight, 0.7), 1, 0);
    double x_moment = 0;
    double y_moment = 0;
    double total = 0;
    for (int y = 0; y < sensor.height; ++y) {
        for (int x = 0; x < sensor.width; ++x) {
            if (bayer_channel(sensor.pattern, static_cast<uint32_t>(y), static_cast<uint32_t>(x)) == GR) {
                const double light = field[static_cast<std::size_t>(y * sensor.width + x)] - sensor.pedestal[host::kGR];
                x_moment += light * x;
                y_moment += light * y;
                total += light;
            }
        }
    }
    return {x_moment / total, y_moment / total};
}

struct SimulatedSensor {
    int width, height, pattern;
    double axis_x, axis_y;  ///< shares of the width
};

TEST(LensShading, FlattensTheSimulatedField) {
    for (const auto& [width, height, pattern, axis_x, axis_y] :
         {SimulatedSensor{1920, 1080, 3, 0.01, -0.01}, SimulatedSensor{1280, 800, 2, -0.01, 0.004},
          SimulatedSensor{1025, 771, 0, 0, 0.01}, SimulatedSensor{800, 600, 1, -0.007, -0.01}}) {
        SCOPED_TRACE(width);
        host::SensorModel sensor;
        sensor.width = width;
        sensor.height = height;
        sensor.pattern = pattern;
        sensor.axis_x = axis_x * width;
        sensor.axis_y = axis_y * width;
        const std::vector<uint16_t> codes = host::expose(sensor, host::uniform_scene(sensor, kLight, 0.7), 1, 1000);
        host::Capture flat{"flat", {width, height, pattern, 12, {}}, {codes.begin(), codes.end()}};
        host::BlackLevels black;
        std::ranges::transform(sensor.pedestal, black.offset.begin(),
                               [](double c) { return static_cast<uint32_t>(c); });
        const host::LensShading shading = calibrate_flat_field(flat, black, {}, {});
        EXPECT_LT(shading.before.corner_to_centre, 0.65);
        EXPECT_NEAR(shading.after_mesh.corner_to_centre, 1, 0.01);
        EXPECT_LT(shading.after_mesh.worst_luminance, 0.01);
        EXPECT_LT(shading.after_mesh.luminance_rms, 0.005);
        EXPECT_LT(shading.after_radial.luminance_rms, 0.02);
        EXPECT_GT(shading.before.worst_colour_shift, 0.03);
        EXPECT_LT(shading.after_mesh.worst_colour_shift, 0.006);
        EXPECT_LT(shading.after_radial.worst_colour_shift, 0.01);
        const auto [x, y] = light_centroid(sensor);
        EXPECT_NEAR(shading.tables.center_x, x, 0.005 * width);
        EXPECT_NEAR(shading.tables.center_y, y, 0.005 * width);
    }
}

TEST(Flatness, IsReckonedFromTheCentre) {
    // 3 x 3 blocks of 2 x 2 cells, black level 10: green 100, red and blue 50, but for what is set.
    std::vector<uint32_t> samples(12 * 12, 110);
    for (int y = 0; y < 12; ++y) {
        for (int x = 0; x < 12; ++x) {
            const bool green = (x + y) % 2 == 1;  // RGGB
            uint32_t& sample = samples[static_cast<std::size_t>(y * 12 + x)];
            sample = green ? 110 : 60;
            if (x >= 8 && y >= 8) {
                sample = green ? 70 : 40;  // a dark corner: 0.6 of the light, its colours kept
            } else if (x < 4 && y < 4 && !green && y % 2 == 0) {
                sample = 70;  // a red one
            }
        }
    }
    const host::BlockMeans means = host::block_means({samples.data(), 12, 12, 3}, {10, 10, 10, 10});
    ASSERT_EQ(means.cols * means.rows, 25);  // 5 x 5 on 6 x 6 cells
    const host::Flatness flat = host::measure_flatness({3,
                                                        3,
                                                        {{50, 100, 50},
                                                         {50, 100, 50},
                                                         {55, 100, 50},
                                                         {50, 90, 50},
                                                         {50, 100, 50},
                                                         {50, 100, 50},
                                                         {50, 100, 50},
                                                         {50, 100, 50},
                                                         {30, 60, 30}}});
    EXPECT_DOUBLE_EQ(flat.corner_to_centre, 0.6);
    EXPECT_DOUBLE_EQ(flat.worst_luminance, 0.4);
    EXPECT_NEAR(flat.luminance_rms, std::sqrt((0.1 * 0.1 + 0.4 * 0.4) / 9), 1e-12);
    EXPECT_NEAR(flat.worst_colour_shift, 1 / 0.9 - 1, 1e-12);  // of the dimmer green's block
    EXPECT_DOUBLE_EQ(means.centre()[1], 100);
    EXPECT_DOUBLE_EQ(means.centre()[0], 50);
    EXPECT_DOUBLE_EQ(means.at(4, 4)[1], 60);
    EXPECT_DOUBLE_EQ(means.at(0, 0)[0], 60);
    EXPECT_DOUBLE_EQ(means.at(0, 0)[2], 50);
}

TEST(LensShading, TinyFramesAreRefused) {
    host::Capture tiny{"tiny", {16, 15, 3, 12, {}}, host::Samples(16 * 15, 2000), {}};
    EXPECT_THROW((void)calibrate_flat_field(tiny, {}, {}, {}), host::InputError);
}

TEST(LensShading, BlocksTakeFramesOfTheirSizeAlone) {
    host::Capture wide{"wide", {8193, 16, 3, 12, {}}, host::Samples(8193 * 16, 2000)};
    EXPECT_THROW((void)calibrate_flat_field(wide, {}, {}, {}), host::InputError);
    EXPECT_THROW((void)host::apply_front_end(wide, {}, {}), host::InputError);
    host::Capture tiny{"tiny", {16, 15, 3, 12, {}}, host::Samples(16 * 15, 2000)};
    EXPECT_THROW((void)calibrate_flat_field(tiny, {}, {}, {}), host::InputError);
}

TEST(LensShading, OptionsTakeEffectAndRegistersAgreeWithTheResults) {
    const TemporaryFolder& session = simulated_session();
    const TemporaryFolder folder;
    const std::string line = "lsc " + (session / "flat_6500K.raw").string() + " --session " +
                             (session / "session.toml").string() + " --black-level " +
                             (session / "results.json").string() + " --illuminant 6500 --new --results lsc.json ";
    run_line(folder.path(), line + "--grid 17x13 --type chroma --denoise --registers --corrected");
    const json shading = read_json(folder / "lsc.json")["lens_shading"][0];
    EXPECT_EQ(shading["type"], "chroma");
    EXPECT_EQ(shading["denoise"], true);
    EXPECT_EQ(shading["illuminant_k"], 6500);
    EXPECT_EQ(shading["mesh"]["gain_q9"]["green"], std::vector<int>(17 * 13, 512));
    const ShadingTables tables = host::read_results(folder / "lsc.json").lens_shading[0].tables;
    EXPECT_EQ(read_text(folder / "flat_6500K_lsc_registers.txt"), lsc_register_text(tables));
    EXPECT_EQ(read_text(folder / "flat_6500K_lsc_coefficients.csv"), lsc_coefficient_csv(tables));
    // A file of that name that no run wrote is the user's.
    const TemporaryFolder own;
    write_text(own / "flat_6500K_lsc_registers.txt", "mine");
    expect_errors(own, {{line + "--registers", "flat_6500K_lsc_registers.txt: is there already"}});
    // Chroma gains leave the light's fall, the radial ones do not.
    EXPECT_NE(read_text(folder / "flat_6500K_mesh.pgm"), read_text(folder / "flat_6500K_radial.pgm"));
    // Without cleaning the tables differ, on the same capture; a session's settings count where no option is given.
    run_line(folder.path(), line + "--grid 17x13 --type chroma --no-denoise");
    EXPECT_NE(read_json(folder / "lsc.json")["lens_shading"][0]["mesh"], shading["mesh"]);
    write_text(folder / "s.toml", read_text(session / "session.toml") +
                                      "[lens_shading]\ngrid = [17, 13]\ntype = \"chroma\"\ndenoise = true\n");
    run_line(folder.path(), replaced(line, (session / "session.toml").string(), "s.toml"));
    EXPECT_EQ(read_json(folder / "lsc.json")["lens_shading"][0]["mesh"], shading["mesh"]);
}

TEST(LensShading, GainsOfACornerNeedItsMesh) {
    const TemporaryFolder& session = simulated_session();
    const TemporaryFolder folder;
    const double red = read_json(session / "truth.json")["illuminants"][2]["gain"]["red"];
    const std::string results = (session / "results.json").string();
    const auto balance = [&](const std::string& more) {
        run_line(folder.path(), "awb " + (session / "grey_6500K.raw").string() + " --session " +
                                    (session / "session.toml").string() + " --window 1 0 65 64 --black-level " +
                                    results + " --illuminant 6500 --new --force --results awb.json" + more);
        return read_json(folder / "awb.json")["white_balance"][0];
    };
    const json without = balance("");
    const json with = balance(" --lens-shading " + results);
    EXPECT_EQ(without["window"], (json{{"x", 0}, {"y", 0}, {"width", 64}, {"height", 64}}));  // even
    EXPECT_EQ(without["lens_shading"], "unity");
    EXPECT_NE(with["lens_shading"].get<std::string>().find("flat_6500K.raw"), std::string::npos);  // the nearer light
    EXPECT_GT(std::abs(without["gain"]["red"].get<double>() / red - 1), 0.02);
    EXPECT_LT(std::abs(with["gain"]["red"].get<double>() / red - 1), 0.008);
}

/// Registers without the picture beside them would tell of a run that never was.
TEST(ShadingFiles, AreNoneWhereTheFlatFieldCannotBeReadAgain) {
    host::PendingFiles files;
    host::LensShading shading;
    shading.file = "flat.raw";
    const auto lost = []() -> host::Capture { throw host::InputError("flat.raw: no such file"); };
    const TemporaryFolder folder;
    EXPECT_THROW(host::add_shading_files(files, folder.path(), shading, {}, lost, {true, true}), host::InputError);
    EXPECT_TRUE(files.targets().empty());
}

}  // namespace
}  // namespace cali::test
