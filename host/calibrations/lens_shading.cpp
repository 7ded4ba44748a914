#include "calibrations/lens_shading.h"

#include "base/error.h"
#include "base/text.h"
#include "library/exports.h"
#include "library/front_end.h"

namespace cali::host {
namespace {

constexpr int kLeastSide = 16;  ///< of a flat field

}  // namespace

void take_green(ShadingTables& tables) {
    constexpr std::size_t kGreen = 1;
    constexpr int32_t kUnity = 512;
    for (std::size_t i = 0; i < tables.mesh.size(); ++i) {
        if (i != kGreen) {
            tables.mesh[i].assign(tables.mesh[kGreen].size(), kUnity);
        }
    }
    for (std::size_t i = 0; i < tables.radial.size(); ++i) {
        tables.radial[i] = tables.radial[kGreen * kRadialEntries + i % kRadialEntries];
    }
}

LensShading calibrate_flat_field(Capture& flat, const BlackLevels& black_level, const ShadingSettings& settings,
                                 const LibraryOutput& output, CorrectedFlat& corrected) {
    require_shadeable(flat);
    const SensorGeometry& sensor = flat.sensor;
    if (sensor.width < kLeastSide || sensor.height < kLeastSide) {
        throw InputError(flat.file.string() + ": " + by(sensor.width, sensor.height) +
                         " samples, expected a flat field of 16 x 16 or more");
    }
    LensShading result;
    result.file = flat.file;
    result.settings = settings;
    if (sensor.mono) {
        result.settings.type = ShadingType::luma;
    }
    result.tables = exports::lsc_calc(
        flat, {settings.cols, settings.rows, static_cast<int32_t>(result.settings.type), settings.denoise}, black_level,
        output);
    if (sensor.mono) {
        take_green(result.tables);
    }
    corrected = prove_shading(flat, black_level, result, output);
    return result;
}

CorrectedFlat prove_shading(Capture& flat, const BlackLevels& black_level, LensShading& shading,
                            const LibraryOutput& output) {
    const SensorGeometry& sensor = flat.sensor;
    CorrectedFlat corrected;
    shading.before = measure_flatness(block_means(flat.view(), black_level.offset));
    exports::lsc_verify(flat, black_level, shading.tables, corrected.mesh, corrected.radial, output);
    const auto flatness = [&](const std::vector<uint32_t>& samples) {
        return measure_flatness(block_means({samples.data(), sensor.width, sensor.height, sensor.pattern}, {}));
    };
    shading.after_mesh = flatness(corrected.mesh);
    shading.after_radial = flatness(corrected.radial);
    return corrected;
}

ShadingGrids grids_of(const LensShading& shading) {
    const auto table = [&](std::size_t i) {
        const std::vector<int32_t>& nodes = shading.tables.mesh[i];
        return std::vector<uint32_t>(nodes.begin(), nodes.end());
    };
    return {shading.tables.cols, shading.tables.rows, table(0), table(1), table(2)};
}

Section describe(const LensShading& result) {
    const ShadingSettings& settings = result.settings;
    Section section;
    section.title = "Lens shading: " + result.file.filename().string() +
                    text(", mesh of %d x %d nodes, %s%s, centre (%d, %d)", settings.cols, settings.rows,
                         shading_type_name(settings.type), settings.denoise ? ", denoised" : "", result.tables.center_x,
                         result.tables.center_y);
    Table& table = section.tables.emplace_back();
    table.columns = {{"", 16, true},
                     {"corner / centre", 16},
                     {"luminance rms", 16},
                     {"worst luminance", 16},
                     {"worst colour shift", 20}};
    const auto add = [&](const char* name, const char* key, const Flatness& flatness) {
        const auto share = [](double value) { return text("%.2f %%", value * 100); };
        table.rows.push_back({{name, text("%.3f", flatness.corner_to_centre), share(flatness.luminance_rms),
                               share(flatness.worst_luminance), share(flatness.worst_colour_shift)},
                              ""});
        const std::string prefix = std::string(key) + "_";
        section.figures.push_back({prefix + "corner_to_centre", flatness.corner_to_centre, ""});
        section.figures.push_back({prefix + "luminance_rms", flatness.luminance_rms * 100, "%"});
        section.figures.push_back({prefix + "worst_luminance", flatness.worst_luminance * 100, "%"});
        section.figures.push_back({prefix + "worst_colour_shift", flatness.worst_colour_shift * 100, "%"});
    };
    add("before", "before", result.before);
    add("after mesh", "after_mesh", result.after_mesh);
    add("after radial", "after_radial", result.after_radial);
    return section;
}

}  // namespace cali::host
