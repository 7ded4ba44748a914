#include "outputs/register_values.h"

#include <algorithm>
#include <vector>

#include "base/error.h"
#include "base/text.h"
#include "cali/cali.h"
#include "captures/capture_entry.h"
#include "results/choose_values.h"
#include "results/sections.h"

namespace cali::host {
namespace {

constexpr std::size_t kPerLine = 16;

/// Values of one name; whole numbers, but for the restoring gains.
struct RegisterGroup {
    std::string name;
    std::string note;  ///< units and order
    std::vector<std::string> values;
    bool real = false;
};

template <typename Values>
RegisterGroup group(std::string name, std::string note, const Values& values) {
    RegisterGroup made{std::move(name), std::move(note), {}};
    for (const auto value : values) {
        made.values.push_back(std::to_string(value));
    }
    return made;
}

/// Of the chosen light and gain, among those that the checks did not reject; nothing where there are none.
template <typename Entry>
std::optional<Entry> choose(const Results& results, const std::vector<Entry>& entries, const Conditions& chosen,
                            const char* what) {
    const std::vector<Entry> usable = usable_entries(entries);
    if (usable.empty()) {
        return std::nullopt;
    }
    Conditions wanted = chosen;
    if (std::ranges::none_of(usable,
                             [](const Entry& entry) { return conditions_of(entry).illuminant_k.has_value(); })) {
        wanted.illuminant_k.reset();
    }
    return choose_entry(usable, wanted, results.file, what, "");
}

std::vector<RegisterGroup> values_of(const Results& results, const Conditions& chosen,
                                     std::optional<LensShading>& shading) {
    std::vector<RegisterGroup> groups;
    if (const auto black = choose(results, results.black_level, chosen, "black level")) {
        groups.push_back(group("blc_offset", "codes of 12 bits: RR, GR, GB, BB", black->values.offset));
        RegisterGroup gains{"blc_gain", "1.0 = unity: RR, GR, GB, BB", {}, true};
        for (const float gain : black->values.gain) {
            gains.values.push_back(text("%.9g", static_cast<double>(gain)));
        }
        groups.push_back(std::move(gains));
    }
    shading = choose(results, results.lens_shading, chosen, "lens shading");
    if (const auto balance = choose(results, results.white_balance, chosen, "white balance")) {
        const GainRegisters& gains = balance->gains;
        groups.push_back(
            group("wb_gain", "1024 = 1.0: red, green, blue", std::array{gains.red, gains.green, gains.blue}));
    }
    if (results.curve && results.curve->record.usable()) {
        groups.push_back(group("awb_curve", "packed record of the lights: three words", results.curve->fit.pack.word));
    }
    if (const auto matrix = choose(results, results.matrices, chosen, "colour matrix")) {
        groups.push_back(group("ccm", "1024 = 1.0: row-major", matrix->matrix.q10));
    }
    if (const auto noise = choose(results, results.noise, chosen, "noise profile")) {
        std::vector<int32_t> slopes;
        std::vector<int32_t> levels;
        for (const auto& line : noise->registers) {
            slopes.push_back(line.slope);
            levels.push_back(line.level);
        }
        slopes.push_back(noise->luma_registers.slope);
        levels.push_back(noise->luma_registers.level);
        groups.push_back(group("noise_slope", noise->settings.slope_format + ": RR, GR, GB, BB, luma", slopes));
        groups.push_back(
            group("noise_level",
                  noise->settings.level_format + text(" at code %d: RR, GR, GB, BB, luma", noise->settings.ref_level),
                  levels));
    }
    if (const auto table = choose(results, results.tables, chosen, "colour table"); table && table->needed) {
        const bool rgb = table->settings.domain == TableDomain::rgb;
        groups.push_back(group("clut",
                               text("%d nodes to a side, %s", table->settings.nodes,
                                    rgb ? "R, G, B codes of 12 bits, red fastest"
                                        : "hue shift in 1/64 degree, saturation and value scale with 1024 = 1.0"),
                               table->value));
    }
    if (groups.empty() && !shading) {
        throw InputError(results.file.string() + ": holds no tuning values, expected results of a calibration");
    }
    return groups;
}

std::string joined(const std::vector<std::string>& values, const std::string& margin) {
    std::string lines;
    for (std::size_t i = 0; i < values.size(); ++i) {
        lines += i % kPerLine == 0 ? "\n" + margin : " ";
        lines += values[i] + ",";
    }
    return lines;
}

std::string first_line(const Results& results) {
    return "cali " CALI_VERSION_STRING ", sensor of " + to_text(results.sensor);
}

}  // namespace

std::string register_values_text(const Results& results, const Conditions& chosen) {
    std::optional<LensShading> shading;
    std::string made = "# " + first_line(results) + "\n";
    for (const RegisterGroup& one : values_of(results, chosen, shading)) {
        made += "# " + one.note + "\nreg_" + one.name;
        made += one.values.size() == 1 ? " = " + one.values.front() + "\n"
                                       : " = <<<END_OF_TEXT" + joined(one.values, "") + "\nEND_OF_TEXT\n";
    }
    return shading ? made + "# 512 = 1.0\n" + lsc_register_text(shading->tables) : made;
}

std::string register_values_header(const Results& results, const Conditions& chosen) {
    std::optional<LensShading> shading;
    std::vector<RegisterGroup> groups = values_of(results, chosen, shading);
    if (shading) {
        const ShadingTables& tables = shading->tables;
        groups.push_back(group("lsc_centre", "photosites: x, y", std::array{tables.center_x, tables.center_y}));
        groups.push_back(group("lsc_radial_norm", "", std::array{tables.norm}));
        groups.push_back(group("lsc_radial", "red, green, blue, infrared, one table after the other", tables.radial));
        groups.push_back(group("lsc_mesh_size", "columns, rows", std::array{tables.cols, tables.rows}));
        constexpr std::array<const char*, 3> kMeshNames = {"lsc_mesh_red", "lsc_mesh_green", "lsc_mesh_blue"};
        for (std::size_t c = 0; c < kMeshNames.size(); ++c) {
            groups.push_back(group(kMeshNames[c], c == 1 ? "512 = 1.0, row-major" : "512 = 1.0 over green's, row-major",
                                   tables.mesh[c]));
        }
    }
    std::string made =
        "/* " + first_line(results) + " */\n#ifndef CALI_TUNING_H\n#define CALI_TUNING_H\n\n#include <stdint.h>\n";
    for (const RegisterGroup& one : groups) {
        made += "\n" + (one.note.empty() ? "" : "/* " + one.note + " */\n") +
                text("static const %s cali_%s[%zu] = {", one.real ? "float" : "int32_t", one.name.c_str(),
                     one.values.size()) +
                joined(one.values, "    ") + "\n};\n";
    }
    return made + "\n#endif\n";
}

}  // namespace cali::host
