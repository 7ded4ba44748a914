// Colour as a user runs it: the simulated sensor's charts, and a real one.

#include <algorithm>
#include <cmath>
#include <fstream>
#include <map>
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
    const json results = read_json(session_ / "results.json");
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
    const json results = read_json(session_ / "results.json");
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
    const json curve = read_json(session_ / "results.json")["white_balance_curve"];
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

/// The windows of the real chart, and what was measured on it as a reference: relative to a light of equal energy, with
/// a scale that makes its white the built-in one.
std::string read_patches(const std::filesystem::path& file, std::string& reference) {
    std::string windows;
    reference = "# white E, observer 2, scale 1.168\npatch,X,Y,Z\n";
    std::ifstream stream(file);
    std::string line;
    std::getline(stream, line);
    while (std::getline(stream, line)) {
        std::vector<std::string> fields;
        std::istringstream text(line);
        for (std::string field; std::getline(text, field, ',');) {
            fields.push_back(field);
        }
        windows += "[" + fields[2] + ", " + fields[3] + ", " + fields[4] + ", " + fields[5] + "],";
        reference += fields[0] + "," + fields[10] + "," + fields[11] + "," + fields[12] + "\n";
    }
    return windows;
}

TEST(RealCaptures, ChartAgainstWhatWasMeasuredOnIt) {
    const auto data = real_captures();
    if (!data) {
        GTEST_SKIP() << "CALI_TEST_DATA does not name the folder of real captures";
    }
    std::string reference;
    const std::string windows = read_patches(*data / "chart24_patches.csv", reference);
    const TemporaryFolder folder;
    write_text(folder / "measured.csv", reference);
    write_text(folder / "s.toml",
               "[sensor]\nwidth = 408\nheight = 342\npattern = \"GBRG\"\nbits = 12\n[colour_matrix]\nwindows = [" +
                   windows + "]\n");
    const std::string chart = (*data / "chart24_base_408x342_12bits_GBRG.raw").string();
    run_line(folder.path(), "awb " + chart + " --session s.toml --window 222 212 14 14 --results awb.json --force");
    const std::string ccm = "ccm " + chart + " --session s.toml --results awb.json --force --method ";
    std::map<std::string, double> leave_one_out;
    for (const char* method : {"lsq", "optimised", "joint", "measured"}) {
        SCOPED_TRACE(method);
        run_line(folder.path(), ccm + method + " --reference measured.csv");
        const json result = read_json(folder / "awb.json")["colour_matrix"][0];
        const auto mean = [&](const char* metric) { return mean_of(result, metric); };
        leave_one_out[method] = result["leave_one_out_de_2000"];
        std::printf("real chart, %s, against what was measured: dE*ab mean %.2f, dE2000 mean %.2f, left out %.2f\n",
                    method, mean("de_ab_1976"), mean("de_2000"), leave_one_out[method]);
        // Uneven light and six colours outside what three channels can do leave about 7 to any matrix.
        EXPECT_LT(mean("de_ab_1976"), 9);
        EXPECT_LT(mean("de_2000"), 7);
    }
    EXPECT_LT(leave_one_out["measured"], leave_one_out["lsq"]);
}

}  // namespace
}  // namespace cali::test
