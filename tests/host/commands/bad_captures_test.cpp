// What a factory line sees: bad captures end with a status and a finding that names the cause, good ones with neither.

#include "support/program.h"

namespace cali::test {
namespace {

struct BadCapture {
    const char* fault;
    const char* part;  ///< of cali calibrate --only
    const char* code;  ///< of the finding that names the cause
    const char* severity = "fail";
};

/// Each fault alone, behind the values of good captures of the same sensor.
TEST(BadCaptures, EndWithTheFindingThatNamesTheCause) {
    const TemporaryFolder folder;
    const std::string sensor = "--size 640x480 --format raw --dark-frames 2 --illuminants 5000 --series-levels 4 ";
    run_line(folder.path(), "simulate good " + sensor);
    run_line(folder.path(), "calibrate good/session.toml --strict");
    const BadCapture cases[] = {
        {"saturated-dark", "blc", "dark_full_scale"},
        {"light-leak", "blc", "dark_blocks"},
        {"defects", "blc", "dark_defects"},
        {"dark-drift", "blc", "dark_frames"},
        {"column", "blc", "dark_lines", "warn"},
        {"smear", "lsc", "flat_dust"},
        {"tilt", "lsc", "flat_tilt"},
        {"dust", "lsc", "flat_dust"},
        {"flat-clipping", "lsc", "flat_clipped"},
        {"grey-clipping", "awb", "grey_clipped"},
        {"grey-on-chart", "awb", "grey_uniformity"},
        {"chart-shift", "ccm", "chart_orientation"},
        {"chart-shift=5", "ccm", "chart_window_noise"},
        {"chart-mirrored", "ccm", "chart_orientation"},
        {"wrong-light=2850", "ccm", "chart_neutral"},
        {"chart-clipping", "ccm", "chart_clipped"},
        {"flicker", "noise", "noise_flicker"},
        {"series-clipping", "noise", "noise_clipped"},
    };
    for (const BadCapture& bad : cases) {
        SCOPED_TRACE(bad.fault);
        run_line(folder.path(), "simulate bad --overwrite --seed 2 " + sensor + "--fault " + bad.fault);
        write_text(folder / "bad/results.json", read_text(folder / "good/results.json"));
        const ProgramRun run =
            run_program(folder.path(), {"calibrate", "bad/session.toml", "--strict", "--only", bad.part});
        const bool fails = bad.severity == std::string("fail");
        EXPECT_EQ(run.status, fails ? 1 : 3) << run.err;
        bool named = false;
        const nlohmann::json results = read_json(folder / "bad/results.json");
        for (const auto& finding : results["findings"]) {
            named = named || (finding["code"] == bad.code && finding["severity"] == bad.severity);
        }
        EXPECT_TRUE(named) << run.err;
        EXPECT_NE(run.err.find(std::string(bad.severity) + ": "), std::string::npos) << run.err;
        EXPECT_NE(run.out.find(fails ? "verdict: fail" : "verdict: warn"), std::string::npos) << run.out;
    }
}

TEST(BadCaptures, OfAnotherLightThanTheValues) {
    const TemporaryFolder& session = simulated_session();
    const TemporaryFolder folder;
    const std::string geometry = " --session " + (session / "session.toml").string();
    run_line(folder.path(),
             "awb " + (session / "grey_6500K.raw").string() + geometry + " --black-level 64 --force --illuminant 6500");
    const ProgramRun run = run_program(
        folder.path(), words("ccm " + (session / "chart_2850K.raw").string() + geometry + " --black-level 64"));
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("chart_neutral"), std::string::npos) << run.err;
}

TEST(RealCaptures, EndWithTheVerdictsOfTheDocs) {
    const auto data = real_captures();
    if (!data) {
        GTEST_SKIP() << "CALI_TEST_DATA does not name the folder of real captures";
    }
    const TemporaryFolder folder;
    const std::string dark = (*data / "dark_1920x1080_12bits_BGGR.raw").string();
    const std::string scene = (*data / "scene_768x512_14bits_RGGB.raw").string();
    const ProgramRun warned =
        run_program(folder.path(), words("blc " + dark + " --size 1920x1080 --pattern BGGR --bits 12 --strict"));
    EXPECT_EQ(warned.status, 3) << warned.err;
    for (const char* const code : {"dark_zero", "dark_defects", "dark_lines"}) {
        EXPECT_NE(warned.err.find(std::string("warn: dark_1920x1080_12bits_BGGR.raw: ") + code), std::string::npos)
            << warned.err;
    }
    const std::string geometry = " --size 768x512 --pattern RGGB --bits 14 --new --results s.json";
    for (const std::string& line :
         {"blc " + scene + geometry, "lsc " + scene + geometry + " --black-level 600",
          "awb " + scene + geometry + " --black-level 600", "ccm " + scene + geometry + " --black-level 600"}) {
        EXPECT_EQ(run_program(folder.path(), words(line)).status, 1) << line;
    }
}

}  // namespace
}  // namespace cali::test
