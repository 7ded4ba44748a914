#include "calibrations/lens_shading.h"

#include "base/error.h"
#include "base/text.h"
#include "library/exports.h"
#include "library/front_end.h"

namespace cali::host {
namespace {

constexpr int kLeastSide = 16;  ///< of a flat field

/// One shading stage with tables that were calibrated. The one is no input of the other.
class CorrectedRows {
public:
    CorrectedRows(const ConstRawFrame& frame, const ShadingTables& tables, ShadingKind kind)
        : rows_(frame, front_end(tables, kind)) {}

    void row(int y, const uint32_t* source, uint32_t* destination) { rows_.row(y, source, destination); }

private:
    static FrontEnd front_end(const ShadingTables& tables, ShadingKind kind) {
        FrontEnd stages;
        if (kind == ShadingKind::radial) {
            stages.radial = RadialTables{tables.center_x, tables.center_y, tables.radial.data()};
        } else {
            stages.mesh = MeshGrids{tables.cols, tables.rows, nodes(tables.mesh[0]), nodes(tables.mesh[1]),
                                    nodes(tables.mesh[2])};
        }
        return stages;
    }
    /// The block's fields have no sign.
    static const uint32_t* nodes(const std::vector<int32_t>& table) {
        return reinterpret_cast<const uint32_t*>(table.data());
    }

    FrontEndRows rows_;
};

FrontEnd subtraction_of(const BlackLevels& black_level) {
    FrontEnd stages;
    stages.black_level = black_level_stage(black_level);
    return stages;
}

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
                                 const LibraryOutput& output) {
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
    prove_shading(flat, black_level, result);
    return result;
}

void prove_shading(const Capture& flat, const BlackLevels& black_level, LensShading& shading) {
    require_shadeable(flat);
    const ConstRawFrame frame = flat.view();
    FrontEndRows black_rows(frame, subtraction_of(black_level));
    CorrectedRows mesh(frame, shading.tables, ShadingKind::mesh);
    CorrectedRows radial(frame, shading.tables, ShadingKind::radial);
    BlockSums before(frame, black_level.offset);
    BlockSums after_mesh(frame, {});
    BlockSums after_radial(frame, {});
    Samples subtracted(frame.columns());
    Samples corrected(frame.columns());
    for (int y = 0; y < frame.height; ++y) {
        before.add_row(y, frame.row(y));
        black_rows.row(y, frame.row(y), subtracted.data());
        mesh.row(y, subtracted.data(), corrected.data());
        after_mesh.add_row(y, corrected.data());
        radial.row(y, subtracted.data(), corrected.data());
        after_radial.add_row(y, corrected.data());
    }
    shading.before = measure_flatness(before.means());
    shading.after_mesh = measure_flatness(after_mesh.means());
    shading.after_radial = measure_flatness(after_radial.means());
}

void correct_flat(const Capture& flat, const BlackLevels& black_level, const ShadingTables& tables, ShadingKind kind,
                  const std::function<void(std::span<const uint32_t> row)>& use) {
    const ConstRawFrame frame = flat.view();
    FrontEndRows black_rows(frame, subtraction_of(black_level));
    CorrectedRows rows(frame, tables, kind);
    Samples corrected(frame.columns());
    for (int y = 0; y < frame.height; ++y) {
        black_rows.row(y, frame.row(y), corrected.data());
        rows.row(y, corrected.data(), corrected.data());
        use(corrected);
    }
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
        constexpr double kGainStep = 1.0 / 512;
        section.figures.push_back({prefix + "corner_to_centre", flatness.corner_to_centre, "", {}, kGainStep});
        section.figures.push_back({prefix + "luminance_rms", flatness.luminance_rms * 100, "%", {}, kGainStep * 100});
        section.figures.push_back(
            {prefix + "worst_luminance", flatness.worst_luminance * 100, "%", {}, kGainStep * 100});
        section.figures.push_back(
            {prefix + "worst_colour_shift", flatness.worst_colour_shift * 100, "%", {}, kGainStep * 100});
    };
    section.figures = {{"centre_x", static_cast<double>(result.tables.center_x), "px", {}, 1},
                       {"centre_y", static_cast<double>(result.tables.center_y), "px", {}, 1}};
    add("before", "before", result.before);
    add("after mesh", "after_mesh", result.after_mesh);
    add("after radial", "after_radial", result.after_radial);
    add_plots(result, section);
    return section;
}

}  // namespace cali::host
