// Colour as a user runs it: the simulated sensor's charts, and a real one.

#include <algorithm>
#include <cmath>
#include <fstream>
#include <sstream>

#include "math/colour_difference.h"
#include "math/colour_space.h"
#include "support/program.h"

namespace cali::test {
namespace {

using nlohmann::json;

double mean_of(const json& result, const char* metric) { return result["difference_after"][metric]["mean"]; }

class ColourChart : public ::testing::Test {
protected:
    /// The chart through `cali ccm` with the values of the whole chain.
    json matrix(const std::string& more) const {
        run_line(folder_.path(), "ccm " + chart_ + " --session " + (session_ / "session.toml").string() +
                                     " --illuminant 5000 --new --results ccm.json --values " + values_ + " " + more);
        return read_json(folder_ / "ccm.json")["colour_matrix"][0];
    }

    const TemporaryFolder& session_ = simulated_session();
    TemporaryFolder folder_;
    std::string chart_ = (session_ / "chart_5000K.raw").string();
    std::string values_ = (session_ / "results.json").string();
};

TEST_F(ColourChart, MatricesRecoverTheReference) {
    const json results = read_json(values_);
    for (const json& result : results["colour_matrix"]) {
        SCOPED_TRACE(result["file"]);
        EXPECT_GT(result["difference_before"]["de_2000"]["mean"], 4.0);
        EXPECT_LT(mean_of(result, "de_2000"), 2.0);
        EXPECT_NEAR(result["exposure"].get<double>(), 1 / 0.9, 0.02);  // a perfect white stands at 0.9
        // What is reported follows from the patches that are reported.
        const auto measured = result["patches"]["measured"].get<std::vector<Colour>>();
        const auto corrected = result["patches"]["corrected"].get<std::vector<Colour>>();
        const auto m = result["matrix"].get<std::array<Colour, 3>>();
        int limited = 0;
        for (std::size_t i = 0; i < measured.size(); ++i) {
            for (std::size_t r = 0; r < 3; ++r) {
                const double value = m[r][0] * measured[i][0] + m[r][1] * measured[i][1] + m[r][2] * measured[i][2];
                limited += value < 0 || value > 1 ? 1 : 0;
                EXPECT_NEAR(corrected[i][r], std::clamp(value, 0.0, 1.0), 1e-12) << i;
            }
        }
        EXPECT_EQ(result["patches"]["limited_components"], limited);
        const auto reference = result["patches"]["reference"].get<std::vector<Colour>>();
        std::vector<double> de2000;
        for (std::size_t i = 0; i < reference.size(); ++i) {
            const auto lab = [](const Colour& c) { return lab_of_linear_rgb(c, white_point(65)); };
            de2000.push_back(delta_e_2000(lab(corrected[i]), lab(reference[i])));
        }
        const json& after = result["difference_after"]["de_2000"];
        EXPECT_EQ(after["per_patch"].get<std::vector<double>>(), de2000);
        EXPECT_EQ(after["worst"].get<double>(), *std::ranges::max_element(de2000));
        EXPECT_EQ(after["worst_patch"].get<std::ptrdiff_t>(), std::ranges::max_element(de2000) - de2000.begin() + 1);
    }
}

TEST_F(ColourChart, MethodsAndOptionsTakeEffect) {
    const json results = read_json(values_);
    const json lsq = matrix("");
    EXPECT_EQ(lsq["matrix"], results["colour_matrix"][1]["matrix"]);  // the chain's, by the same light
    const json optimised = matrix("--method optimised --picture p.png");
    const json joint = matrix("--method joint");
    const json d50 = matrix("--method optimised --white D50");
    const json vivid = matrix("--method optimised --saturation 1.5");
    for (const json& result : {optimised, joint, d50}) {
        EXPECT_LT(mean_of(result, "de_2000"), 2.0) << result["method"];
    }
    EXPECT_LE(mean_of(optimised, "de_ab_1976"), mean_of(lsq, "de_ab_1976"));
    EXPECT_NE(optimised["matrix"], d50["matrix"]);
    EXPECT_EQ(d50["white_point"], "D50");
    EXPECT_GT(vivid["matrix"][0][0].get<double>(), optimised["matrix"][0][0].get<double>() + 0.2);
    EXPECT_EQ(vivid["saturation"], 1.5);
    EXPECT_EQ(read_text(folder_ / "p.png").substr(1, 3), "PNG");
    run_line(folder_.path(), "lsc " + (session_ / "flat_5000K.raw").string() + " --session " +
                                 (session_ / "session.toml").string() +
                                 " --black-level 64 --grid 17x40 --illuminant 5000 --results tall.json");
    expect_errors(folder_, {{"ccm " + chart_ + " --session " + (session_ / "session.toml").string() +
                                 " --method optimised --illuminant 5000 --results tall.json",
                             "a mesh of 17 x 40 nodes, the optimised method takes at most 37 x 37"}});
    // The joint method's gains come from the chart, the others' from the grey card.
    EXPECT_NE(joint["gain_q10"], lsq["gain_q10"]);
    EXPECT_NEAR(joint["gain_q10"]["red"].get<double>() / lsq["gain_q10"]["red"].get<double>(), 1, 0.01);

    // Values from several files together are those of one; a missing black level is said.
    json parts = results;
    parts.erase("white_balance");
    write_text(folder_ / "parts.json", parts.dump());
    parts = results;
    parts.erase("black_level");
    parts.erase("lens_shading");
    write_text(folder_ / "white.json", parts.dump());
    values_ = "white.json parts.json";
    EXPECT_EQ(matrix("")["matrix"], lsq["matrix"]);
    const ProgramRun without =
        run_program(folder_.path(), words("ccm " + chart_ + " --session " + (session_ / "session.toml").string() +
                                          " --illuminant 5000 --values white.json"));
    EXPECT_NE(without.err.find("no black level is known: none is subtracted"), std::string::npos);
}

TEST_F(ColourChart, CurveOverThreeLightsGoesThroughThem) {
    const json curve = read_json(values_)["white_balance_curve"];
    EXPECT_EQ(curve["reference_k"], 5000);
    const auto value = [&](const char* key) { return curve[key].get<double>(); };
    for (const json& light : curve["lights"]) {
        const double x = light["x"];
        EXPECT_NEAR(light["fitted_y"].get<double>(), light["y"].get<double>(), 0.02);
        EXPECT_NEAR(light["fitted_y"].get<double>(), value("a") * x * x + value("b") * x + value("c"), 1e-6);
    }
    EXPECT_EQ(curve["lights"][1]["x"], 1.0);  // gains over those of the reference
    EXPECT_EQ(curve["lights"][1]["y"], 1.0);
    ASSERT_EQ(curve["table"].size(), 200U);
    EXPECT_NEAR(curve["table"][100].get<double>(), value("a") + value("b") + value("c"), 1e-4);
    run_line(folder_.path(), "awb-curve " + values_ + " --results curve.json");
    EXPECT_EQ(read_json(folder_ / "curve.json")["white_balance_curve"]["table"], curve["table"]);
}

/// The patches of the real chart: window and measured XYZ, relative to a neutral white of 1.
struct RealPatches {
    std::string windows;
    std::vector<Colour> xyz;
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
                                          "--results", "awb.json", "--force"})
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
        const ProgramRun run = run_program(folder.path(), {"ccm", chart, "--session", "s.toml", "--results", "awb.json",
                                                           "--force", "--method", method});
        ASSERT_EQ(run.status, 0) << run.err;
        const json result = read_json(folder / "awb.json")["colour_matrix"][0];
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
