// Results shown, compared and proved.

#include <algorithm>
#include <sstream>

#include "support/program.h"

namespace cali::test {
namespace {

using nlohmann::json;

TEST(Show, PrintsWhatCalibratePrinted) {
    const TemporaryFolder folder;
    const std::string session = (simulated_session() / "session.toml").string();
    const std::string printed =
        run_line(folder.path(), "calibrate " + session + " --out . --only blc,lsc,awb,ccm,noise");
    const std::string shown = run_line(folder.path(), "show results.json");
    std::istringstream lines(shown);
    std::size_t count = 0;
    std::size_t at = 0;
    for (std::string line; std::getline(lines, line); ++count) {
        const std::size_t found = printed.find(line + "\n", at);
        ASSERT_NE(found, std::string::npos) << line;
        at = found;
    }
    EXPECT_GT(count, 60U);

    json found = read_json(folder / "results.json");
    found["findings"].push_back({{"code", "dark_spread"},
                                 {"severity", "fail"},
                                 {"calibration", "black_level"},
                                 {"place", ""},
                                 {"unit", "codes"},
                                 {"message", "a fault of an earlier run"}});
    write_text(folder / "found.json", found.dump());
    const ProgramRun run = run_program(folder.path(), {"show", "found.json"});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("a fault of an earlier run"), std::string::npos) << run.err;
}

TEST(Diff, EveryFigureAndTableIsHeldAgainstItsLimit) {
    const TemporaryFolder folder;
    const json golden = read_json(simulated_session() / "results.json");
    write_text(folder / "golden.json", golden.dump());
    EXPECT_NE(run_line(folder.path(), "diff golden.json golden.json --strict").find("verdict: pass"),
              std::string::npos);
    const std::tuple<const char*, json, const char*> cases[] = {
        {"/black_level/0/offset_codes/gb", 80, "black_level: diff_offset is 15 codes (offset_gb), limit 8"},
        {"/lens_shading/1/mesh/gain_q9/green/7", 4000, "diff_mesh_largest"},
        {"/lens_shading/1/radial/gain_q9/blue/31", 4000, "diff_radial_largest"},
        {"/white_balance/0/gain_q10/blue", 3000, "diff_gain"},
        {"/white_balance_curve/table/100", 3.0, "diff_curve_largest"},
        {"/colour_matrix/2/matrix/1/2", 1.0, "(6500 K, matrix_23), limit 0.3"},
        {"/colour_matrix/0/difference_after/de_2000/mean", 9.0, "(2850 K, after_mean_de_2000)"},
        {"/noise/0/variance_line/gr/slope", 0.5, "(codes_per_electron_gr)"},
        {"/noise", nullptr, "noise stands in one of the files only"},
        {"/white_balance/1/illuminant_k", 4000, "white_balance of 4000 K stands in one of the files only"},
    };
    for (const auto& [pointer, value, expected] : cases) {
        json other = golden;
        if (value.is_null()) {
            other.erase(std::string(pointer).substr(1));
        } else {
            other[json::json_pointer(pointer)] = value;
        }
        write_text(folder / "other.json", other.dump());
        const ProgramRun run = run_program(folder.path(), {"diff", "golden.json", "other.json"});
        EXPECT_EQ(run.status, 1) << pointer;
        EXPECT_NE(run.err.find(expected), std::string::npos) << pointer << "\n" << run.err;
    }
    json other = golden;
    other["black_level"][0]["offset_codes"]["rr"] = 70;
    write_text(folder / "other.json", other.dump());
    write_text(folder / "line.toml", "[diff]\noffset = [10, 20]\n");
    EXPECT_EQ(run_program(folder.path(), words("diff golden.json other.json --strict")).status, 3);
    EXPECT_EQ(run_program(folder.path(), words("diff golden.json other.json --strict --limits line.toml")).status, 0);
}

TEST(Verify, ProvesCapturesWithNumbers) {
    const TemporaryFolder& session = simulated_session();
    const TemporaryFolder folder;
    const std::string values =
        " --session " + (session / "session.toml").string() + " --results " + (session / "results.json").string();
    const auto proved = [&](const std::string& capture, const std::string& more) {
        return run_program(folder.path(), words("verify " + (session / capture).string() + values + " --json" + more));
    };
    const auto figure = [](const ProgramRun& run, const std::string& name) {
        const json document = json::parse(run.out);
        for (const json& entry : document["sections"][0]["figures"]) {
            if (entry["name"] == name) {
                return entry["value"].get<double>();
            }
        }
        return -1.0;
    };
    const ProgramRun flat = proved("flat_5000K.raw", "");
    EXPECT_EQ(flat.status, 0) << flat.err;
    EXPECT_GT(figure(flat, "before_luminance_rms"), 10);
    EXPECT_LT(figure(flat, "after_mesh_luminance_rms"), 0.6);
    EXPECT_GT(figure(flat, "after_radial_luminance_rms"), figure(flat, "after_mesh_luminance_rms"));
    const ProgramRun grey = proved("grey_6500K.raw", "");
    EXPECT_NEAR(figure(grey, "red_over_green"), 1, 0.003);
    EXPECT_LT(figure(grey, "distance_from_neutral"), 0.2);
    const ProgramRun chart = proved("chart_2850K.raw", "");
    EXPECT_LT(figure(chart, "after_mean_de_2000"), 2);
    EXPECT_GT(figure(chart, "patch_15_de_2000"), 0);
    // Behind the values of another light: said, and failed.
    const ProgramRun other = proved("grey_6500K.raw", " --illuminant 2850");
    EXPECT_EQ(other.status, 1);
    EXPECT_NE(other.out.find("gains 1.3"), std::string::npos) << other.out;
    const json document = json::parse(other.out);
    EXPECT_EQ(document["verdict"], "fail");
    const bool named = std::ranges::any_of(document["findings"], [](const json& finding) {
        return finding["code"] == "grey_neutral" && finding["severity"] == "fail";
    });
    EXPECT_TRUE(named);
    // A chart is no grey card, whatever the session says.
    EXPECT_EQ(proved("chart_5000K.raw", " --as grey").status, 1);
}

/// One document, and nothing else on standard output; its verdict is that of the status.
TEST(Json, IsTheWholeRun) {
    const TemporaryFolder folder;
    const TemporaryFolder& session = simulated_session();
    const ProgramRun run = run_program(
        folder.path(), words("calibrate " + (session / "session.toml").string() + " --out . --json --only blc,lsc"));
    EXPECT_EQ(run.status, 0);
    const json document = json::parse(run.out);
    EXPECT_EQ(document["command"], "calibrate");
    EXPECT_EQ(document["written"], json::array({"./results.json"}));
    EXPECT_EQ(document["calibrations"].size(), 7U);
    EXPECT_EQ(document["findings"], read_json(folder / "results.json")["findings"]);
    EXPECT_EQ(document["sections"][0]["figures"][0]["name"], "mean_rr");
    const std::string dark = (session / "dark_1.raw").string() + " --session " + (session / "session.toml").string();
    EXPECT_EQ(json::parse(run_line(folder.path(), "blc " + dark + " --results -"))["verdict"], "pass");
}

}  // namespace
}  // namespace cali::test
