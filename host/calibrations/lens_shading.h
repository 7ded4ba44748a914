/// Lens shading: one flat field in, tables and their proof out.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "base/conditions.h"
#include "base/record.h"
#include "base/section.h"
#include "calibrations/flatness.h"
#include "calibrations/lens_shading_settings.h"
#include "captures/frame.h"
#include "library/library_call.h"
#include "library/tuning_values.h"
#include "stages/register_text.h"

namespace cali::host {

struct LensShading {
    std::filesystem::path file;
    Conditions taken;
    ShadingSettings settings;
    ShadingTables tables;
    Flatness before;
    Flatness after_mesh;
    Flatness after_radial;
    Record record = {};
};

/// Calibrates, and proves the result on the capture. Throws InputError, CalibrationError.
[[nodiscard]] LensShading calibrate_flat_field(Capture& flat, const BlackLevels& black_level,
                                               const ShadingSettings& settings, const LibraryOutput& output);

/// Corrects a capture of an evenly lit surface with tables that are known, and measures how even it is before and
/// after: `shading` receives that.
void prove_shading(const Capture& flat, const BlackLevels& black_level, LensShading& shading);

enum class ShadingKind { mesh, radial };

/// Corrects a flat field behind the black level, row by row: 12-bit codes.
void correct_flat(const Capture& flat, const BlackLevels& black_level, const ShadingTables& tables, ShadingKind kind,
                  const std::function<void(std::span<const uint32_t> row)>& use);

/// Of a sensor without colours: every channel is corrected by green's gains. The mesh's red and blue, which are
/// relative to green, become unity.
void take_green(ShadingTables& tables);

/// The mesh as the front end takes it.
[[nodiscard]] ShadingGrids grids_of(const LensShading& shading);

[[nodiscard]] Section describe(const LensShading& result);
void add_plots(const LensShading& result, Section& section);

}  // namespace cali::host
