/// Files beside the results: register text, coefficients, corrected frames.
#pragma once

#include <CLI/CLI.hpp>
#include <filesystem>

#include "calibrations/lens_shading.h"

namespace cali::host {

/// --registers and --corrected.
struct ShadingFileOptions {
    bool registers = false;
    bool corrected = false;

    void add_to(CLI::App& command);
    [[nodiscard]] bool any() const { return registers || corrected; }
};

/// NAME_lsc_registers.txt and NAME_lsc_coefficients.csv, NAME_mesh.pgm and NAME_radial.pgm for a capture NAME.raw, as
/// asked for; each is printed.
void write_shading_files(const std::filesystem::path& folder, const LensShading& shading,
                         const CorrectedFlat& corrected, const Capture& geometry, const ShadingFileOptions& options);

}  // namespace cali::host
