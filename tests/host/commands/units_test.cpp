// Many units: each on its own, all in one table.

#include <algorithm>
#include <sstream>

#include "base/text.h"
#include "support/program.h"

namespace cali::test {
namespace {

/// Cells of a table without quotes, by the first of each line.
std::vector<std::string> line_of(const std::string& csv, const std::string& unit) {
    std::istringstream lines(csv);
    for (std::string line; std::getline(lines, line);) {
        std::vector<std::string> cells;
        std::istringstream row(line);
        for (std::string cell; std::getline(row, cell, ',');) {
            cells.push_back(cell);
        }
        if (!cells.empty() && cells.front() == unit) {
            return cells;
        }
    }
    return {};
}

class CalibrateUnits : public ::testing::Test {
protected:
    static constexpr int kUnits = 9;

    void SetUp() override {
        for (int i = 1; i <= kUnits; ++i) {
            // The ninth is of another lens.
            run_line(folder_.path(),
                     host::text("simulate line/u%d --size 64x48 --format raw --illuminants 5000 --series-levels 0 "
                                "--dark-frames 1 --seed %d%s",
                                i, i, i == kUnits ? " --axis 4 3" : ""));
        }
        write_text(folder_ / "line/u2/flat_5000K.raw", "short");
        write_text(folder_ / "line/all.txt", "# the line\nu1\nu2/session.toml\nu3\n\nu4\nu5\nu6\nu7\nu8\nu9\n");
    }

    [[nodiscard]] ProgramRun run(const std::string& line) const { return run_program(folder_.path(), words(line)); }
    [[nodiscard]] std::string summary(const std::string& folder) const {
        return read_text(folder_ / (folder + "/summary.csv"));
    }

    const TemporaryFolder folder_;
};

TEST_F(CalibrateUnits, AreCalibratedEachForItselfAndPassedOverWhereNothingChanged) {
    const ProgramRun first = run("calibrate --list line/all.txt --out one --jobs 2 --only blc,lsc");
    EXPECT_EQ(first.status, 1) << first.err;
    EXPECT_NE(first.out.find("\nu2: not calibrated: flat_5000K.raw: "), std::string::npos) << first.out;
    EXPECT_NE(first.out.find("\n9 units: "), std::string::npos) << first.out;
    const std::string csv = summary("one");
    EXPECT_NE(line_of(csv, "u9").at(2).find("lens_shading.5000 K.before_corner_to_centre z -"), std::string::npos)
        << csv;
    EXPECT_EQ(line_of(csv, "u3").at(2).find("corner"), std::string::npos);
    EXPECT_EQ(line_of(csv, "u2").at(1), "fail");
    EXPECT_EQ(read_text(folder_ / "one/units.txt").find("u2/"), std::string::npos);
    EXPECT_EQ(run("report --list one/units.txt --out page.html").status, 0);

    const auto written = [&](const std::string& unit) {
        return std::filesystem::last_write_time(folder_ / ("one/" + unit + "/results.json"));
    };
    const auto before = written("u3");
    std::string frame = read_text(folder_ / "line/u4/dark_1.raw");
    frame[100] = static_cast<char>(frame[100] ^ 1);
    write_text(folder_ / "line/u4/dark_1.raw", frame);
    const ProgramRun second = run("calibrate --list line/all.txt --out one --only blc,lsc");
    EXPECT_NE(second.out.find("u3: " + std::string(line_of(csv, "u3").at(1)) + " (unchanged)\n"), std::string::npos);
    EXPECT_EQ(second.out.find("u4: pass (unchanged)"), std::string::npos) << second.out;
    EXPECT_EQ(written("u3"), before);
    // Another question is another answer.
    EXPECT_EQ(run("calibrate --list line/all.txt --out one --only blc").out.find("unchanged"), std::string::npos);
    // A record that is damaged is none.
    write_text(folder_ / "one/u5/unit.json", "{}");
    EXPECT_EQ(run("calibrate line/u5 --out one --only blc").out.find("unchanged"), std::string::npos);
}

TEST_F(CalibrateUnits, InPartsGiveTheSameSummary) {
    (void)run("calibrate --list line/all.txt --out one --only blc,lsc");
    EXPECT_EQ(run("calibrate --list line/all.txt --out two --only blc,lsc --shard 2/2").status, 1);
    EXPECT_FALSE(std::filesystem::exists(folder_ / "two/summary.csv"));
    (void)run("calibrate --list line/all.txt --out two --only blc,lsc --shard 1/2");
    EXPECT_EQ(run("summary two").status, 1);
    EXPECT_EQ(summary("two"), summary("one"));
    EXPECT_EQ(read_text(folder_ / "two/u7/results.json"), read_text(folder_ / "one/u7/results.json"));
    expect_errors(folder_, {{"calibrate line/u1 line/u3", "--out: not given"},
                            {"calibrate line/u1 line/../line/u1 --out x", "a second unit named u1"},
                            {"calibrate line/u1 --out x --shard 3/2", "expected i/n with i from 1 to n"},
                            {"calibrate line/u1 --out x --report page.html", "--report"},
                            {"calibrate --list line/none.txt --out x", "no such list of units"},
                            {"calibrate --out x", "no session is given"},
                            {"summary line", "holds no units"}});
}

}  // namespace
}  // namespace cali::test
