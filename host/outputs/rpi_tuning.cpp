#include "outputs/rpi_tuning.h"

#include <algorithm>
#include <cmath>

#include "base/error.h"
#include "base/least_squares.h"
#include "base/text.h"

namespace cali::host {
namespace {

constexpr int kTableDecimals = 4;
constexpr int kMatrixDecimals = 5;

std::string whole(double value) { return std::to_string(std::lround(value)); }

double mean_of(const Channels<double>& codes) { return (codes[kRR] + codes[kGR] + codes[kGB] + codes[kBB]) / 4; }

/// std = constant + slope sqrt(level), both of 16 bits and at gain 1: as the reader scales by the root of the gain.
TuningSection noise_section(const NoiseResults& noise) {
    LeastSquares<2> line(0);
    double products = 0;
    double squares = 0;
    const double scale = std::sqrt(noise.taken.gain.value_or(1));
    for (const NoiseLevel& level : noise.levels) {
        for (std::size_t c = 0; c < level.mean.size(); ++c) {
            const double root = std::sqrt(std::max(static_cast<double>(level.mean[c]), 0.0) * kStackCode);
            const double deviation = static_cast<double>(level.deviation[c]) * kStackCode / scale;
            line.add({1, root}, deviation, 1);
            products += root * deviation;
            squares += root * root;
        }
    }
    auto [constant, slope] = line.solution();
    if (constant < 0) {
        constant = 0;
        slope = products / squares;
    }
    return {"rpi.noise",
            {{"reference_constant", TuningValue::of(decimal_text(constant, 3))},
             {"reference_slope", TuningValue::of(decimal_text(slope, 3))}}};
}

/// Tables of one light as the file has them: red and blue over green.
struct RatioTables {
    int kelvin;
    StackTable red;
    StackTable blue;
};

/// Their least value is 1, as the reader makes it.
StackTable over_green(const StackTable& gain, const StackTable& green) {
    StackTable made = gain;
    std::ranges::transform(gain.values, green.values, made.values.begin(), std::divides());
    const double least = std::ranges::min(made.values);
    for (double& value : made.values) {
        value = rounded(value / least, kTableDecimals);
    }
    return made;
}

TuningValue calibrations(const std::vector<RatioTables>& lights, StackTable RatioTables::*table) {
    std::vector<TuningValue::Record> records;
    for (const RatioTables& light : lights) {
        const StackTable& values = light.*table;
        records.push_back({{"ct", TuningValue::of(std::to_string(light.kelvin))},
                           {"table", TuningValue::of(decimal_texts(values.values, kTableDecimals),
                                                     static_cast<std::size_t>(values.layout.cols))}});
    }
    return TuningValue::of(std::move(records));
}

/// The least value becomes 1: a strength below 1 then takes away from the gain towards none.
TuningValue luminance_lut(std::vector<double> sum, const TableLayout& layout) {
    const double least = std::ranges::min(sum);
    for (double& value : sum) {
        value /= least;
    }
    return TuningValue::of(decimal_texts(sum, kTableDecimals), static_cast<std::size_t>(layout.cols));
}

/// Grey behind the tables as the reader applies them: divided by their least value.
double behind(double ratio, const LightGrey& grey, const std::vector<RatioTables>& lights,
              StackTable RatioTables::*table, const SensorGeometry& sensor) {
    if (lights.empty()) {
        return ratio;
    }
    const StackTable applied = table_at(lights, grey.kelvin, [&](const RatioTables& light) { return light.*table; });
    return ratio * applied.at(grey.x, grey.y, sensor) / std::ranges::min(applied.values);
}

}  // namespace

StackValues rpi_values(const CameraValues& values, const RpiTarget& target) {
    StackValues made{{}, values.notes};
    const auto missing = [&](const char* section, const char* why) {
        made.notes.push_back(text("%s: left out, %s", section, why));
    };
    if (values.black_level) {
        made.sections.push_back(
            {"rpi.black_level", {{"black_level", TuningValue::of(whole(mean_of(*values.black_level) * kStackCode))}}});
    } else {
        missing("rpi.black_level", "the results hold no black level");
    }
    if (values.noise) {
        if (!values.noise->taken.gain) {
            made.notes.push_back("rpi.noise: the series' gain is not known, taken as 1");
        }
        made.sections.push_back(noise_section(*values.noise));
    } else {
        missing("rpi.noise", "the results hold no noise profile");
    }

    std::vector<RatioTables> lights;
    std::vector<double> luminance(static_cast<std::size_t>(target.shading.cols * target.shading.rows));
    for (const LightShading& light : values.shading) {
        const GainTables gains = gain_tables(light.surface, values.sensor, target.shading);
        lights.push_back({light.kelvin, over_green(gains[0], gains[1]), over_green(gains[2], gains[1])});
        std::ranges::transform(luminance, gains[1].values, luminance.begin(), std::plus());
    }
    const bool mono = values.sensor.mono;
    if (mono) {
        missing("rpi.awb", "the sensor has no colours");
    } else if (values.greys.size() < 2) {
        missing("rpi.awb", "a curve needs grey cards under two lights or more");
    } else {
        std::vector<std::string> curve;
        for (const LightGrey& grey : values.greys) {
            curve.push_back(std::to_string(grey.kelvin));
            curve.push_back(decimal_text(behind(grey.red_over_green, grey, lights, &RatioTables::red, values.sensor),
                                         kTableDecimals));
            curve.push_back(decimal_text(behind(grey.blue_over_green, grey, lights, &RatioTables::blue, values.sensor),
                                         kTableDecimals));
        }
        made.sections.push_back({"rpi.awb", {{"ct_curve", TuningValue::of(std::move(curve), 3)}}});
    }
    if (lights.empty()) {
        missing("rpi.alsc", "the results hold no flat field of known light");
    } else {
        TuningSection alsc{"rpi.alsc", {{"luminance_strength", TuningValue::of("1.0")}}};
        if (!mono) {
            alsc.keys.emplace_back("calibrations_Cr", calibrations(lights, &RatioTables::red));
            alsc.keys.emplace_back("calibrations_Cb", calibrations(lights, &RatioTables::blue));
        }
        alsc.keys.emplace_back("luminance_lut", luminance_lut(std::move(luminance), target.shading));
        made.sections.push_back(std::move(alsc));
    }
    if (values.matrices.empty()) {
        missing("rpi.ccm", mono ? "the sensor has no colours" : "the results hold no matrix of known light");
    } else {
        std::vector<TuningValue::Record> ccms;
        for (const LightMatrix& matrix : values.matrices) {
            ccms.push_back({{"ct", TuningValue::of(std::to_string(matrix.kelvin))},
                            {"ccm", TuningValue::of(matrix_texts(matrix.value, kMatrixDecimals), 3)}});
        }
        made.sections.push_back({"rpi.ccm", {{"ccms", TuningValue::of(std::move(ccms))}}});
    }
    return made;
}

ExportText rpi_tuning(const CameraValues& values, const RpiTarget& target) {
    StackValues made = rpi_values(values, target);
    return {json_tuning({{"comment", "\"" + fragment_note(values) + "\""},
                         {"version", "2.0"},
                         {"target", "\"" + std::string(target.name) + "\""}},
                        made.sections),
            std::move(made.notes)};
}

ExportText update_rpi_tuning(const CameraValues& values, const RpiTarget& target, const std::string& base,
                             const std::string& file) {
    const StackValues made = rpi_values(values, target);
    return update_tuning(base, file, made, [&](const TuningNode& root, TuningEdits& edits) {
        const TuningNode* const named = root.find("target");
        if (named == nullptr || named->text != target.name) {
            throw InputError(file + ": target " + (named == nullptr ? "not given" : "\"" + named->text + "\"") +
                             ", expected \"" + target.name + "\"");
        }
        // A level for a channel is taken in place of the common one.
        const FoundSection black = find_section(root, "rpi.black_level");
        if (black.keys != nullptr && values.black_level) {
            const Channels<double>& codes = *values.black_level;
            const std::array<std::pair<const char*, double>, 3> channels = {
                {{"black_level_r", codes[kRR]},
                 {"black_level_g", (codes[kGR] + codes[kGB]) / 2},
                 {"black_level_b", codes[kBB]}}};
            for (const auto& [key, code] : channels) {
                if (black.keys->find(key) != nullptr) {
                    edits.set(*black.name, *black.keys, key, TuningValue::of(whole(code * kStackCode)));
                }
            }
        }
        const auto awb = std::ranges::find(made.sections, "rpi.awb", &TuningSection::name);
        if (awb == made.sections.end()) {
            return;
        }
        // The other white balance has a curve of its own.
        const FoundSection copy = find_section(root, "rpi.nn.awb");
        if (copy.keys != nullptr && copy.keys->find("ct_curve") != nullptr) {
            edits.set(*copy.name, *copy.keys, "ct_curve", awb->keys.front().second);
        }
        for (const char* const name : {"rpi.awb", "rpi.nn.awb"}) {
            const FoundSection section = find_section(root, name);
            const TuningNode* const modes = section.keys == nullptr ? nullptr : section.keys->find("modes");
            if (modes != nullptr) {
                clip_modes(*modes, values.greys.front().kelvin, values.greys.back().kelvin, edits);
            }
        }
    });
}

}  // namespace cali::host
