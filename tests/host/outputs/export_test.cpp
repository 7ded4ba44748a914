// Exports held against the captures that they were made of, by each stack's own formulas (docs/export.md), and their
// readers' rules.

#include "outputs/export.h"

#include <array>
#include <cmath>
#include <map>
#include <sstream>

#include "base/text.h"
#include "calibrations/chart_reference.h"
#include "captures/read_capture.h"
#include "chart/chart_windows.h"
#include "math/colour_difference.h"
#include "outputs/tuning_rules.h"
#include "results/results_file.h"
#include "simulation/illuminant.h"
#include "support/program.h"

namespace cali::test {
namespace {

using host::TuningNode;

void expect_in(const std::string& text, const std::string& part) {
    EXPECT_NE(text.find(part), std::string::npos) << part << "\nnot in\n" << text;
}

const TuningNode& keys_of(const TuningNode& root, const std::string& name) {
    return *host::find_section(root, name).keys;
}

std::vector<double> numbers(const TuningNode& list) {
    std::vector<double> values;
    for (const TuningNode& item : list.items) {
        values.push_back(std::stod(item.text));
    }
    return values;
}
std::vector<double> numbers(const TuningNode& record, const char* key) { return numbers(*record.find(key)); }

const TuningNode& of_light(const TuningNode& list, int kelvin) {
    const auto found = std::ranges::find_if(
        list.items, [&](const TuningNode& record) { return record.find("ct")->text == std::to_string(kelvin); });
    EXPECT_NE(found, list.items.end()) << kelvin;
    return *found;
}

/// A camera stack as its documentation has it, for one light that the file knows.
struct Stack {
    std::array<double, 3> black{};               // of 16 bits
    std::array<std::vector<double>, 3> shading;  // red, green, blue
    int cols = 0;
    int rows = 0;
    bool corners = false;
    std::array<double, 3> balance{};
    std::vector<double> matrix;

    [[nodiscard]] double gain(std::size_t colour, int x, int y, const host::SensorGeometry& sensor) const {
        const auto along = [&](int at, int count, int size) {
            const double share = (at + 0.5) / size;
            return std::clamp(corners ? share * (count - 1) : share * count - 0.5, 0.0, count - 1.001);
        };
        const double u = along(x, cols, sensor.width);
        const double v = along(y, rows, sensor.height);
        const auto value = [&](double col, double row) {
            return shading[colour][static_cast<std::size_t>(row) * static_cast<std::size_t>(cols) +
                                   static_cast<std::size_t>(col)];
        };
        return std::lerp(std::lerp(value(u, v), value(u + 1, v), u - std::floor(u)),
                         std::lerp(value(u, v + 1), value(u + 1, v + 1), u - std::floor(u)), v - std::floor(v));
    }
    /// A photosite behind black level, shading and white balance.
    [[nodiscard]] double apply(const host::Capture& frame, int x, int y, std::size_t colour) const {
        return (frame.view().row(y)[x] * 16.0 - black[colour]) * gain(colour, x, y, frame.sensor) * balance[colour];
    }
};

/// "rpi": tables over their least value, times the luminance; gains are one over the curve's ratios.
Stack rpi_stack(const TuningNode& root, int kelvin, int cols, int rows) {
    Stack stack;
    stack.black.fill(std::stod(keys_of(root, "rpi.black_level").find("black_level")->text));
    const TuningNode& alsc = keys_of(root, "rpi.alsc");
    const std::vector<double> luminance = numbers(alsc, "luminance_lut");
    stack.shading.fill(luminance);
    for (const auto& [colour, key] : {std::pair(0U, "calibrations_Cr"), std::pair(2U, "calibrations_Cb")}) {
        const std::vector<double> table = numbers(of_light(*alsc.find(key), kelvin), "table");
        const double least = std::ranges::min(table);
        for (std::size_t i = 0; i < table.size(); ++i) {
            stack.shading[colour].at(i) *= table[i] / least;
        }
    }
    stack.cols = cols;
    stack.rows = rows;
    const std::vector<double> curve = numbers(keys_of(root, "rpi.awb"), "ct_curve");
    const auto light = std::ranges::find(curve, static_cast<double>(kelvin)) - curve.begin();
    stack.balance = {1 / curve.at(static_cast<std::size_t>(light) + 1), 1,
                     1 / curve.at(static_cast<std::size_t>(light) + 2)};
    stack.matrix = numbers(of_light(*keys_of(root, "rpi.ccm").find("ccms"), kelvin), "ccm");
    return stack;
}

Stack rkisp1_stack(const TuningNode& root, int kelvin) {
    Stack stack;
    const TuningNode& black = keys_of(root, "BlackLevelCorrection");
    stack.black = {std::stod(black.find("R")->text),
                   (std::stod(black.find("Gr")->text) + std::stod(black.find("Gb")->text)) / 2,
                   std::stod(black.find("B")->text)};
    const TuningNode& set = of_light(*keys_of(root, "LensShadingCorrection").find("sets"), kelvin);
    stack.shading = {numbers(set, "r"), numbers(set, "gr"), numbers(set, "b")};
    stack.cols = stack.rows = 17;
    stack.corners = true;
    const std::vector<double> gains = numbers(of_light(*keys_of(root, "Awb").find("colourGains"), kelvin), "gains");
    stack.balance = {gains.at(0), 1, gains.at(1)};
    stack.matrix = numbers(of_light(*keys_of(root, "Ccm").find("ccms"), kelvin), "ccm");
    return stack;
}

class Exports : public ::testing::Test {
protected:
    [[nodiscard]] host::Capture capture(const std::string& name) const {
        host::Geometry geometry;
        geometry.width = results_.sensor.width;
        geometry.height = results_.sensor.height;
        geometry.pattern = results_.sensor.pattern;
        geometry.bits = results_.sensor.bits;
        return host::read_capture(simulated_session() / name, geometry);
    }

