// Captures that something is wrong with end with the finding that names it, good ones without.

#include "checks/check.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/error.h"
#include "base/text.h"
#include "checks/chart_checks.h"
#include "checks/curve_checks.h"
#include "checks/dark_checks.h"
#include "checks/flat_checks.h"
#include "checks/grey_checks.h"
#include "checks/noise_checks.h"
#include "checks/table_checks.h"
#include "simulation/shots.h"
#include "support/program.h"

namespace cali::test {
namespace {

using host::Check;
using host::Severity;
using host::ShotKind;

const host::Limits kLimits;

host::Judge judge() { return {kLimits, {"test", "capture", {}}}; }

const host::Finding* find(const std::vector<host::Finding>& findings, const std::string& code) {
    const auto found = std::ranges::find(findings, code, &host::Finding::code);
    return found == findings.end() ? nullptr : &*found;
}

/// Captures of one light in memory, judged behind the values of good ones.
class Simulated : public ::testing::Test {
protected:
    Simulated() {
        plan_.sensor.width = 640;
        plan_.sensor.height = 480;
        plan_.sensor.axis_x = 5;
        plan_.illuminants = {5000};
        plan_.dark_frames = 2;
        plan_.series_levels = 3;
        use(12, 3);
    }

    /// Values of good captures of such a sensor.
    void use(int bits, double read_noise) {
        plan_.sensor.bits = bits;
        plan_.sensor.read_noise = read_noise;
        plan_.sensor.round_pedestals();
        std::ranges::transform(plan_.sensor.pedestal, values_.black_level.offset.begin(),
                               [](double level) { return static_cast<uint32_t>(level); });
        values_.grids =
            grids_of(calibrate_flat_field(captures(ShotKind::flat, "")[0], values_.black_level, {}, output_));
        host::Capture grey = captures(ShotKind::grey, "")[0];
        values_.gains = measure_grey_card(grey, values_, host::default_window(grey.sensor), output_).gains;
    }

    std::vector<host::Capture> captures(ShotKind kind, const std::string& fault) {
        host::SimulationPlan plan = plan_;
        if (!fault.empty()) {
            plan.faults = {host::parse_fault(fault, "the test")};
        }
        std::vector<host::Capture> taken;
        plan_shots(plan, [&](const host::Shot& shot) {
            if (shot.kind == kind) {
                const host::SensorModel& sensor = plan.sensor;
                const std::vector<uint16_t> codes = take(shot, plan.faults, plan.seed);
                host::Capture& capture = taken.emplace_back();
                capture.sensor = {sensor.width, sensor.height, sensor.pattern, sensor.bits, {}};
                capture.samples = host::Samples(codes.size());
                std::ranges::transform(codes, capture.samples.begin(),
                                       [&](uint16_t code) { return host::to_library_scale(code, sensor.bits); });
            }
        });
        return taken;
    }

    std::vector<host::Finding> check(ShotKind kind, const std::string& fault) {
        host::Judge found = judge();
        std::vector<host::DarkMeasures> darks;
        std::vector<host::MeasuredLevel> levels;
        for (host::Capture& capture : captures(kind, fault)) {
            switch (kind) {
                case ShotKind::dark: darks.push_back(check_dark(capture, Histogram(capture.view()), found)); break;
                case ShotKind::flat: check_flat(capture, values_.black_level, found); break;
                case ShotKind::grey: check_grey(capture, values_, host::default_window(capture.sensor), found); break;
                case ShotKind::chart: check_whole_chart(capture, found); break;
                case ShotKind::series:
                    if (levels.empty() || levels.back().frames.size() == 2) {
                        levels.push_back({"level " + std::to_string(levels.size() + 1), {}});
                    }
                    levels.back().frames.push_back(
                        measure_series_frame(capture, {192, 112, 256, 256}, values_.black_level));
                    break;
            }
        }
        check_dark_frames(darks, found);
        check_series(levels, {640, 480, 3, 12, {}}, values_.black_level, found);
        return found.take();
    }

