// Lens shading as a user runs it, held against the simulated sensor.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <sstream>

#include "captures/capture.h"
#include "core/channel.h"
#include "program.h"
#include "simulation/sensor.h"

namespace cali::test {
namespace {

using nlohmann::json;

constexpr double kLight = 5000;

/// Mean green in windows of the frame, relative to the middle one's; the root mean square of what differs.
double residual_rms(const host::Capture& frame) {
    constexpr int kCols = 31;
    constexpr int kRows = 23;
    std::vector<double> sum(kCols * kRows);
    std::vector<double> count(sum.size());
    for (int y = 0; y < frame.height; ++y) {
        for (int x = 0; x < frame.width; ++x) {
            const Channel channel = bayer_channel(frame.pattern, static_cast<uint32_t>(y), static_cast<uint32_t>(x));
            if (channel == GR || channel == GB) {
                const auto window =
                    static_cast<std::size_t>(y * kRows / frame.height * kCols + x * kCols / frame.width);
                sum[window] += frame.samples[static_cast<std::size_t>(y * frame.width + x)];
                count[window] += 1;
            }
        }
    }
    const std::size_t middle = sum.size() / 2;
    double squares = 0;
    for (std::size_t i = 0; i < sum.size(); ++i) {
        const double difference = sum[i] / count[i] / (sum[middle] / count[middle]) - 1;
        squares += difference * difference;
    }
    return std::sqrt(squares / static_cast<double>(sum.size()));
}

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
        const TemporaryFolder folder;
        const std::string size = std::to_string(width) + "x" + std::to_string(height);
        ASSERT_EQ(run_program(folder.path(), {"simulate", ".", "--size", size, "--pattern",
                                              host::kPatternNames[static_cast<std::size_t>(pattern)], "--axis",
                                              std::to_string(sensor.axis_x), std::to_string(sensor.axis_y),
                                              "--series-levels", "0", "--illuminants", "5000"})
                      .status,
                  0);
        const ProgramRun run = run_program(folder.path(), {"calibrate", "session.toml", "--corrected"});
        ASSERT_EQ(run.status, 0) << run.err;
        const json shading = read_json(folder / "results.json")["lens_shading"][0];

        const host::Geometry geometry{{}, {}, pattern, {}, ""};
        EXPECT_LT(residual_rms(host::read_capture(folder / "flat_5000K_mesh.pgm", geometry)), 0.01);
        EXPECT_LT(residual_rms(host::read_capture(folder / "flat_5000K_radial.pgm", geometry)), 0.02);
        EXPECT_LT(shading["uniformity"]["before"]["corner_to_centre"], 0.65);
        EXPECT_LT(shading["uniformity"]["after_mesh"]["worst_luminance"], 0.01);
        EXPECT_GT(shading["uniformity"]["before"]["worst_colour_shift"], 0.03);
        EXPECT_LT(shading["uniformity"]["after_mesh"]["worst_colour_shift"], 0.006);
        EXPECT_LT(shading["uniformity"]["after_radial"]["worst_colour_shift"], 0.01);
        const auto [x, y] = light_centroid(sensor);
        EXPECT_NEAR(shading["radial"]["center_x"].get<double>(), x, 0.005 * width);
        EXPECT_NEAR(shading["radial"]["center_y"].get<double>(), y, 0.005 * width);
    }
}

/// A session with one flat field, and its frame to be spoilt.
class FlatField : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(run_program(folder_.path(), {"simulate", ".", "--size", "640x480", "--series-levels", "0",
                                               "--illuminants", "2850", "6500"})
                      .status,
                  0);
        flat_ = host::read_capture(folder_ / "flat_6500K.pgm", {{}, {}, 3, {}, ""});
    }

    ProgramRun run(const std::vector<std::string>& arguments) const { return run_program(folder_.path(), arguments); }

    /// Calibrates on the flat field after `change` of every sample.
    template <typename Change>
    ProgramRun run_changed(Change&& change, std::vector<std::string> more = {}) const {
        std::vector<uint16_t> samples;
        for (int y = 0; y < flat_.height; ++y) {
            for (int x = 0; x < flat_.width; ++x) {
                const double code = flat_.samples[static_cast<std::size_t>(y * flat_.width + x)];
                samples.push_back(static_cast<uint16_t>(std::clamp(change(code, x, y), 0.0, 4095.0)));
            }
        }
        host::write_pgm(folder_ / "changed.pgm", flat_.width, flat_.height, 12, samples);
        std::vector<std::string> arguments = {"lsc", "changed.pgm", "--pattern", "RGGB", "--results", "lsc.json"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return run(arguments);
    }

    TemporaryFolder folder_;
    host::Capture flat_;
};

