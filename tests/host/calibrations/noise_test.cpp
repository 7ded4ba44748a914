// Noise as a user runs it, held against the simulated sensor and against the exports on whole lists.

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>

#include "cali/cali.h"
#include "captures/capture.h"
#include "core/channel.h"
#include "program.h"

namespace cali::test {
namespace {

using nlohmann::json;

constexpr const char* kKeys[] = {"rr", "gr", "gb", "bb"};

class NoiseSeries : public ::testing::Test {
protected:
    ProgramRun run(const std::vector<std::string>& arguments) const { return run_program(folder_.path(), arguments); }

    void simulate(const std::vector<std::string>& more) const {
        std::vector<std::string> arguments = {"simulate", ".", "--illuminants", "5000", "--read-noise", "8"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        ASSERT_EQ(run(arguments).status, 0);
        ASSERT_EQ(run({"blc", "dark_1.raw", "dark_2.raw", "dark_3.raw", "--session", "session.toml", "--results",
                       "black.json"})
                      .status,
                  0);
    }

    ProgramRun noise(const std::vector<std::string>& more) const {
        std::vector<std::string> arguments = {"noise", "--session", "session.toml", "--black-level", "black.json"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return run(arguments);
    }

    TemporaryFolder folder_;
};

/// The centre of a capture as its own samples, black subtracted as the exports share it out.
std::vector<uint32_t> centre_of(const host::Capture& frame, const json& window, const json& black) {
    std::vector<uint32_t> samples;
    const int x0 = window["x"];
    const int y0 = window["y"];
    for (int y = y0; y < y0 + window["height"].get<int>(); ++y) {
        for (int x = x0; x < x0 + window["width"].get<int>(); ++x) {
            const auto code = static_cast<int>(frame.samples[static_cast<std::size_t>(y * frame.width + x)]);
            const Channel channel = bayer_channel(frame.pattern, static_cast<uint32_t>(y), static_cast<uint32_t>(x));
            const int level = black[channel == BB ? "bb" : channel == GB ? "gb" : "gr"];
            samples.push_back(static_cast<uint32_t>(std::max(code - level, 0)));
        }
    }
    return samples;
}

TEST_F(NoiseSeries, RecoversTheSimulatedSensor) {
    simulate({"--size", "1280x720", "--series-frames", "4", "--pattern", "GBRG", "--format", "raw"});
    const ProgramRun result = noise({"--plot", "noise.svg", "--progress"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_NE(result.err.find("32 of 32 frames, "), std::string::npos) << result.err;
    const json found = read_json(folder_ / "noise.json")["noise"];
    EXPECT_EQ(found["window"]["width"], 512);
    EXPECT_TRUE(found["warnings"].empty());
    for (const char* key : kKeys) {
        SCOPED_TRACE(key);
        EXPECT_NEAR(found["variance_line"][key]["slope"].get<double>(), 0.25, 0.0025);
        EXPECT_NEAR(std::sqrt(found["variance_line"][key]["intercept"].get<double>()), 8, 0.4);
        // A straight line through deviations is the poorer model of shot noise.
        EXPECT_LT(found["variance_line"][key]["relative_residual_rms"], 0.01);
        EXPECT_GT(found["deviation_line"][key]["relative_residual_rms"], 0.02);
    }

    // The same frames in one list through the export: the same bits. In double: the same but for the float sums.
    const json black = read_json(folder_ / "black.json")["black_level"]["offset_codes"];
    std::vector<std::vector<std::vector<uint32_t>>> series;
    std::vector<std::vector<uint32_t*>> pointers;
    for (int level = 1; level <= 8; ++level) {
        auto& frames = series.emplace_back();
        for (int k = 1; k <= 4; ++k) {
            const std::string name = "series_" + std::to_string(level) + "_" + std::to_string(k) + ".raw";
            frames.push_back(
                centre_of(host::read_capture(folder_ / name, {1280, 720, 1, 12, ""}), found["window"], black));
        }
        auto& frame_pointers = pointers.emplace_back();
        std::ranges::transform(frames, std::back_inserter(frame_pointers), [](auto& frame) { return frame.data(); });
        double sum = 0;
        double squares = 0;
        for (const auto& frame : frames) {
            for (std::size_t i = 0; i < frame.size(); i += i % 512 == 510 ? 514 : 2) {  // GB at the top left
                sum += frame[i];
                squares += static_cast<double>(frame[i]) * frame[i];
            }
        }
        constexpr double kCount = 4 * 256.0 * 256;
        const double deviation = std::sqrt((squares - sum * sum / kCount) / (kCount - 1));
        const json& entry = found["levels"][static_cast<std::size_t>(level - 1)];
        EXPECT_NEAR(entry["mean"]["gb"].get<double>(), sum / kCount, 2e-3 * sum / kCount);
        EXPECT_NEAR(entry["deviation"]["gb"].get<double>(), deviation, 5e-3 * deviation);
    }
    const LevelListOwner list(pointers);
    std::array<uint32_t, 8> bits{};
    ASSERT_EQ(cali_isp_np_float_calc(list.get(), 512, 512, 8, 4, 1, 0, 0, 0, 0, &bits[0], &bits[1], &bits[2], &bits[3],
                                     &bits[4], &bits[5], &bits[6], &bits[7]),
              0);
    for (std::size_t c = 0; c < 4; ++c) {
        const json& line = found["deviation_line"][kKeys[3 - c]];
        EXPECT_EQ(line["slope"].get<float>(), std::bit_cast<float>(bits[2 * c])) << kKeys[3 - c];
        EXPECT_EQ(line["intercept"].get<float>(), std::bit_cast<float>(bits[2 * c + 1])) << kKeys[3 - c];
    }

    const std::string plot = read_text(folder_ / "noise.svg");
    std::size_t points = 0;
    for (std::size_t at = plot.find("<circle"); at != std::string::npos; at = plot.find("<circle", at + 1)) {
        ++points;
    }
    EXPECT_EQ(points, 32U);
    // The whole frame is too much for single precision: said, and visibly wrong.
    const ProgramRun whole = noise({"--window", "0", "0", "1280", "720", "--results", "whole.json"});
    EXPECT_EQ(whole.status, 0);
    EXPECT_NE(whole.err.find("is too large for the single-precision sums"), std::string::npos) << whole.err;
}

TEST_F(NoiseSeries, IsFoundByFolderPatternAndSession) {
    simulate({"--size", "320x240", "--series-levels", "11", "--format", "raw"});
    ASSERT_EQ(noise({"--results", "session.json"}).status, 0);
    const json expected = read_json(folder_ / "session.json")["noise"];
    std::filesystem::create_directory(folder_ / "flat");
    std::string patterns;
    for (int level = 1; level <= 11; ++level) {
        const std::filesystem::path subfolder = folder_ / ("nested/level" + std::to_string(level));
        std::filesystem::create_directories(subfolder);
        for (const char* k : {"1", "2"}) {
            const std::string name = "series_" + std::to_string(level) + "_" + k + ".raw";
            std::filesystem::copy_file(folder_ / name, folder_ / ("flat/" + name));
            std::filesystem::copy_file(folder_ / name, subfolder / (std::string(k) + ".raw"));
        }
        patterns += "{ glob = \"flat/series_" + std::to_string(level) + "_?.raw\" }, ";
    }
    std::string session = read_text(folder_ / "session.toml");
    session = session.substr(0, session.find("series = [")) + "series = [" + patterns + "]\n";
    write_text(folder_ / "session.toml", session);
    ASSERT_EQ(noise({"flat", "--results", "flat.json"}).status, 0);
    ASSERT_EQ(noise({"nested", "--results", "nested.json"}).status, 0);
    ASSERT_EQ(noise({"--results", "glob.json"}).status, 0);
    for (const char* file : {"flat.json", "nested.json", "glob.json"}) {
        EXPECT_EQ(read_json(folder_ / file)["noise"]["variance_line"], expected["variance_line"]) << file;
    }
    const ProgramRun two = noise({"--level", "series_1_*.raw", "--level", "series_?0_*.raw", "--results", "two.json"});
    ASSERT_EQ(two.status, 0) << two.err;
    EXPECT_EQ(read_json(folder_ / "two.json")["noise"]["levels"].size(), 2U);
    EXPECT_EQ(read_json(folder_ / "two.json")["noise"]["levels"][1]["frames"], 2);
}

TEST_F(NoiseSeries, ThatIsUnusableIsNamed) {
    simulate({"--size", "320x240", "--series-levels", "4", "--format", "raw"});
    host::write_pgm(folder_ / "small.pgm", 32, 32, 12, std::vector<uint16_t>(32 * 32, 500));
    host::write_pgm(folder_ / "bright.pgm", 320, 240, 12, std::vector<uint16_t>(320 * 240, 4095));
    std::filesystem::create_directory(folder_ / "empty");
    const std::pair<std::vector<std::string>, const char*> cases[] = {
        {{"--level", "series_1_*.raw"}, "the noise series has 1 level, expected two or more"},
        {{"--level", "series_1_*.raw", "--level", "gone_*.raw"}, "gone_*.raw: matches no file"},
        {{"--level", "series_1_*.raw", "--level", "small.pgm"}, "small.pgm: 32 x 32 samples"},
        {{"empty"}, "empty: holds no captures"},
        {{"gone"}, "gone: no such folder"},
        {{"empty", "--level", "series_1_*.raw"}, "both a folder and --level"},
        {{"--window", "0", "0", "321", "240"}, "the window [0, 0, 321, 240], expected even numbers inside"},
        {{"--slope-format", "U4"}, "--slope-format is 'U4', expected a format such as U4.8"},
        {{"--level-format", "U20.12"}, "--level-format is 'U20.12', expected a format such as U4.8 of at most 31 bits"},
        {{"--level", "series_1_*.raw", "--level", "bright.pgm"},
         "level 2 (bright.pgm): 100.0 % of the samples are at full"},
        {{"--level", "series_1_*.raw", "--level", "dark_?.raw"}, "level 2 (dark_1.raw): "},
        {{"--level", "series_2_*.raw", "--level", "series_1_*.raw"}, "expected levels from dark to bright"},
    };
    for (const auto& [arguments, expected] : cases) {
        const ProgramRun result = noise(arguments);
        EXPECT_NE(result.status, 0) << expected;
        EXPECT_NE(result.err.find(expected), std::string::npos) << result.err;
        EXPECT_EQ(read_text(folder_ / "noise.json"), "") << expected;
    }
}

}  // namespace
}  // namespace cali::test