    void check_whole_chart(host::Capture& chart, host::Judge& found) {
        check_chart(chart, values_, chart_windows({}, chart), found);
        try {
            check_matrix(calibrate_matrix(chart, values_, {}, output_), {}, found);
        } catch (const host::CalibrationError&) {
            EXPECT_EQ(found.worst(), Severity::fail);  // what stops the fit is found before it
        }
    }

    host::SimulationPlan plan_;
    host::TuningValues values_;
    host::LibraryOutput output_;
};

TEST_F(Simulated, FaultsAreFoundAndNamed) {
    struct Case {
        ShotKind kind;
        const char* fault;
        const char* code;
        Severity severity;
        const char* place = "";  ///< part of it
    };
    using enum ShotKind;
    const Case cases[] = {
        {dark, "light-leak=5", "dark_blocks", Severity::warn},
        {dark, "light-leak", "dark_blocks", Severity::fail},
        {dark, "light-leak=20", "dark_light", Severity::warn},
        {dark, "saturated-dark=0.5", "dark_full_scale", Severity::warn},
        {dark, "saturated-dark", "dark_level", Severity::fail},
        {dark, "defects=500", "dark_defects", Severity::warn},
        {dark, "defects", "dark_defects", Severity::fail},
        {dark, "column=11", "dark_lines", Severity::warn, "column 213"},
        {dark, "dark-drift=2", "dark_frames", Severity::warn},
        {flat, "tilt", "flat_tilt", Severity::fail},
        {flat, "dust=5", "flat_dust", Severity::warn, "column 1"},
        {flat, "dust", "flat_dust", Severity::fail},
        {flat, "smear", "flat_dust", Severity::fail, "column 4"},
        {flat, "flat-clipping", "flat_clipped", Severity::fail},
        {flat, "flat-dim", "flat_level", Severity::fail},
        {flat, "flat-dim=0", "flat_dark", Severity::fail},
        {grey, "grey-clipping", "grey_clipped", Severity::fail},
        {grey, "grey-dim", "grey_level", Severity::warn},
        {grey, "grey-on-chart", "grey_uniformity", Severity::fail},
        {chart, "chart-clipping=2", "chart_clipped", Severity::fail, "patch 19"},
        {chart, "chart-dim", "chart_level", Severity::fail},
        {chart, "chart-dim=0.1", "chart_dark", Severity::pass, "patch 24"},
        {chart, "chart-shift=3", "chart_window_noise", Severity::fail},
        {chart, "chart-shift=16.7", "chart_orientation", Severity::fail},
        {chart, "wrong-light", "chart_neutral", Severity::fail, "blue"},
        {chart, "wrong-light", "chart_mean", Severity::fail},
        {chart, "shading-by-light", "chart_neutral", Severity::warn, "patch 20, blue"},
        {series, "flicker=0.3", "noise_flicker", Severity::warn},
        {series, "flicker", "noise_flicker", Severity::fail},
        {series, "series-clipping", "noise_clipped", Severity::fail, "level 3"},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(std::string(each.fault) + " " + each.code);
        const std::vector<host::Finding> findings = check(each.kind, each.fault);
        const host::Finding* const found = find(findings, each.code);
        ASSERT_NE(found, nullptr);
        EXPECT_EQ(found->severity, each.severity) << to_text(*found);
        EXPECT_NE(found->place.find(each.place), std::string::npos) << found->place;
    }
    EXPECT_EQ(find(check(chart, "chart-mirrored"), "chart_orientation")->message.substr(0, 35),
              "the chart is mirrored left to right");
}

TEST_F(Simulated, GoodCapturesHaveNone) {
    for (const auto& [bits, read_noise] : {std::pair(8, 12.0), std::pair(12, 20.0), std::pair(14, 1.0)}) {
        SCOPED_TRACE(bits);
        plan_.seed = static_cast<uint64_t>(bits);
        plan_.sensor.pattern = bits / 2 % 4;
        use(bits, read_noise);
        for (const ShotKind kind :
             {ShotKind::dark, ShotKind::flat, ShotKind::grey, ShotKind::chart, ShotKind::series}) {
            const std::vector<host::Finding> findings = check(kind, "");
            EXPECT_GE(findings.size(), 3U);
            for (const host::Finding& finding : findings) {
                EXPECT_EQ(finding.severity, Severity::pass) << to_text(finding);
            }
        }
    }
}

/// 64 x 64 samples of 12 bits without noise.
host::Capture even_frame(uint32_t code) { return {"even", {64, 64, 3, 12, {}}, host::Samples(4096, code), {}}; }

TEST(DarkChecks, TellDefectsLinesAndBlocksApart) {
    host::Capture dark = even_frame(100);
    const auto at = [&](int x, int y) -> uint32_t& { return dark.samples[static_cast<std::size_t>(y * 64 + x)]; };
    for (int y = 0; y < 64; ++y) {
        at(20, y) = 80;
    }
    at(40, 3) = 150;
    at(5, 8) = 0;
    at(7, 7) = 103;  // as far as rounding may take a sample
    host::Judge found = judge();
    const host::DarkMeasures measures = check_dark(dark, Histogram(dark.view()), found);
    EXPECT_EQ(measures.defects, 66U);
    EXPECT_DOUBLE_EQ(measures.defects_ppm, 66e6 / 4096);
    ASSERT_EQ(measures.worst_defects.size(), 2U);  // without the column's
    EXPECT_EQ(measures.worst_defects[0].column, 5);
    EXPECT_EQ(measures.worst_defects[0].row, 8);
    EXPECT_EQ(measures.worst_defects[0].channel, host::kGR);
    EXPECT_EQ(measures.worst_defects[1].code, 150U);
    ASSERT_EQ(measures.lines.size(), 1U);
    EXPECT_FALSE(measures.lines[0].is_row);
    EXPECT_EQ(measures.lines[0].position, 20);
    EXPECT_NEAR(measures.lines[0].offset, -20, 1e-9);
    EXPECT_NEAR(measures.level[host::kGR], 100, 1e-9);
    EXPECT_DOUBLE_EQ(measures.zero, 100.0 / 4096);

    // A row is told by its good samples.
    dark = even_frame(100);
    for (int x = 0; x < 64; ++x) {
        at(x, 30) = 102;
    }
    at(10, 30) = 1000;
    const host::DarkMeasures row = check_dark(dark, Histogram(dark.view()), found);
    ASSERT_EQ(row.lines.size(), 1U);
    EXPECT_TRUE(row.lines[0].is_row);
    EXPECT_NEAR(row.lines[0].offset, 2, 1e-3);

    dark = even_frame(100);
    for (int i = 0; i < 32 * 32; ++i) {
        at(32 + i % 32, 32 + i / 32) = 102;  // one of the 2 x 2 blocks of such a frame
    }
    EXPECT_NEAR(check_dark(dark, Histogram(dark.view()), found).block_range, 2, 1e-9);
}

TEST(FlatChecks, GoByTheFilesWhiteLevelAndTheKindOfMesh) {
    host::Capture flat = even_frame(2000);
    flat.sensor.white_level = 2000;
    host::Judge found = judge();
    check_flat(flat, {}, found);
    EXPECT_EQ(*find(found.findings(), "flat_clipped")->value, 100);

    host::LensShading shading;
    shading.tables.mesh = {std::vector<int32_t>(100, 512), std::vector<int32_t>(100, 512),
                           std::vector<int32_t>(100, 4094)};
    shading.tables.mesh[0][7] = 4095;
    shading.after_mesh.luminance_rms = 0.2;
    shading.after_mesh.worst_colour_shift = 0.04;
    const auto flattened = [&](int width) {
        host::Judge own = judge();
        check_flattened(shading, {width, 480, 3, 12, {}}, own);
        return own.take();
    };
    EXPECT_EQ(*find(flattened(640), "flat_gain_limit")->value, 1);
    EXPECT_EQ(find(flattened(640), "flat_gain_limit")->place, "red");
    EXPECT_EQ(find(flattened(640), "flat_residual_rms")->severity, Severity::fail);
    EXPECT_EQ(flattened(639).size(), 1U);
    shading.settings.type = host::ShadingType::chroma;  // leaves the luminance as it is
    EXPECT_EQ(find(flattened(640), "flat_residual_rms"), nullptr);
    EXPECT_EQ(find(flattened(640), "flat_residual_worst")->severity, Severity::warn);
}

TEST(ChartChecks, MatrixAndLights) {
    host::Judge found = judge();
    check_chart_light(5000, 4000, found);  // 50 mired, which is the limit
    check_chart_light({}, 4000, found);
    ASSERT_EQ(found.findings().size(), 1U);
    EXPECT_EQ(found.worst(), Severity::warn);

    host::MatrixCalibration matrix;
    matrix.measured.assign(24, {0.5, 0.5, 0.5});
    matrix.measured[23] = {0.5, 0.1, 0.5};  // black's is mostly glare
    matrix.measured[18] = {1, 0.8, 1};      // clipped
    matrix.measured[21][2] = 0.4;
    matrix.after.de2000 = {1, 9, 6, {}};
    matrix.matrix.value = {2, -1, 0, 0, 0.9F, 0.1F, 0, 0, 1};
    const auto value = [&](const char* code) {
        host::Judge own = judge();
        check_matrix(matrix, 1.5, own);
        const host::Finding* const finding = find(own.findings(), code);
        return finding == nullptr ? std::pair(-1.0, std::string()) : std::pair(*finding->value, finding->place);
    };
    EXPECT_NEAR(value("chart_neutral").first, 20, 1e-9);
    EXPECT_EQ(value("chart_neutral").second, "patch 22, blue");
    EXPECT_EQ(value("chart_worst").second, "patch 7");
    EXPECT_DOUBLE_EQ(value("chart_leave_one_out").first, 0.5);
    EXPECT_NEAR(value("chart_amplification").first, std::sqrt(5), 1e-9);
    EXPECT_EQ(value("chart_diagonal").first, 1);  // 0.9; a free entry of 1 is none
    matrix.settings.method = host::MatrixMethod::optimised;
    matrix.matrix.value[0] = 2.5F;
    EXPECT_EQ(value("chart_diagonal").first, 3);
    EXPECT_EQ(value("chart_identity").first, 0);
    matrix.settings.method = host::MatrixMethod::joint;
    matrix.matrix.value = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    EXPECT_EQ(value("chart_identity").first, 1);
    EXPECT_EQ(value("chart_neutral").first, -1);
}

TEST(CurveChecks, LightsFollowEachOther) {
    host::CurveResult curve;
    curve.points = {{6500, 1.2, 0.8, 0.8}, {4000, 0.9, 1.1, 1.2}, {5000, 1, 1, 1}};
    host::Judge found = judge();
    check_curve(curve, found);
    EXPECT_TRUE(found.findings().empty());
    curve.points.push_back({5500, 1.3, 0.9, 0.9});  // redder than the next
    check_curve(curve, found);
    EXPECT_EQ(found.findings()[0].severity, Severity::fail);
    EXPECT_EQ(found.findings()[0].place, "5500 and 6500 K");
    EXPECT_EQ(found.findings()[1].place, "4000 K");
    EXPECT_NEAR(*found.findings()[1].value, 100.0 / 11, 1e-9);
}

TEST(NoiseChecks, OrderReadNoiseAndRounding) {
    const auto level = [](double mean) {
        return host::MeasuredLevel{"at " + std::to_string(static_cast<int>(mean)),
                                   {{{mean, mean, mean, mean}, {1, 1, 1, 1}, 1e6, 0}}};
    };
    host::Judge found = judge();
    check_series(std::vector{level(100), level(1100), level(1100)}, {640, 480, 3, 12, {}}, {{95, 95, 95, 95}, {}},
                 found);
    EXPECT_EQ(find(found.findings(), "noise_order")->severity, Severity::fail);
    EXPECT_EQ(find(found.findings(), "noise_order")->place, "at 1100, rr");
    EXPECT_DOUBLE_EQ(*find(found.findings(), "noise_spread")->value, 25);

    host::NoiseResults noise;
    noise.window = {0, 0, 512, 512};
    noise.levels = {{"level 1", 2, {2000, 2000, 2000, 2000}, {5, 4, 5, 5}, {}}};
    for (host::NoiseLine& line : noise.variance) {
        line.intercept = 64;
    }
    noise.variance[host::kGB].intercept = 36;
    noise.variance[host::kBB].residual = 0.05;
    host::Judge own = judge();
    check_noise(noise, {640, 480, 3, 8, {}}, own);
    EXPECT_DOUBLE_EQ(*find(own.findings(), "noise_read_noise")->value, 6.0 / 16);
    EXPECT_EQ(find(own.findings(), "noise_read_noise")->place, "gb");
    EXPECT_EQ(find(own.findings(), "noise_residual")->place, "bb");
    EXPECT_DOUBLE_EQ(*find(own.findings(), "noise_rounding")->value, 16.0 / 4);  // sums of 2.6e8 in steps of 16
}

TEST(TableChecks, OneThatIsWorseThanNoneFails) {
    host::ColourTable table;
    const auto worst = [&](double before, double leave_one_out, bool needed = true) {
        table.before.mean = before;
        table.needed = needed;
        table.leave_one_out = leave_one_out;
        host::Judge found = judge();
        check_table(table, found);
        return found.worst();
    };
    EXPECT_EQ(worst(0.4, 0.6, false), Severity::pass);
    EXPECT_EQ(worst(2, 1.9), Severity::pass);
    EXPECT_EQ(worst(2, 2), Severity::fail);
}

TEST(Limits, OutsideThemAndNoNumberFail) {
    host::Limits limits;
    limits.set("flat_tilt", {1, 2}, "the test");
    host::Judge found(limits, {});
    EXPECT_EQ(found.hold(Check::flat_tilt, 1), Severity::pass);
    EXPECT_EQ(found.hold(Check::flat_tilt, 2), Severity::warn);
    EXPECT_EQ(found.hold(Check::flat_tilt, std::numeric_limits<double>::quiet_NaN()), Severity::fail);
    EXPECT_EQ(found.hold(Check::flat_level, 150), Severity::fail);
    for (const auto& [code, limit] :
         {std::pair("flat_tlit", host::Limit{1, 2}), std::pair("flat_tilt", host::Limit{2, 1}),
          std::pair("flat_level", host::Limit{1, 2}), std::pair("flat_tilt", host::Limit{1, INFINITY})}) {
        EXPECT_THROW(limits.set(code, limit, "the test"), host::InputError) << code;
    }
    EXPECT_THROW((void)host::parse_fault("tilt=x", "the test"), host::InputError);
    EXPECT_THROW((void)host::parse_fault("tilt=101", "the test"), host::InputError);
    EXPECT_THROW((void)host::parse_fault("tlit", "the test"), host::InputError);
}

/// What users read is what is in force.
TEST(Limits, StandInTheDocs) {
    const std::string docs = read_text(std::filesystem::path(CALI_DOCS) / "limits.md");
    for (std::size_t i = 0; i < host::kChecks; ++i) {
        const host::CheckRecord& record = record_of(static_cast<Check>(i));
        const std::size_t row = docs.find(std::string("| `") + record.code + "` |");
        ASSERT_NE(row, std::string::npos) << record.code;
        const std::string text = docs.substr(row, docs.find('\n', row) - row);
        const std::string limits = host::text("| %g / %g |", record.limit.warn, record.limit.fail);
        if (text.find(" / ", text.rfind("| ", text.size() - 3)) != std::string::npos) {
            EXPECT_EQ(text.substr(text.rfind("| ", text.size() - 3)), limits) << record.code;
        }
    }
    const std::string help = read_text(std::filesystem::path(CALI_DOCS) / "troubleshooting.md");
    std::size_t headings = 0;
    for (std::size_t at = help.find("\n### `"); at != std::string::npos; at = help.find("\n### `", at + 1)) {
        ++headings;
    }
    EXPECT_EQ(headings, host::kChecks);
    for (std::size_t i = 0; i < host::kChecks; ++i) {
        const std::string heading = std::string("\n### `") + record_of(static_cast<Check>(i)).code + "`\n";
        const std::size_t at = help.find(heading);
        ASSERT_NE(at, std::string::npos) << heading;
        EXPECT_GE(help.find("\n\n", at + heading.size()) - at, heading.size() + 20) << heading;
    }
}

}  // namespace
}  // namespace cali::test
