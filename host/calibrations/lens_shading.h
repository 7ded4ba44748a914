/// Lens shading: one flat field in, tables and their proof out.
#pragma once

#include <filesystem>
#include <optional>
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

/// The flat field after black level and each kind of correction; 12-bit codes.
struct CorrectedFlat {
    std::vector<uint32_t> mesh;
    std::vector<uint32_t> radial;
};

/// Calibrates, and corrects the capture with the result. The capture's samples are used up. Throws InputError,
/// CalibrationError.
[[nodiscard]] LensShading calibrate_flat_field(Capture& flat, const BlackLevels& black_level,
                                               const ShadingSettings& settings, const LibraryOutput& output,
                                               CorrectedFlat& corrected);

/// Corrects a capture of an evenly lit surface with tables that are known, and measures how even it is before and
/// after: `shading` receives that. The capture's samples are used up. Returns the corrected frames.
CorrectedFlat prove_shading(Capture& flat, const BlackLevels& black_level, LensShading& shading,
                            const LibraryOutput& output);

/// Of a sensor without colours: every channel is corrected by green's gains. The mesh's red and blue, which are
/// relative to green, become unity.
void take_green(ShadingTables& tables);

/// The mesh as the front end takes it.
[[nodiscard]] ShadingGrids grids_of(const LensShading& shading);

[[nodiscard]] Section describe(const LensShading& result);

}  // namespace cali::host
