// Results files grow step by step, as a user runs the steps.

#include <algorithm>
#include <thread>

#include "captures/raw_file.h"
#include "results/merge.h"
#include "support/program.h"

namespace cali::test {
namespace {

using nlohmann::json;

class Growth : public ::testing::Test {
protected:
    static constexpr std::size_t kSide = 64;

    void SetUp() override {
        host::write_raw(folder_ / "dark.raw", std::vector<uint16_t>(kSide * kSide, 64));
        host::write_raw(folder_ / "bright.raw", std::vector<uint16_t>(kSide * kSide, 70));
        host::write_raw(folder_ / "grey.raw", std::vector<uint16_t>(kSide * kSide, 1000));
        write_text(folder_ / "s.toml", "[sensor]\nwidth = 64\nheight = 64\npattern = \"RGGB\"\nbits = 12\n");
    }

    void run(const std::string& line) { run_line(folder_.path(), line + " --session s.toml"); }
    [[nodiscard]] json results() const { return read_json(folder_ / "results.json"); }
    [[nodiscard]] std::size_t findings_on(const std::string& calibration) const {
        const json all = results();
        return static_cast<std::size_t>(std::ranges::count_if(
            all["findings"], [&](const json& finding) { return finding["calibration"] == calibration; }));
    }

    TemporaryFolder folder_;
};

TEST_F(Growth, SectionsStayAndThoseOfTheSameLightAreReplaced) {
    run("blc dark.raw");
    run("awb grey.raw --illuminant 5000");
    run("awb grey.raw --illuminant 2850");
    const json before = results();
    const std::size_t findings = findings_on("white_balance");
    run("awb grey.raw --illuminant 5000 --window 0 0 32 32");
    const json after = results();
    EXPECT_EQ(after["black_level"], before["black_level"]);
    ASSERT_EQ(after["white_balance"].size(), 2U);
    EXPECT_EQ(after["white_balance"][0]["window"]["width"], 32);
    EXPECT_EQ(after["white_balance"][1], before["white_balance"][1]);
    EXPECT_EQ(findings_on("white_balance"), findings);
    run("awb grey.raw");  // of no stated light: by its capture
    EXPECT_EQ(results()["white_balance"].size(), 3U);
    run("blc dark.raw --new");
    EXPECT_FALSE(results().contains("white_balance"));
    EXPECT_EQ(findings_on("white_balance"), 0U);
}

TEST_F(Growth, ValuesThatChangedMakeLaterSectionsStale) {
    const auto show = [&] { return run_program(folder_.path(), words("show results.json --strict")); };
    run("blc dark.raw");
    run("awb grey.raw --illuminant 5000");
    run("awb grey.raw --illuminant 2850 --black-level 64");
    run("blc dark.raw --method mean");  // the same values
    EXPECT_EQ(show().status, 0);
    run("blc bright.raw");
    const ProgramRun stale = show();
    EXPECT_EQ(stale.status, 3);
    EXPECT_NE(stale.err.find("cali: warn: white_balance: stale (5000 K): black_level has changed since: run it again"),
              std::string::npos)
        << stale.err;
    EXPECT_EQ(stale.err.find("2850 K"), std::string::npos) << stale.err;
    EXPECT_EQ(results()["calibrations"]["white_balance"], "warn");
    run("awb grey.raw --illuminant 5000");
    EXPECT_EQ(show().status, 0);
}

TEST_F(Growth, StepsAtOnceLoseNothing) {
    run("blc dark.raw");
    std::vector<std::thread> steps;
    constexpr int kSteps = 8;
    for (int i = 0; i < kSteps; ++i) {
        steps.emplace_back([this, i] { run("awb grey.raw --illuminant " + std::to_string(3000 + 500 * i)); });
    }
    std::ranges::for_each(steps, &std::thread::join);
    EXPECT_EQ(results()["white_balance"].size(), static_cast<std::size_t>(kSteps));
    EXPECT_TRUE(results().contains("black_level"));
}

TEST(Reproducibility, TheSameSessionGivesTheSameBytesInAnyFolder) {
    const TemporaryFolder one;
    const TemporaryFolder two;
    run_line(one.path(), "simulate . --size 256x192 --illuminants 5000 --series-levels 3 --format raw");
    std::filesystem::copy(one.path(), two / "deep", std::filesystem::copy_options::recursive);
    const std::string asked = " --registers --pictures --tables --force";
    run_line(one.path(), "calibrate session.toml" + asked);
    const std::string elsewhere =
        "calibrate " + (two / "deep/session.toml").string() + " --out " + (two / "out").string() + asked;
    expect_errors(one, {{"calibrate session.toml --log truth.json", "is also the truth truth.json"},
                        {"calibrate session.toml --log flat_5000K.raw", "is also the capture flat_5000K.raw"}});
    // What no earlier run made is not written over, whichever of the files it is.
    std::filesystem::create_directory(two / "out");
    const json outputs = read_json(one / "results.json")["outputs"];
    for (const json& output : outputs) {
        const std::string name = output["file"];
        write_text(two / "out" / name, "");
        expect_errors(two, {{elsewhere, name + ": is there already"}});
        std::filesystem::remove(two / "out" / name);
    }
    run_line("/", elsewhere);
    const std::string results = read_text(one / "results.json");
    // Not EXPECT_EQ: to show the difference of two such long texts takes all memory.
    EXPECT_TRUE(results == read_text(two / "out/results.json"));
    EXPECT_EQ(results.find("\"/"), std::string::npos);
    run_line("/", elsewhere + " --jobs 2");  // it begins afresh, whatever is there
    EXPECT_TRUE(results == read_text(two / "out/results.json"));
    // Part of it again adds nothing twice.
    run_line(one.path(), "calibrate session.toml --only lsc" + asked);
    const nlohmann::json again = read_json(one / "results.json");
    EXPECT_EQ(again["outputs"], json::parse(results)["outputs"]);
    EXPECT_EQ(again["lens_shading"].size(), 1U);
}

/// The last capture of a light gave nothing: what an earlier one gave is not applied any more.
TEST(Merge, ACaptureWithoutValuesRejectsItsLight) {
    host::Results results;
    for (const double kelvin : {5000.0, 6500.0}) {
        results.white_balance.emplace_back().taken.illuminant_k = kelvin;
    }
    host::Results step;
    step.findings = {
        {"not_computed", host::Severity::fail, {"white_balance", "g.raw", {5000}}, "", {}, "", {}, "dark"}};
    merge(results, step);
    EXPECT_EQ(results.white_balance[0].record.standing, host::Standing::rejected);
    EXPECT_EQ(results.white_balance[1].record.standing, host::Standing::passed);
}

}  // namespace
}  // namespace cali::test
