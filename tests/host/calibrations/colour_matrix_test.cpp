// Colour as a user runs it: the simulated sensor's charts, and a real one.

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>

#include "captures/capture.h"
#include "math/colour_difference.h"
#include "math/colour_space.h"
#include "program.h"

namespace cali::test {
namespace {

using nlohmann::json;

class ColourChart : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(
            run({"simulate", ".", "--size", "960x640", "--series-levels", "0", "--illuminants", "2850", "5000", "6500"})
                .status,
            0);
    }

    ProgramRun run(const std::vector<std::string>& arguments) const { return run_program(folder_.path(), arguments); }

    /// The chart through `cali ccm` with the values of the whole chain.
    json matrix(const std::vector<std::string>& more) const {
        std::vector<std::string> arguments = {"ccm",      "chart_5000K.raw", "--session",    "session.toml",
                                              "--values", "results.json",    "--illuminant", "5000"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        const ProgramRun result = run(arguments);
        EXPECT_EQ(result.status, 0) << result.err;
        return read_json(folder_ / "ccm.json")["colour_matrix"][0];
    }

    TemporaryFolder folder_;
};

double mean_of(const json& result, const char* metric) { return result["difference_after"][metric]["mean"]; }

TEST_F(ColourChart, MatricesRecoverTheReference) {
    const ProgramRun chain = run({"calibrate", "session.toml", "--pictures"});
    ASSERT_EQ(chain.status, 0) << chain.err;
    const json results = read_json(folder_ / "results.json");
    ASSERT_EQ(results["colour_matrix"].size(), 3U);
    for (const json& result : results["colour_matrix"]) {
        SCOPED_TRACE(result["file"]);
        EXPECT_GT(result["difference_before"]["de_2000"]["mean"], 4.0);
        EXPECT_LT(mean_of(result, "de_2000"), 2.0);
        EXPECT_NEAR(result["exposure"].get<double>(), 1 / 0.9, 0.02);  // a perfect white stands at 0.9
        for (const json& row : result["matrix_q10"]) {
            EXPECT_EQ(row[0].get<int>() + row[1].get<int>() + row[2].get<int>(), 1024);
        }
    }
    EXPECT_EQ(read_text(folder_ / "chart_2850K_patches.png").substr(1, 3), "PNG");

    const json lsq = matrix({});
    const json optimised = matrix({"--method", "optimised", "--picture", "p.png"});
    const json joint = matrix({"--method", "joint"});
    const json d50 = matrix({"--method", "optimised", "--white", "D50"});
    for (const json& result : {optimised, joint, d50}) {
        EXPECT_LT(mean_of(result, "de_2000"), 2.0) << result["method"];
    }
    EXPECT_LE(mean_of(optimised, "de_ab_1976"), mean_of(lsq, "de_ab_1976"));
    EXPECT_NE(optimised["matrix"], d50["matrix"]);
    // Values from several files together are those of one.
    ASSERT_EQ(run({"awb", "grey_5000K.raw", "--session", "session.toml", "--black-level", "results.json",
                   "--lens-shading", "results.json", "--illuminant", "5000", "--results", "awb.json"})
                  .status,
              0);
    json parts = results;
    parts.erase("white_balance");
    write_text(folder_ / "parts.json", parts.dump());
    const ProgramRun together = run({"ccm", "chart_5000K.raw", "--session", "session.toml", "--illuminant", "5000",
                                     "--values", "awb.json", "parts.json"});
    EXPECT_EQ(together.status, 0);
    EXPECT_EQ(together.err, "");
    EXPECT_EQ(read_json(folder_ / "ccm.json")["colour_matrix"][0]["matrix"], lsq["matrix"]);
    // The joint method's gains come from the chart, the others' from the grey card.
    EXPECT_NE(joint["gain_q10"], lsq["gain_q10"]);
    EXPECT_NEAR(joint["gain_q10"]["red"].get<double>() / lsq["gain_q10"]["red"].get<double>(), 1, 0.01);
    EXPECT_FALSE(read_text(folder_ / "p.png").empty());

    // Three lights lie on a parabola, at the reference light x = y = 1.
    const json& curve = results["white_balance_curve"];
    EXPECT_EQ(curve["reference_k"], 5000);
    for (const json& light : curve["lights"]) {
        EXPECT_NEAR(light["fitted_y"].get<double>(), light["y"].get<double>(), 0.02);
    }
    ASSERT_EQ(curve["table"].size(), 200U);
    EXPECT_NEAR(curve["table"][100].get<double>(), 1, 0.02);
    ASSERT_EQ(run({"awb-curve", "results.json", "--results", "curve.json"}).status, 0);
    EXPECT_EQ(read_json(folder_ / "curve.json")["white_balance_curve"], curve);
}

TEST_F(ColourChart, ThatIsUnusableIsNamed) {
    const host::Capture chart = host::read_capture(folder_ / "chart_5000K.pgm", {{}, {}, 3, {}, ""});
    const auto expect_refusal = [&](auto&& change, const std::string& why) {
        std::vector<uint16_t> samples(chart.samples.size());
        for (int y = 0; y < chart.height; ++y) {
            for (int x = 0; x < chart.width; ++x) {
                samples[static_cast<std::size_t>(y * chart.width + x)] =
                    static_cast<uint16_t>(std::min(change(x, y), 4095U));
            }
        }
        host::write_pgm(folder_ / "changed.pgm", chart.width, chart.height, 12, samples);
        const ProgramRun result =
            run({"ccm", "changed.pgm", "--pattern", "RGGB", "--method", "joint", "--results", "changed.json"});
        EXPECT_EQ(result.status, 1) << why;
        EXPECT_NE(result.err.find("changed.pgm: " + why), std::string::npos) << result.err;
        EXPECT_EQ(read_text(folder_ / "changed.json"), "");
    };
    const auto sample = [&](int x, int y) { return chart.samples[static_cast<std::size_t>(y * chart.width + x)]; };
    // Turned by whole cells, so that the colours of the mosaic stay in place.
    expect_refusal([&](int x, int y) { return sample(958 - (x & ~1) + (x & 1), 638 - (y & ~1) + (y & 1)); },
                   "the chart is turned by half a turn (upside down)");
    expect_refusal([&](int x, int y) { return sample(958 - (x & ~1) + (x & 1), y); },
                   "the chart is mirrored left to right");
    expect_refusal([&](int x, int y) { return sample(x, y) * 4; }, "20.8 % of the chart's samples are clipped");
    expect_refusal([&](int x, int y) { return 1000U + static_cast<uint32_t>(x * 31 + y * 17) % 200; },
                   "shows no 24-patch chart in its windows");
    expect_refusal([&](int x, int y) { return sample(x, y) / 40; }, "too dark: the brightest patch stands ");
}

TEST_F(ColourChart, OptionsAreChecked) {
    write_text(folder_ / "windows.toml", "[colour_matrix]\nwindows = [[0, 0, 4]]\n");
    write_text(folder_ / "saturation.toml", "[colour_matrix]\nsaturation = nan\n");
    write_text(folder_ / "corners.toml",
               "[sensor]\nwidth = 960\nheight = 640\npattern = \"RGGB\"\nbits = 12\n"
               "[colour_matrix]\ncorners = [[0, 0], [2000, 0], [2000, 600], [0, 600]]\n");
    write_text(folder_ / "two.json",
               R"({"schema": 1, "white_balance": [)"
               R"({"file": "a", "illuminant_k": 3000, "gain_q10": {"red": 1100, "green": 1024, "blue": 1100}},)"
               R"({"file": "b", "illuminant_k": 6000, "gain_q10": {"red": 1200, "green": 1024, "blue": 1000}}]})");
    const std::pair<std::vector<std::string>, const char*> cases[] = {
        {{"ccm", "chart_5000K.pgm", "--session", "windows.toml"},
         "windows.toml: colour_matrix: windows is something else, expected 24 lists of [x, y, width, height]"},
        {{"ccm", "chart_5000K.raw", "--session", "corners.toml"}, "inside the frame of 960 x 640"},
        {{"ccm", "chart_5000K.raw", "--session", "session.toml", "--method", "best"}, "--method is 'best'"},
        {{"ccm", "chart_5000K.raw", "--session", "session.toml", "--white", "D55"}, "--white is 'D55'"},
        {{"ccm", "chart_5000K.raw", "--session", "session.toml", "--corners", "0", "0", "9", "9", "9", "0", "0", "9"},
         "corners"},
        {{"ccm", "chart_5000K.raw", "--session", "session.toml", "--values", "two.json"},
         "holds white balance for 3000 K, 6000 K; choose one with --illuminant"},
        {{"ccm", "chart_5000K.raw", "--session", "session.toml", "--saturation", "nan"}, "nan not in range 0 to 4"},
        {{"ccm", "chart_5000K.raw", "--session", "saturation.toml"}, "saturation is nan, expected 0 to 4"},
        {{"awb-curve", "two.json"}, "two.json: white balance for 2 lights of known temperature, expected 3 to 7"},
    };
    for (const auto& [arguments, expected] : cases) {
        const ProgramRun result = run(arguments);
        EXPECT_EQ(result.status, 2) << expected;
        EXPECT_NE(result.err.find(expected), std::string::npos) << result.err;
        EXPECT_EQ(read_text(folder_ / "ccm.json"), "");
    }
}

/// The patches of the real chart: window and measured XYZ, relative to a neutral white of 1.
struct RealPatches {
    std::string windows;
    std::vector<Colour> xyz;
    std::string grey_window;
};

RealPatches read_patches(const std::filesystem::path& file) {
    RealPatches patches;
    std::ifstream stream(file);
    std::string line;
    std::getline(stream, line);
    while (std::getline(stream, line)) {
        std::vector<std::string> fields;
        std::istringstream text(line);
        for (std::string field; std::getline(text, field, ',');) {
            fields.push_back(field);
        }
        patches.windows += "[" + fields[2] + ", " + fields[3] + ", " + fields[4] + ", " + fields[5] + "],";
        patches.xyz.push_back({std::stod(fields[10]), std::stod(fields[11]), std::stod(fields[12])});
    }
    return patches;
}

TEST(RealCaptures, ChartThroughBothFits) {
    const auto data = real_captures();
    if (!data) {
        GTEST_SKIP() << "CALI_TEST_DATA does not name the folder of real captures";
    }
    const RealPatches patches = read_patches(*data / "chart24_patches.csv");
    const TemporaryFolder folder;
    write_text(folder / "s.toml",
               "[sensor]\nwidth = 408\nheight = 342\npattern = \"GBRG\"\nbits = 12\n[colour_matrix]\nwindows = [" +
                   patches.windows + "]\n");
    const std::string chart = (*data / "chart24_base_408x342_12bits_GBRG.raw").string();
    ASSERT_EQ(run_program(folder.path(), {"awb", chart, "--session", "s.toml", "--window", "222", "212", "14", "14",
                                          "--results", "awb.json"})
                  .status,
              0);
    // Both on one scale of brightness, by the greys between white and black.
    const auto greys = [](const auto& luminance) {
        double sum = 0;
        for (std::size_t i = 19; i < 23; ++i) {
            sum += luminance(i);
        }
        return sum;
    };
    for (const char* method : {"lsq", "optimised"}) {
        SCOPED_TRACE(method);
        const ProgramRun run = run_program(
            folder.path(), {"ccm", chart, "--session", "s.toml", "--values", "awb.json", "--method", method});
        ASSERT_EQ(run.status, 0) << run.err;
        const json result = read_json(folder / "ccm.json")["colour_matrix"][0];
        std::vector<Colour> corrected = result["patches"]["corrected"].get<std::vector<Colour>>();
        const auto y_of = [](const Colour& rgb) { return 0.2126729 * rgb[0] + 0.7151522 * rgb[1] + 0.072175 * rgb[2]; };
        const double scale = greys([&](std::size_t i) { return y_of(corrected[i]); }) /
                             greys([&](std::size_t i) { return patches.xyz[i][1]; });
        std::vector<Colour> lab;
        std::vector<Colour> measured;
        for (std::size_t i = 0; i < 24; ++i) {
            lab.push_back(lab_of_linear_rgb(corrected[i], white_point(kD65)));
            const auto f = [&](std::size_t c) { return lab_f(patches.xyz[i][c] * scale); };
            measured.push_back({116 * f(1) - 16, 500 * (f(0) - f(1)), 200 * (f(1) - f(2))});
        }
        const cali::DifferenceSummary de76 = cali::summarise(lab, measured, cali::delta_e_1976);
        const cali::DifferenceSummary de2000 = cali::summarise(lab, measured, cali::delta_e_2000);
        std::printf("real chart, %s, against measured XYZ: dE*ab mean %.2f, worst %.2f; dE2000 mean %.2f, worst %.2f\n",
                    method, de76.mean, de76.worst, de2000.mean, de2000.worst);
        // Uneven light and six colours outside what three channels can do leave about 7 to any matrix.
        EXPECT_LT(de76.mean, 9);
        EXPECT_LT(de2000.mean, 7);
    }
}

}  // namespace
}  // namespace cali::test