    /// Mean colour of a window behind the stack.
    [[nodiscard]] static Colour mean(const Stack& stack, const host::Capture& frame, const RoiRect& window) {
        Colour sum{};
        std::array<int, 3> count{};
        for (int y = window.y; y < window.y + window.h; ++y) {
            for (int x = window.x; x < window.x + window.w; ++x) {
                const std::size_t colour =
                    colour_of(bayer_channel(frame.sensor.pattern, static_cast<uint32_t>(y), static_cast<uint32_t>(x)));
                sum[colour] += stack.apply(frame, x, y, colour);
                ++count[colour];
            }
        }
        for (std::size_t c = 0; c < 3; ++c) {
            sum[c] /= count[c];
        }
        return sum;
    }

    /// Our own mesh leaves the corners dark by 1.3 %; beyond the centres of outer cells their values stay, so that
    /// large cells leave a little more.
    void expect_flat(const Stack& stack, int kelvin) const {
        const host::Capture flat = capture("flat_" + std::to_string(kelvin) + "K.raw");
        constexpr int kBlock = 40;
        const auto block = [&](int x, int y) { return mean(stack, flat, {x, y, kBlock, kBlock}); };
        const Colour centre = block(flat.sensor.width / 2 - kBlock / 2, flat.sensor.height / 2 - kBlock / 2);
        for (int y = 0; y < flat.sensor.height; y += kBlock) {
            for (int x = 0; x < flat.sensor.width; x += kBlock) {
                const bool border =
                    x == 0 || y == 0 || x + kBlock == flat.sensor.width || y + kBlock == flat.sensor.height;
                const double even = !border ? 0.007 : stack.cols == 16 ? 0.035 : 0.019;
                const Colour found = block(x, y);
                EXPECT_NEAR(found[1] / centre[1], 1, even) << kelvin << " at " << x << ", " << y;
                EXPECT_NEAR(found[0] / found[1] / (centre[0] / centre[1]), 1, 0.012) << x << ", " << y;
                EXPECT_NEAR(found[2] / found[1] / (centre[2] / centre[1]), 1, 0.012) << x << ", " << y;
            }
        }
    }

    void expect_grey(const Stack& stack, int kelvin) const {
        const host::Capture card = capture("grey_" + std::to_string(kelvin) + "K.raw");
        for (const RoiRect& window : {RoiRect{240, 160, 160, 160}, RoiRect{0, 0, 80, 80}, RoiRect{560, 400, 80, 80}}) {
            const Colour found = mean(stack, card, window);
            EXPECT_NEAR(found[0] / found[1], 1, 0.01) << kelvin << " at " << window.x;
            EXPECT_NEAR(found[2] / found[1], 1, 0.012) << kelvin << " at " << window.x;
        }
    }

