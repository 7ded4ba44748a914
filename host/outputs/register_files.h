/// Files of a lens shading beside the results: register text, coefficients, corrected frames.
#pragma once

#include <filesystem>
#include <functional>
#include <vector>

#include "base/output_file.h"
#include "calibrations/black_level.h"
#include "calibrations/lens_shading.h"

namespace cali::host {

struct ShadingFileChoice {
    bool registers = false;  ///< NAME_lsc_registers.txt and NAME_lsc_coefficients.csv for a capture NAME.raw
    bool corrected = false;  ///< NAME_mesh.pgm and NAME_radial.pgm
};

/// Names of what is chosen, for a capture.
[[nodiscard]] std::vector<std::filesystem::path> shading_file_names(const std::filesystem::path& folder,
                                                                    const std::filesystem::path& capture,
                                                                    const ShadingFileChoice& choice);

/// What is chosen, into `folder`. `read` is called, once, where the flat field is needed; nothing is added where it
/// throws.
void add_shading_files(PendingFiles& files, const std::filesystem::path& folder, const LensShading& shading,
                       const BlackLevels& black_level, const std::function<Capture()>& read,
                       const ShadingFileChoice& choice);

}  // namespace cali::host
