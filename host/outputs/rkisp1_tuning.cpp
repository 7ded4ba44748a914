#include "outputs/rkisp1_tuning.h"

#include <algorithm>
#include <cmath>

#include "base/error.h"
#include "base/text.h"
#include "outputs/stack_tables.h"

namespace cali::host {
namespace {

constexpr TableLayout kShading = {17, 17, true};
constexpr double kUnity = 1024;
constexpr double kMostGain = 4095;  // a table's
constexpr int kGainDecimals = 4;
constexpr double kMostColourGain = 3.996;
constexpr double kLeastEntry = -8;  // of a matrix
constexpr double kMostEntry = 7.992;

struct SetTables {
    int kelvin;
    GainTables gains;  ///< whole numbers, 1024 = 1.0, of least 1024
};

SetTables tables_of(const LightShading& light, const SensorGeometry& sensor, std::size_t& limited) {
    SetTables made{light.kelvin, gain_tables(light.surface, sensor, kShading)};
    for (StackTable& table : made.gains) {
        const double least = std::ranges::min(table.values);
        for (double& value : table.values) {
            value = std::round(value / least * kUnity);
            limited += value > kMostGain ? 1 : 0;
            value = std::min(value, kMostGain);
        }
    }
    return made;
}

TuningValue table_text(const StackTable& table) {
    return TuningValue::of(decimal_texts(table.values, 0), static_cast<std::size_t>(table.layout.cols));
}

TuningSection shading_section(const std::vector<SetTables>& lights) {
    const TuningValue sizes = TuningValue::of(std::vector<std::string>(8, "0.0625"), 8);
    std::vector<TuningValue::Record> sets;
    sets.reserve(lights.size());
    for (const SetTables& light : lights) {
        sets.push_back({{"ct", TuningValue::of(std::to_string(light.kelvin))},
                        {"r", table_text(light.gains[0])},
                        {"gr", table_text(light.gains[1])},
                        {"gb", table_text(light.gains[1])},
                        {"b", table_text(light.gains[2])}});
    }
    return {"LensShadingCorrection",
            {{"x-size", sizes}, {"y-size", sizes}, {"sets", TuningValue::of(std::move(sets))}}};
}

/// Gains that make grey equal behind the tables.
TuningSection balance_section(const CameraValues& values, const std::vector<SetTables>& lights,
                              std::vector<std::string>& notes) {
    std::vector<TuningValue::Record> gains;
    for (const LightGrey& grey : values.greys) {
        std::array<double, 3> behind = {1, 1, 1};
        for (std::size_t c = 0; !lights.empty() && c < behind.size(); ++c) {
            behind[c] = table_at(lights, grey.kelvin, [&](const SetTables& light) {
                            return light.gains[c];
                        }).at(grey.x, grey.y, values.sensor);
        }
        std::vector<std::string> pair;
        for (const double gain :
             {behind[1] / (grey.red_over_green * behind[0]), behind[1] / (grey.blue_over_green * behind[2])}) {
            if (gain >= kMostColourGain) {
                notes.push_back(
                    text("Awb: a gain of %.3f at %d K, limited below %.3f", gain, grey.kelvin, kMostColourGain));
            }
            pair.push_back(decimal_text(std::min(gain, kMostColourGain - 0.001), kGainDecimals));
        }
        gains.push_back(
            {{"ct", TuningValue::of(std::to_string(grey.kelvin))}, {"gains", TuningValue::of(std::move(pair), 2)}});
    }
    return {"Awb", {{"colourGains", TuningValue::of(std::move(gains))}}};
}

TuningSection matrix_section(const std::vector<LightMatrix>& matrices) {
    std::vector<TuningValue::Record> ccms;
    for (const LightMatrix& matrix : matrices) {
        const auto [least, most] = std::ranges::minmax(matrix.value);
        if (least < kLeastEntry || most > kMostEntry) {
            throw CalibrationError(text("colour_matrix for %d K: entries from %.3f to %.3f, expected %g to %g",
                                        matrix.kelvin, least, most, kLeastEntry, kMostEntry));
        }
        ccms.push_back({{"ct", TuningValue::of(std::to_string(matrix.kelvin))},
                        {"ccm", TuningValue::of(matrix_texts(matrix.value, kGainDecimals), 3)}});
    }
    return {"Ccm", {{"ccms", TuningValue::of(std::move(ccms))}}};
}

StackValues rkisp1_values(const CameraValues& values) {
    StackValues made{{}, values.notes};
    const auto missing = [&](const char* section, const char* why) {
        made.notes.push_back(text("%s: left out, %s", section, why));
    };
    const bool mono = values.sensor.mono;
    std::vector<SetTables> lights;
    std::size_t limited = 0;
    for (const LightShading& light : values.shading) {
        lights.push_back(tables_of(light, values.sensor, limited));
    }
    if (limited > 0) {
        made.notes.push_back(text("LensShadingCorrection: %zu gains above %g limited to it", limited, kMostGain));
    }
    if (values.greys.empty()) {
        missing("Awb", mono ? "the sensor has no colours" : "the results hold no grey card of known light");
    } else {
        made.sections.push_back(balance_section(values, lights, made.notes));
    }
    if (values.black_level) {
        TuningSection black{"BlackLevelCorrection", {}};
        constexpr std::array<const char*, 4> kKeys = {"R", "Gr", "Gb", "B"};
        for (std::size_t c = 0; c < kKeys.size(); ++c) {
            black.keys.emplace_back(
                kKeys[c], TuningValue::of(std::to_string(std::lround((*values.black_level)[c] * kStackCode))));
        }
        made.sections.push_back(std::move(black));
    } else {
        missing("BlackLevelCorrection", "the results hold no black level");
    }
    if (lights.empty()) {
        missing("LensShadingCorrection", "the results hold no flat field of known light");
    } else {
        made.sections.push_back(shading_section(lights));
    }
    if (values.matrices.empty()) {
        missing("Ccm", mono ? "the sensor has no colours" : "the results hold no matrix of known light");
    } else {
        made.sections.push_back(matrix_section(values.matrices));
    }
    return made;
}

}  // namespace

ExportText rkisp1_tuning(const CameraValues& values) {
    StackValues made = rkisp1_values(values);
    return {yaml_tuning("# " + fragment_note(values) + "\n", "1", made.sections), std::move(made.notes)};
}

ExportText update_rkisp1_tuning(const CameraValues& values, const std::string& base, const std::string& file) {
    return update_tuning(base, file, rkisp1_values(values), [&](const TuningNode& root, TuningEdits& edits) {
        const TuningNode* const version = root.find("version");
        if (version == nullptr || version->text != "1") {
            throw InputError(file + ": version " + (version == nullptr ? "not given" : version->text) +
                             ", expected 1: no tuning file of rkisp1");
        }
        const FoundSection awb = find_section(root, "Awb");
        const TuningNode* const modes = awb.keys == nullptr ? nullptr : awb.keys->find("AwbMode");
        if (modes != nullptr && !values.greys.empty()) {
            clip_modes(*modes, values.greys.front().kelvin, values.greys.back().kelvin, edits);
        }
    });
}

}  // namespace cali::host