    /// CIEDE2000 over the chart no larger than ours. `lab_of`: of a patch behind the stack, its greys exposed as the
    /// reference's.
    template <typename LabOf>
    void expect_colours(const Stack& stack, int kelvin, LabOf lab_of) const {
        const auto ours = std::ranges::find_if(results_.matrices, [&](const host::MatrixCalibration& matrix) {
            return matrix.taken.illuminant_k == kelvin;
        });
        const host::Capture chart = capture("chart_" + std::to_string(kelvin) + "K.raw");
        std::vector<Colour> found;
        double light = 0;
        double reference = 0;
        for (std::size_t patch = 0; patch < ours->reference.size(); ++patch) {
            found.push_back(mean(stack, chart, (*ours->windows)[patch]));
            const bool grey = patch > 18 && patch < 23;
            light += grey ? found.back()[1] : 0;
            reference += grey ? ours->reference[patch][1] : 0;
        }
        std::vector<Colour> lab;
        std::vector<Colour> expected;
        for (std::size_t patch = 0; patch < found.size(); ++patch) {
            for (double& value : found[patch]) {
                value *= reference / light;
            }
            lab.push_back(lab_of(found[patch]));
            expected.push_back(lab_of_linear_rgb(ours->reference[patch], white_point(ours->settings.white_point)));
        }
        EXPECT_LT(summarise(lab, expected, delta_e_2000).mean, ours->after.de2000.mean + 0.15) << kelvin;
    }

    void expect_colours(const Stack& stack, int kelvin) const {
        expect_colours(stack, kelvin, [&](const Colour& balanced) {
            Colour corrected{};
            for (std::size_t i = 0; i < 9; ++i) {
                corrected[i / 3] += stack.matrix.at(i) * balanced[i % 3];
            }
            for (double& value : corrected) {
                value = std::clamp(value, 0.0, 1.0);
            }
            return lab_of_linear_rgb(corrected, white_point(CALI_WHITE_D65));
        });
    }

    void expect_all(const Stack& stack, int kelvin) const {
        expect_flat(stack, kelvin);
        expect_grey(stack, kelvin);
        expect_colours(stack, kelvin);
    }

    [[nodiscard]] std::string exported(const std::string& form) const {
        return export_results(results_, form, {}, nullptr).text;
    }

