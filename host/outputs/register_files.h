/// Files of a lens shading beside the results: register text, coefficients, corrected frames.
#pragma once

#include <filesystem>

#include "base/output_file.h"
#include "calibrations/lens_shading.h"

namespace cali::host {

struct ShadingFileChoice {
    bool registers = false;  ///< NAME_lsc_registers.txt and NAME_lsc_coefficients.csv for a capture NAME.raw
    bool corrected = false;  ///< NAME_mesh.pgm and NAME_radial.pgm
};

/// What is chosen, into `folder`.
void add_shading_files(PendingFiles& files, const std::filesystem::path& folder, const LensShading& shading,
                       const SensorGeometry& sensor, const CorrectedFlat& corrected, const ShadingFileChoice& choice);

}  // namespace cali::host
