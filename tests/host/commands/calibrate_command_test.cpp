// The chain as a user runs it, held against the simulated sensor's truth and against real captures.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>

#include "captures/capture.h"
#include "program.h"

namespace cali::test {
namespace {

using nlohmann::json;

constexpr const char* kChannels[] = {"rr", "gr", "gb", "bb"};

void expect_truth(const std::filesystem::path& folder) {
    const json truth = read_json(folder / "truth.json");
    const json results = read_json(folder / "results.json");
    for (const char* channel : kChannels) {
        SCOPED_TRACE(channel);
        const double pedestal = truth["pedestal_codes"][channel];
        for (const json& frame : results["black_level"]["frames"]) {
            EXPECT_NEAR(frame["median"]["offset_codes"][channel].get<double>(), pedestal, 0.5);
        }
        const double offset = results["black_level"]["offset_codes"][channel];
        EXPECT_NEAR(offset, pedestal, 0.5);
        EXPECT_FLOAT_EQ(results["black_level"]["restoring_gain"][channel].get<float>(),
                        static_cast<float>(4096 / (4096 - offset)));
    }
    ASSERT_EQ(results["white_balance"].size(), truth["illuminants"].size());
    for (std::size_t i = 0; i < truth["illuminants"].size(); ++i) {
        const json& found = results["white_balance"][i];
        const json& light = truth["illuminants"][i];
        SCOPED_TRACE(light["illuminant_k"].dump());
        EXPECT_EQ(found["illuminant_k"], light["illuminant_k"]);
        for (const char* colour : {"red", "green", "blue"}) {
            const double expected = light["gain"][colour];
            EXPECT_NEAR(found["gain"][colour].get<double>(), expected, 0.005 * expected) << colour;
            EXPECT_EQ(found["gain_q10"][colour].get<double>(), found["gain"][colour].get<double>() * 1024);
        }
    }
}

TEST(Calibrate, RecoversTheSimulatedSensor) {
    const std::vector<std::vector<std::string>> sensors = {
        {"--format", "raw"},
        {"--size", "1280x800", "--pattern", "GRBG", "--bits", "10", "--format", "pgm", "--seed", "3"},
        {"--size", "1025x771", "--pattern", "BGGR", "--bits", "14", "--format", "raw"},
        {"--size", "800x600", "--pattern", "GBRG", "--bits", "16", "--format", "pgm"},
        {"--size", "800x600", "--bits", "8", "--format", "both"},
    };
    for (const std::vector<std::string>& sensor : sensors) {
        SCOPED_TRACE(json(sensor).dump());
        const TemporaryFolder folder;
        std::vector<std::string> arguments = {"simulate", "s", "--series-levels", "0", "--dark-frames", "2"};
        arguments.insert(arguments.end(), sensor.begin(), sensor.end());
        const ProgramRun simulated = run_program(folder.path(), arguments);
        ASSERT_EQ(simulated.status, 0) << simulated.err;
        const ProgramRun calibrated = run_program(folder.path(), {"calibrate", "s/session.toml"});
        ASSERT_EQ(calibrated.status, 0) << calibrated.err;
        EXPECT_EQ(calibrated.err, "");
        expect_truth(folder.path() / "s");
    }
}

TEST(Verify, GreyCardBecomesGrey) {
    const TemporaryFolder folder;
    ASSERT_EQ(run_program(folder.path(), {"simulate", ".", "--size", "640x480", "--series-levels", "0"}).status, 0);
    ASSERT_EQ(run_program(folder.path(), {"calibrate", "session.toml"}).status, 0);
    const ProgramRun run =
        run_program(folder.path(), {"verify", "grey_2850K.raw", "--session", "session.toml", "--results",
                                    "results.json", "--illuminant", "2850", "--out", "out.pgm"});
    ASSERT_EQ(run.status, 0) << run.err;
    const host::Capture corrected = host::read_capture(folder / "out.pgm", {{}, {}, 3, {}, ""});
    EXPECT_EQ(corrected.bits, 12);
    double sum[2][2] = {};
    for (int y = 176; y < 304; ++y) {
        for (int x = 256; x < 384; ++x) {
            sum[y & 1][x & 1] += corrected.samples[static_cast<std::size_t>(y * 640 + x)];
        }
    }
    EXPECT_GT(sum[0][1], 64 * 64 * 1000.0);
    EXPECT_NEAR(sum[0][0] / sum[0][1], 1, 0.006);
    EXPECT_NEAR(sum[1][1] / sum[1][0], 1, 0.006);

    // The black-level stage alone: what a dark frame keeps is noise around 0.
    ASSERT_EQ(run_program(folder.path(), {"verify", "dark_1.pgm", "--pattern", "RGGB", "--results", "results.json",
                                          "--stage", "black-level", "--out", "dark0.raw"})
                  .status,
              0);
    const host::Capture dark = host::read_capture(folder / "dark0.raw", {640, 480, 3, 12, ""});
    EXPECT_LT(*std::ranges::max_element(dark.samples), 25U);
    EXPECT_GT(std::ranges::count(dark.samples, 0U), 640 * 480 * 4 / 10);
}

TEST(BlackLevel, SeveralFramesAndBlocks) {
    const TemporaryFolder folder;
    const auto flat_frame = [](uint16_t code) { return std::vector<uint16_t>(32 * 32, code); };
    host::write_raw(folder / "a.raw", flat_frame(60));
    host::write_raw(folder / "b.raw", flat_frame(71));
    const ProgramRun run = run_program(folder.path(), {"blc", "a.raw", "b.raw", "--size", "32x32", "--pattern", "RGGB",
                                                       "--bits", "12", "--blocks", "4", "--results", "r.json"});
    ASSERT_EQ(run.status, 0) << run.err;
    const json black_level = read_json(folder / "r.json")["black_level"];
    EXPECT_EQ(black_level["offset_codes"]["gr"], 66);  // 65.5, rounded
    EXPECT_EQ(black_level["frames"][1]["block_offset_codes"]["bb"], (std::vector<int>{71, 71, 71, 71}));
}

TEST(RealCaptures, DarkFrame) {
    const auto folder = real_captures();
    if (!folder) {
        GTEST_SKIP() << "CALI_TEST_DATA does not name the folder of real captures";
    }
    const TemporaryFolder outputs;
    const std::filesystem::path file = *folder / "dark_1920x1080_12bits_BGGR.raw";
    const ProgramRun run =
        run_program(outputs.path(), {"blc", file.string(), "--size", "1920x1080", "--pattern", "BGGR", "--bits", "12"});
    ASSERT_EQ(run.status, 0) << run.err;
    const json frame = read_json(outputs / "results.json")["black_level"]["frames"][0];

    const host::Capture dark = host::read_capture(file, {1920, 1080, 0, 12, ""});
    for (std::size_t position = 0; position < 4; ++position) {
        const char* channel = std::array{"bb", "gb", "gr", "rr"}[position];
        SCOPED_TRACE(channel);
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
        EXPECT_LE(std::abs(frame["median"]["offset_codes"][channel].get<double>() - mean), 1.1);
        EXPECT_EQ(frame["mean"]["offset_codes"][channel], std::floor(mean + 0.5));
        EXPECT_EQ(frame["mean_deviation"]["offset_codes"][channel], std::floor(mean + 0.1 * deviation + 0.5));
    }
}

}  // namespace
}  // namespace cali::test