    const host::Results results_ = host::read_results(simulated_session() / "results.json");
};

TEST_F(Exports, MakeTheSimulatedCapturesFlatGreyAndOfTheRightColours) {
    const std::string small = exported("rpi-bcm2835");
    const std::string large = exported("rpi-pisp");
    const std::string rk = exported("rkisp1");
    for (const int kelvin : {2850, 5000, 6500}) {
        SCOPED_TRACE(kelvin);
        expect_all(rpi_stack(host::parse_tuning(small, "bcm2835"), kelvin, 16, 12), kelvin);
        expect_all(rpi_stack(host::parse_tuning(large, "pisp"), kelvin, 32, 32), kelvin);
        expect_all(rkisp1_stack(host::parse_tuning(rk, "rkisp1"), kelvin), kelvin);
    }
}

// Levels on a line: 2 + 3 sqrt(code) of 16 bits at gain 1, taken at gain 4; what is below the black level counts as 0.
TEST_F(Exports, OfNoiseAreTheLineThatItsLevelsStandOn) {
    host::Results results = results_;
    host::NoiseResults& noise = results.noise.front();
    noise.taken.gain = 4;
    noise.levels.clear();
    for (const auto& [mean, deviation] : {std::pair(-0.5F, 0.25F), std::pair(0.25F, 1.0F), std::pair(4.0F, 3.25F)}) {
        host::NoiseLevel& level = noise.levels.emplace_back();
        level.mean = {mean, mean, mean, mean};
        level.deviation = {deviation, deviation, deviation, deviation};
    }
    const TuningNode root = host::parse_tuning(export_results(results, "rpi-bcm2835", {}, nullptr).text, "bcm2835");
    EXPECT_EQ(std::stod(keys_of(root, "rpi.noise").find("reference_constant")->text), 2);
    EXPECT_EQ(std::stod(keys_of(root, "rpi.noise").find("reference_slope")->text), 3);
}

// By the model of DNG files: neutral from ColorMatrix, balanced colours through ForwardMatrix.
TEST_F(Exports, OfDngTagsBringPatchesToTheirColours) {
    std::map<std::string, std::vector<double>> tags;
    std::istringstream lines(exported("dng"));
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line.substr(line.find(':') + 1));
        std::vector<double>& values = tags[line.substr(0, line.find(':'))];
        for (double value = 0; words >> value;) {
            values.push_back(value);
        }
    }
    EXPECT_EQ(tags.at("CalibrationIlluminant1"), std::vector{17.0});
    EXPECT_EQ(tags.at("CalibrationIlluminant2"), std::vector{21.0});
    const auto apply = [](const std::vector<double>& matrix, const Colour& colour) {
        Colour made{};
        for (std::size_t i = 0; i < 9; ++i) {
            made[i / 3] += matrix.at(i) * colour[i % 3];
        }
        return made;
    };
    const TuningNode tables = host::parse_tuning(exported("rpi-pisp"), "pisp");
    const Colour d50 = *host::named_white("D50", 2);
    for (const auto& [light, kelvin] : {std::pair("1", 2850), std::pair("2", 6500)}) {
        const std::vector<double>& forward = tags.at(std::string("ForwardMatrix") + light);
        const Colour neutral = apply(tags.at(std::string("ColorMatrix") + light), host::illuminant_white(kelvin));
        // Even over the frame, and in the middle as the sensor gives it.
        Stack stack = rpi_stack(tables, kelvin, 32, 32);
        for (std::size_t c = 0; c < 3; ++c) {
            stack.balance[c] = 1 / (neutral[c] * stack.gain(c, results_.sensor.width / 2, results_.sensor.height / 2,
                                                            results_.sensor));
        }
        const host::Capture card = capture("grey_" + std::to_string(kelvin) + "K.raw");
        const Colour grey = mean(stack, card, {240, 160, 160, 160});
        EXPECT_NEAR(grey[0] / grey[1], 1, 0.01) << kelvin;
        EXPECT_NEAR(grey[2] / grey[1], 1, 0.01) << kelvin;
        expect_colours(stack, kelvin, [&](const Colour& balanced) {
            const Colour xyz = apply(forward, balanced);
            Colour linear = host::linear_colours({{}, {xyz}, d50, ""}, CALI_WHITE_D65).front();
            for (double& value : linear) {
                value = std::clamp(value, 0.0, 1.0);
            }
            return lab_of_linear_rgb(linear, white_point(CALI_WHITE_D65));
        });
    }
    const std::vector<double>& noise = tags.at("NoiseProfile");
    const host::NoiseLevel& level = results_.noise.front().levels.back();
    const double range = 4095 - results_.black_level.front().mean[0].value;
    EXPECT_NEAR((noise.at(0) * level.mean[0] / range + noise.at(1)) / (level.variance[0] / (range * range)), 1, 0.03);
}

TEST_F(Exports, LeaveOutWhatTheyHaveNoLightOrValuesFor) {
    host::Results one = results_;
    one.white_balance.resize(1);
    one.matrices.clear();
    one.lens_shading.front().taken.illuminant_k.reset();
    one.black_level.clear();
    const host::ExportText made = export_results(one, "rpi-bcm2835", {}, nullptr);
    std::string notes;
    for (const std::string& note : made.notes) {
        notes += note + "\n";
    }
    for (const char* const told :
         {"rpi.awb: left out", "rpi.ccm: left out", "rpi.black_level: left out", "its light is not known, left out"}) {
        expect_in(notes, told);
    }
    const TuningNode root = host::parse_tuning(made.text, "made");
    EXPECT_EQ(host::find_section(root, "rpi.awb").keys, nullptr);
    EXPECT_EQ(keys_of(root, "rpi.alsc").find("calibrations_Cr")->items.size(), 2U);

    one.sensor.mono = true;
    EXPECT_EQ(export_results(one, "rpi-pisp", {}, nullptr).text.find("calibrations_Cr"), std::string::npos);
}

