// What is stated of figures' uncertainty, held against their scatter over simulated sensors.

#include <gtest/gtest.h>

#include <cmath>

#include "calibrations/black_level.h"
#include "calibrations/colour_matrix.h"
#include "calibrations/noise.h"
#include "calibrations/white_balance.h"
#include "captures/raw_file.h"
#include "captures/read_capture.h"
#include "simulation/sensor.h"
#include "support/program.h"

namespace cali::test {
namespace {

/// Root mean square of errors over their stated uncertainties.
class Scatter {
public:
    void add(double error, double uncertainty) {
        squares_ += error * error / (uncertainty * uncertainty);
        ++count_;
    }
    [[nodiscard]] double over_stated() const { return std::sqrt(squares_ / count_); }

private:
    double squares_ = 0;
    int count_ = 0;
};

host::SensorModel small_sensor() {
    host::SensorModel sensor;
    sensor.width = 96;
    sensor.height = 64;
    return sensor;
}

host::Capture take(const host::SensorModel& sensor, const host::Scene& scene, uint32_t stream) {
    const std::vector<uint16_t> codes = expose(sensor, scene, 1, stream);
    return {"c.raw", {sensor.width, sensor.height, sensor.pattern, sensor.bits, {}}, {codes.begin(), codes.end()}};
}

host::TuningValues values_of(const host::SensorModel& sensor, double illuminant_k) {
    host::TuningValues values;
    for (std::size_t c = 0; c < 4; ++c) {
        values.black_level.offset[c] = static_cast<uint32_t>(sensor.pedestal[c]);
        values.black_level.gain[c] = static_cast<float>(4096 / (4096 - sensor.pedestal[c]));
    }
    const host::Vector3 white = camera_white(sensor, illuminant_k);
    values.gains.red = static_cast<uint16_t>(std::lround(1024 * white[1] / white[0]));
    values.gains.blue = static_cast<uint16_t>(std::lround(1024 * white[1] / white[2]));
    return values;
}

TEST(Uncertainty, OfTheBlackLevel) {
    const host::SensorModel sensor = small_sensor();
    Scatter scatter;
    for (uint32_t seed = 0; seed < 30; ++seed) {
        host::Capture dark = take(sensor, host::dark_scene(), seed);
        dark.samples[0] = 4095;  // defects
        dark.samples[1] = 0;
        const auto results =
            combine({measure_dark_frame(dark, Histogram(dark.view()), 0, {})}, host::BlackLevelMethod::mean);
        for (std::size_t c = 0; c < 4; ++c) {
            scatter.add(results.mean[c].value - sensor.pedestal[c], results.mean[c].uncertainty);
        }
    }
    EXPECT_NEAR(scatter.over_stated(), 1, 0.15);

    // Eight bits of one code: the level may lie anywhere between two.
    host::Capture coarse{"c.raw", {32, 32, 3, 8, {}}, host::Samples(32 * 32, 64)};
    const auto results =
        combine({measure_dark_frame(coarse, Histogram(coarse.view()), 0, {})}, host::BlackLevelMethod::mean);
    EXPECT_EQ(results.mean[0].value, 64);
    EXPECT_NEAR(results.mean[0].uncertainty, 16 / std::sqrt(12), 1.1);
    EXPECT_EQ(describe(results).tables[0].rows[3].cells[5], "64.000");
}

TEST(Uncertainty, OfGainsFollowsTheNoiseAndNotTheShading) {
    host::SensorModel sensor = small_sensor();
    sensor.falloff_k2.fill(0.35);
    const host::TuningValues values = values_of(sensor, 5000);
    const host::Vector3 white = camera_white(sensor, 5000);
    Scatter scatter;
    for (uint32_t seed = 0; seed < 60; ++seed) {
        host::Capture grey = take(sensor, host::uniform_scene(sensor, 5000, 0.5), seed);
        const auto [red, blue] = measure_grey_card(grey, values, host::default_window(grey.sensor), {}).unrounded;
        scatter.add(red.value - white[1] / white[0], red.uncertainty);
        scatter.add(blue.value - white[1] / white[2], blue.uncertainty);
    }
    EXPECT_NEAR(scatter.over_stated(), 1, 0.2);
}

TEST(Uncertainty, OfMatricesByEveryMethod) {
    host::SensorModel sensor = small_sensor();
    sensor.falloff_k2 = {};
    sensor.falloff_k4 = 0;
    const host::TuningValues values = values_of(sensor, 5000);
    for (const auto method : {host::MatrixMethod::lsq, host::MatrixMethod::optimised, host::MatrixMethod::joint}) {
        SCOPED_TRACE(matrix_method_name(method));
        host::MatrixSettings settings;
        settings.method = method;
        constexpr uint32_t kSeeds = 16;
        std::vector<host::MatrixCalibration> found;
        std::array<double, 9> mean{};
        for (uint32_t seed = 0; seed < kSeeds; ++seed) {
            host::Capture chart = take(sensor, chart_scene(sensor, 5000, 0.9), seed);
            found.push_back(calibrate_matrix(chart, values, settings, {}));
            for (std::size_t i = 0; i < mean.size(); ++i) {
                mean[i] += static_cast<double>(found.back().matrix.value[i]) / kSeeds;
            }
        }
        Scatter scatter;
        for (const host::MatrixCalibration& result : found) {
            for (std::size_t i = 0; i < mean.size(); ++i) {
                scatter.add(static_cast<double>(result.matrix.value[i]) - mean[i], result.uncertainty[i]);
            }
            EXPECT_NEAR(result.leave_one_out / result.after.de2000.mean, 1.2, 0.199);
        }
        EXPECT_NEAR(scatter.over_stated(), 1, 0.3);
    }
}

TEST(Uncertainty, OfTheNoiseLine) {
    host::SensorModel sensor = small_sensor();
    const TemporaryFolder folder;
    Scatter scatter;
    for (uint32_t seed = 0; seed < 12; ++seed) {
        std::vector<host::SeriesLevel> levels;
        for (uint32_t level = 0; level < 4; ++level) {
            host::Scene scene = host::uniform_scene(sensor, 5000, 0.05 + 0.25 * level);
            scene.shaded = false;
            const std::filesystem::path file = folder / std::to_string(level);
            host::write_raw(file, expose(sensor, scene, seed, level));
            levels.push_back({{file}});
        }
        host::SensorGeometry found;
        const host::Geometry geometry{sensor.width, sensor.height, sensor.pattern, sensor.bits, "the test"};
        const host::NoiseResults results = calibrate_noise(
            {levels, geometry,
             [&](const host::CaptureEntry& entry) { return host::read_capture(entry.file(), geometry); }},
            values_of(sensor, 5000).black_level, {}, {}, [](std::size_t, const host::Capture&, const host::Window&) {},
            found);
        for (const auto& [slope, intercept] : results.weighted) {
            scatter.add(slope.value - sensor.conversion_gain, slope.uncertainty);
            // Rounding to codes adds its own variance.
            scatter.add(intercept.value - sensor.read_noise * sensor.read_noise - 1.0 / 12, intercept.uncertainty);
        }
    }
    EXPECT_NEAR(scatter.over_stated(), 1, 0.15);
}

}  // namespace
}  // namespace cali::test
