#include "support/program.h"

namespace cali::test {
namespace {

TEST(ChartCommand, CalibratesAsIfTheCornersFoundHadBeenGiven) {
    const TemporaryFolder folder;
    const std::string chart = (simulated_session() / "chart_5000K.raw").string() +
                              " --size 640x480 --pattern RGGB --bits 12 --black-level 64";
    const auto found = nlohmann::json::parse(run_line(folder.path(), "chart " + chart + " --json --picture c.png"));
    EXPECT_EQ(found.size(), 5U);
    EXPECT_TRUE(found["found"]);
    EXPECT_GT(found["confidence"], 0.9);
    EXPECT_EQ(found["reason"], "");
    EXPECT_EQ(read_text(folder / "c.png").substr(1, 3), "PNG");
    // The chart fills the frame.
    EXPECT_NEAR(found["corners"][0][0], 0, 4);
    EXPECT_NEAR(found["corners"][2][1], 480, 4);

    const std::string fit = "ccm " + chart + " --method joint --force --new --results ";
    run_line(folder.path(), fit + "found.json");
    std::string corners = " --corners";
    for (const auto& corner : found["corners"]) {
        for (const auto& coordinate : corner) {
            corners.append(" ").append(coordinate.dump());
        }
    }
    run_line(folder.path(), fit + "given.json" + corners);
    run_line(folder.path(), fit + "whole.json --fills-frame");
    const auto matrix = [&](const char* file) { return read_json(folder / file)["colour_matrix"][0]; };
    EXPECT_EQ(matrix("found.json")["windows"], found["windows"]);
    EXPECT_EQ(matrix("found.json")["windows_from"], "found");
    EXPECT_EQ(matrix("found.json")["matrix"], matrix("given.json")["matrix"]);
    EXPECT_EQ(matrix("given.json")["windows_from"], "corners");
    EXPECT_EQ(matrix("whole.json")["windows_from"], "fills_frame");
}

TEST(ChartCommand, SaysWhyNothingIsFoundAndWhatToDo) {
    const TemporaryFolder folder;
    const std::string flat =
        (simulated_session() / "flat_5000K.raw").string() + " --size 640x480 --pattern RGGB --bits 12";
    expect_errors(folder, {{"chart " + flat, "the chart is not found: no ", 1},
                           {"chart " + flat + " --black-level 5000", "--black-level is 5000, expected 0 to 4095"},
                           {"chart none.raw --size 640x480 --pattern RGGB", "none.raw"}});
    const ProgramRun run = run_program(folder.path(), words("chart " + flat + " --json"));
    EXPECT_EQ(run.status, 1);
    EXPECT_FALSE(nlohmann::json::parse(run.out)["found"]);
    const ProgramRun fit = run_program(folder.path(), words("ccm " + flat + " --method joint"));
    EXPECT_EQ(fit.status, 1);
    EXPECT_NE(fit.err.find("--fills-frame"), std::string::npos) << fit.err;
}

}  // namespace
}  // namespace cali::test