// Everything but our values stays, byte for byte.
TEST_F(Exports, PutTheirValuesIntoFilesThatStand) {
    const std::string base = R"({
    # by hand
    "version": 2.0, "target": "bcm2835",
    "algorithms": [
        { "rpi.black_level": { "black_level": 4096, "black_level_r": 4000 } },   # µ of the old sensor
        { "rpi.noise": { } },
        { "rpi.lux": { "reference_lux": 100 } },
        {
            "rpi.awb": {
                "modes": { "auto": { "lo": 2500, "hi": 8000 }, "tungsten": { "lo": 3000, "hi": 3500 } },
                "ct_curve": [ 2000, 0.9, 0.3,
                              9000, 0.3, 0.9 ],
                "sensitivity_r": 1.05
            }
        },
        { "rpi.nn.awb": { "ct_curve": [ 2000, 0.9, 0.3, 9000, 0.3, 0.9 ] } }
    ]
}
)";
    const host::ExportBase file{base, "base.json"};
    const host::ExportText made = export_results(results_, "rpi-bcm2835", {}, &file);
    const TuningNode root = host::parse_tuning(made.text, "made");
    EXPECT_EQ(keys_of(root, "rpi.black_level").find("black_level")->text, "1032");
    EXPECT_EQ(keys_of(root, "rpi.black_level").find("black_level_r")->text, "1024");
    EXPECT_NE(keys_of(root, "rpi.noise").find("reference_slope"), nullptr);
    const TuningNode& modes = *keys_of(root, "rpi.awb").find("modes");
    EXPECT_EQ(modes.find("auto")->find("lo")->text, "2850");
    EXPECT_EQ(modes.find("auto")->find("hi")->text, "6500");
    EXPECT_EQ(modes.find("tungsten")->find("hi")->text, "3500");
    EXPECT_EQ(numbers(keys_of(root, "rpi.nn.awb"), "ct_curve"), numbers(keys_of(root, "rpi.awb"), "ct_curve"));
    EXPECT_EQ(std::ranges::count_if(made.notes,
                                    [](const std::string& note) { return note.starts_with("base.json: has no rpi."); }),
              2);  // rpi.alsc, rpi.ccm
    for (const char* const kept : {"    # by hand\n", "   # µ of the old sensor\n", "\"sensitivity_r\": 1.05\n",
                                   "{ \"rpi.lux\": { \"reference_lux\": 100 } },\n"}) {
        EXPECT_NE(made.text.find(kept), std::string::npos) << kept;
    }
    // A second time nothing changes any more.
    const host::ExportBase again{made.text, "again.json"};
    EXPECT_EQ(export_results(results_, "rpi-bcm2835", {}, &again).text, made.text);
    expect_in(refusal([&] { (void)export_results(results_, "rpi-pisp", {}, &file); }), "expected \"pisp\"");

    const std::string yaml =
        "# tuned by hand\nversion: 1\nalgorithms:\n  - Agc:\n  - Awb:\n  - BlackLevelCorrection:\n"
        "      R: 256   # red\n      Gr: 256\n      Gb: 256\n      B: 256\n  - Ccm:\n"
        "      ccms:\n        - ct: 2000\n          ccm: [ 1, 0, 0, 0, 1, 0, 0, 0, 1 ]\n"
        "          # the last one\n  - Lux:\n      referenceLux: 7\n";
    const host::ExportBase block{yaml, "base.yaml"};
    const host::ExportText rk = export_results(results_, "rkisp1", {}, &block);
    const TuningNode tree = host::parse_tuning(rk.text, "made");
    EXPECT_EQ(keys_of(tree, "Awb").find("colourGains")->items.size(), 3U);
    EXPECT_EQ(keys_of(tree, "Ccm").find("ccms")->items.size(), 3U);
    EXPECT_TRUE(rk.text.starts_with("# tuned by hand\nversion: 1\nalgorithms:\n  - Agc:\n  - Awb:"));
    EXPECT_NE(rk.text.find("      R: 1024   # red\n      Gr: 1056\n      Gb: 1040\n      B: 1008\n  - Ccm:\n"
                           "      ccms:\n        - ct: 2850\n"),
              std::string::npos);
    expect_in(refusal([&] { (void)export_results(results_, "rkisp1", {}, &file); }),
              "base.json: version 2.0, expected 1");
    EXPECT_TRUE(rk.text.ends_with("\n          # the last one\n  - Lux:\n      referenceLux: 7\n"));
}

}  // namespace
}  // namespace cali::test
