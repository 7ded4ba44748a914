#include <gtest/gtest.h>

#include <cmath>

#include "simulation/sensor.h"
#include "support/program.h"

namespace cali::test {
namespace {

using host::SensorModel;

double mean_of(const std::vector<uint16_t>& samples) {
    double sum = 0;
    for (const uint16_t sample : samples) {
        sum += sample;
    }
    return sum / static_cast<double>(samples.size());
}

double variance_of(const std::vector<uint16_t>& samples) {
    const double mean = mean_of(samples);
    double sum = 0;
    for (const uint16_t sample : samples) {
        sum += (sample - mean) * (sample - mean);
    }
    return sum / static_cast<double>(samples.size() - 1);
}

TEST(Illuminant, MatchesTabulatedWhites) {
    // CIE D65 and D50 lie on the locus at 6504 K and 5003 K; CIE A is Planckian at 2856 K.
    const std::pair<double, host::Vector3> whites[] = {
        {6504, {0.9505, 1.0, 1.0889}}, {5003, {0.9642, 1.0, 0.8251}}, {2856, {1.0985, 1.0, 0.3558}}};
    for (const auto& [kelvin, expected] : whites) {
        SCOPED_TRACE(kelvin);
        const host::Vector3 white = host::illuminant_white(kelvin);
        for (std::size_t k = 0; k < 3; ++k) {
            EXPECT_NEAR(white[k], expected[k], 0.002);
        }
    }
}

TEST(Sensor, NoiseHasTheVarianceOfTheModel) {
    SensorModel sensor;
    sensor.width = 400;
    sensor.height = 400;
    sensor.read_noise = 8;
    sensor.pedestal = {64, 64, 64, 64};
    const auto dark = host::expose(sensor, host::dark_scene(), 1, 0);
    EXPECT_NEAR(mean_of(dark), 64, 0.1);
    EXPECT_NEAR(variance_of(dark), 64 + 1.0 / 12, 1);
    const host::Scene light{false, {{0.5, 0.5, 0.5}}};
    const double signal = 0.5 * (4095 - 64);
    const auto lit = host::expose(sensor, light, 1, 1);
    EXPECT_NEAR(mean_of(lit), 64 + signal, 0.3);
    EXPECT_NEAR(variance_of(lit), 64 + 0.25 * signal + 1.0 / 12, 8);
}

TEST(Sensor, ShadingFallsOffFromTheAxisByColour) {
    SensorModel sensor;
    sensor.width = 200;
    sensor.height = 100;
    sensor.read_noise = 0;
    sensor.conversion_gain = 0;
    sensor.pedestal = {0, 0, 0, 0};
    sensor.axis_x = 10;
    const auto frame = host::expose(sensor, {true, {{0.9, 0.9, 0.9}}}, 1, 0);
    const auto at = [&](int x, int y) {
        return frame[static_cast<std::size_t>(y) * 200 + static_cast<std::size_t>(x)];
    };
    EXPECT_NEAR(at(110, 50), 0.9 * 4095, 2);
    // The far corner's red photosite: 1 - 0.38 r2 - 0.1 r4 with r2 = (109.5^2 + 49.5^2) / (100^2 + 50^2).
    const double r2 = (109.5 * 109.5 + 49.5 * 49.5) / (100.0 * 100 + 50 * 50);
    EXPECT_NEAR(at(0, 0), 0.9 * 4095 * (1 - 0.38 * r2 - 0.1 * r2 * r2), 1);
    EXPECT_GT(at(1, 0), at(0, 0));
    sensor.axis_y = 10;  // downward
    const auto lower = host::expose(sensor, {true, {{0.9, 0.9, 0.9}}}, 1, 0);
    EXPECT_GT(lower[99 * 200 + 110], frame[99 * 200 + 110] + 50);
}

TEST(Sensor, ChartShowsEveryPatchInItsPlace) {
    const SensorModel sensor;
    for (const double kelvin : {2000.0, 2850.0, 5000.0, 10000.0}) {
        const host::Scene chart = host::chart_scene(sensor, kelvin, 0.9);
        ASSERT_EQ(chart.colours.size(), 25U);
        const host::Vector3 white = host::camera_white(sensor, kelvin);
        for (std::size_t p = 0; p < 24; ++p) {
            for (const double signal : chart.colours[p]) {
                EXPECT_GT(signal, 0) << "patch " << p + 1 << " at " << kelvin << " K";
                EXPECT_LT(signal, 1);
            }
        }
        // A grey patch has the light's own colour.
        const host::Vector3& grey = chart.colours[20];
        EXPECT_NEAR(grey[1] / grey[0], white[1] / white[0], 1e-3);
        EXPECT_NEAR(grey[1] / grey[2], white[1] / white[2], 1e-3);
    }
}

TEST(Simulate, SameSeedSameFiles) {
    const TemporaryFolder folder;
    const auto simulate = [&](const std::string& to, const std::string& seed, const std::string& levels) {
        run_line(folder.path(),
                 "simulate " + to + " --size 64x48 --illuminants 5000 --seed " + seed + " --series-levels " + levels);
    };
    simulate("a", "7", "2");
    simulate("b", "7", "3");  // a longer series leaves the other captures as they are
    simulate("c", "8", "2");
    for (const std::string name : {"dark_1.raw", "dark_2.pgm", "flat_5000K.raw", "grey_5000K.pgm", "chart_5000K.raw"}) {
        SCOPED_TRACE(name);
        const std::string first = read_text(folder.path() / "a" / name);
        EXPECT_FALSE(first.empty());
        EXPECT_EQ(first, read_text(folder.path() / "b" / name));
        EXPECT_NE(first, read_text(folder.path() / "c" / name));
    }
    EXPECT_NE(read_text(folder.path() / "a/dark_1.raw"), read_text(folder.path() / "a/dark_2.raw"));

    // What a user keeps under such a name stays; seven captures in two formats and two texts would be written.
    write_text(folder.path() / "a/dark_1.raw", "mine");
    const std::string again = "simulate a --size 64x48 --illuminants 5000 --dark-frames 2 --series-levels 1 --seed 7";
    expect_errors(folder, {{again, "a/dark_1.raw: exists already, and 15 more of the files to be written"},
                           {"simulate d --gains 1,1.005", "--gains holds 1.005, expected whole hundredths"},
                           {"simulate d --gains 2,1,2", "--gains holds 2 twice, expected gains that differ"},
                           {"simulate d --chart perspective --fault chart-shift", "has no place to be off"}});
    run_line(folder.path(), again + " --overwrite");
    EXPECT_EQ(read_text(folder.path() / "a/dark_1.raw"), read_text(folder.path() / "b/dark_1.raw"));
}

/// Without what names and files differ in.
nlohmann::json values_of(nlohmann::json results) {
    for (const char* const key : {"inputs", "values", "file", "digest", "name", "lens_shading", "white_level",
                                  "capture", "place", "made", "analogue_gain", "findings"}) {
        if (results.is_object() && !(key == std::string("lens_shading") && results.contains("schema"))) {
            results.erase(key);
        }
    }
    for (auto& each : results) {
        if (each.is_structured()) {
            each = values_of(each);
        }
    }
    return results;
}

TEST(Simulate, EveryFormGivesTheValuesOfTheRawForm) {
    const TemporaryFolder folder;
    nlohmann::json raw;
    for (const std::string form : {"raw", "tiff", "png", "dng", "mipi"}) {
        SCOPED_TRACE(form);
        run_line(folder.path(), "simulate " + form + " --format " + form +
                                    " --size 640x480 --bits 14 --illuminants 5000 --series-levels 2 --names geometry");
        run_line(folder.path(), "calibrate " + form + "/session.toml" + (form == "raw" ? "" : " --jobs 3"));
        const nlohmann::json values = values_of(read_json(folder.path() / form / "results.json"));
        EXPECT_TRUE(values.contains("colour_table") && values.contains("noise"));
        raw = form == "raw" ? values : raw;
        EXPECT_EQ(nlohmann::json::diff(raw, values), nlohmann::json::array());
    }
    // Eight bits are bytes.
    nlohmann::json bytes;
    for (const std::string form : {"raw", "tiff", "png"}) {
        const std::string name = "8" + form;
        run_line(folder.path(), "simulate " + name + " --format " + form +
                                    " --size 64x48 --bits 8 --illuminants 5000 --dark-frames 1 --series-levels 0");
        run_line(folder.path(), "calibrate " + name + "/session.toml --only lsc --force");
        const nlohmann::json values = values_of(read_json(folder / (name + "/results.json")));
        bytes = form == "raw" ? values : bytes;
        EXPECT_EQ(nlohmann::json::diff(bytes, values), nlohmann::json::array());
    }
    const char bits_per_sample[] = "\x02\x01\x03\0\x01\0\0\0\x08\0";
    EXPECT_NE(read_text(folder / "8tiff/dark_1.tif").find({bits_per_sample, 10}), std::string::npos);
    EXPECT_EQ(read_text(folder / "8png/dark_1.png").at(24), 8);
    // Names alone are enough for packed raw, and nothing for DNG.
    const std::string packed = run_line(
        folder.path(), "blc mipi/dark_1_640x480_14bits_RGGB.raw mipi/dark_2_640x480_14bits_RGGB.raw --results m.json");
    run_line(folder.path(), "blc dng/dark_1.dng dng/dark_2.dng --results d.json");
    EXPECT_EQ(values_of(read_json(folder / "m.json"))["black_level"],
              values_of(read_json(folder / "d.json"))["black_level"]);

    run_line(folder.path(),
             "simulate t --size 64x48 --format dng --names tuning --illuminants 2850 --dark-frames 1 "
             "--series-levels 1 --series-frames 1");
    EXPECT_EQ(TemporaryFolder(folder / "t").names(),
              (std::vector<std::string>{"alsc_2850k_1.dng", "chart_2850k_120l.dng", "dark_1.dng", "noise_1_1.dng",
                                        "session.toml", "truth.json"}));
}

}  // namespace
}  // namespace cali::test