TEST_F(FlatField, ThatIsNoneIsRefused) {
    const auto expect_refusal = [&](const ProgramRun& result, const char* why) {
        EXPECT_EQ(result.status, 1) << why;
        EXPECT_NE(result.err.find(std::string("changed.pgm: no flat field to calibrate on: ") + why), std::string::npos)
            << result.err;
        EXPECT_EQ(read_text(folder_ / "lsc.json"), "");
    };
    expect_refusal(run_changed([](double code, int, int) { return code * 2; }), "47.4 % of the samples are saturated");
    expect_refusal(run_changed([](double code, int, int) { return code / 20; }), "too dark: green stands 1");
    std::vector<uint16_t> full(64 * 64, 255);
    host::write_pgm(folder_ / "eight_bits.pgm", 64, 64, 8, full);
    EXPECT_NE(run({"lsc", "eight_bits.pgm", "--pattern", "RGGB"}).err.find("100.0 % of the samples are saturated"),
              std::string::npos);
    const auto lamp = [](double code, int x, int) { return code * (1 - 0.15 * x / 640); };
    expect_refusal(run_changed(lamp), "the light falls by 1");
    EXPECT_NE(run_changed(lamp).err.find("from the left edge to the right edge"), std::string::npos);
    EXPECT_NE(run_changed([](double code, int, int y) {
                  return code * (0.8 + 0.2 * y / 480);
              }).err.find("from the bottom edge to the top edge"),
              std::string::npos);

    const ProgramRun forced = run_changed(lamp, {"--force"});
    EXPECT_EQ(forced.status, 0);
    EXPECT_NE(forced.err.find("the light falls by"), std::string::npos) << forced.err;
    EXPECT_NE(read_text(folder_ / "lsc.json"), "");

    // The chain stops there too, and writes nothing.
    std::filesystem::copy_file(folder_ / "changed.pgm", folder_ / "flat_2850K.pgm",
                               std::filesystem::copy_options::overwrite_existing);
    std::string session = read_text(folder_ / "session.toml");
    const std::string name = "flat_2850K.raw";
    session.replace(session.find(name), name.size(), "flat_2850K.pgm");
    write_text(folder_ / "lamp.toml", session);
    const ProgramRun chain = run({"calibrate", "lamp.toml"});
    EXPECT_EQ(chain.status, 1);
    EXPECT_NE(chain.err.find("flat_2850K.pgm: no flat field"), std::string::npos) << chain.err;
    EXPECT_EQ(read_text(folder_ / "results.json"), "");
}

TEST_F(FlatField, RegistersAgreeWithTheResults) {
    ASSERT_EQ(run({"blc", "dark_1.raw", "dark_2.raw", "--session", "session.toml", "--results", "black.json"}).status,
              0);
    const ProgramRun result =
        run({"lsc", "flat_6500K.raw", "--session", "session.toml", "--black-level", "black.json", "--grid", "17x13",
             "--type", "chroma", "--denoise", "--illuminant", "6500", "--registers", "--results", "lsc.json"});
    ASSERT_EQ(result.status, 0) << result.err;
    const json shading = read_json(folder_ / "lsc.json")["lens_shading"][0];
    EXPECT_EQ(shading["type"], "chroma");
    EXPECT_EQ(shading["denoise"], true);
    EXPECT_EQ(shading["illuminant_k"], 6500);
    EXPECT_EQ(shading["mesh"]["gain_q9"]["green"], std::vector<int>(17 * 13, 512));

    // The text as the register tooling reads it: a value after the name, or the lines up to the delimiter.
    std::istringstream text(read_text(folder_ / "flat_6500K_lsc_registers.txt"));
    std::map<std::string, std::vector<int>> registers;
    for (std::string line; std::getline(text, line);) {
        const std::size_t equals = line.find(" = ");
        ASSERT_NE(equals, std::string::npos) << line;
        std::vector<int>& values = registers[line.substr(0, equals)];
        if (line.find("<<<END_OF_TEXT") == std::string::npos) {
            values.push_back(std::stoi(line.substr(equals + 3)));
            continue;
        }
        for (std::string block; std::getline(text, block) && block != "END_OF_TEXT";) {
            std::istringstream entries(block);
            for (std::string entry; entries >> entry;) {
                values.push_back(std::stoi(entry));
            }
        }
    }
    EXPECT_EQ(registers.size(), 15U);
    EXPECT_EQ(registers["reg_lsc_rtbl"], shading["mesh"]["gain_q9"]["red"].get<std::vector<int>>());
    EXPECT_EQ(registers["reg_lsc_btbl"], shading["mesh"]["gain_q9"]["blue"].get<std::vector<int>>());
    EXPECT_EQ(registers["reg_lscr_gain_lut_ir"], shading["radial"]["gain_q9"]["infrared"].get<std::vector<int>>());
    EXPECT_EQ(registers["reg_lscr_norm"], std::vector<int>{shading["radial"]["norm"].get<int>()});
    EXPECT_EQ(registers["reg_lsc_imgy0"], std::vector<int>{shading["mesh"]["imgy0"].get<int>()});
    EXPECT_NE(read_text(folder_ / "flat_6500K_lsc_coefficients.csv").find("reg_radius_lsc_gtbl\n512, "),
              std::string::npos);
}

TEST_F(FlatField, GainsOfACornerNeedItsMesh) {
    ASSERT_EQ(run({"calibrate", "session.toml"}).status, 0);
    const json truth = read_json(folder_ / "truth.json")["illuminants"][1]["gain"];
    const auto red_gain = [&](const std::vector<std::string>& more) {
        std::vector<std::string> arguments = {
            "awb", "grey_6500K.raw", "--session",    "session.toml", "--window", "0",         "0",       "64",
            "64",  "--black-level",  "results.json", "--illuminant", "6500",     "--results", "awb.json"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        EXPECT_EQ(run(arguments).status, 0);
        return read_json(folder_ / "awb.json")["white_balance"][0];
    };
    const json without = red_gain({});
    const json with = red_gain({"--lens-shading", "results.json"});
    EXPECT_EQ(without["lens_shading"], "unity");
    EXPECT_EQ(with["lens_shading"], "flat_6500K.raw");  // the nearer light's
    const double red = truth["red"];
    EXPECT_GT(std::abs(without["gain"]["red"].get<double>() / red - 1), 0.02);
    EXPECT_LT(std::abs(with["gain"]["red"].get<double>() / red - 1), 0.006);
}

}  // namespace
}  // namespace cali::test
