#include "outputs/register_files.h"

#include <cstdio>

#include "base/output_file.h"

namespace cali::host {
void ShadingFileOptions::add_to(CLI::App& command) {
    command.add_flag("--registers", registers, "also the tables as register text and CSV, beside the results");
    command.add_flag("--corrected", corrected,
                     "also the flat field corrected by the mesh and by the radial tables, as 16-bit PGM");
}

void write_shading_files(const std::filesystem::path& folder, const LensShading& shading,
                         const CorrectedFlat& corrected, const Capture& geometry, const ShadingFileOptions& options) {
    const auto target = [&](const char* ending) { return folder / (shading.file.stem().string() + ending); };
    const auto say = [](const std::filesystem::path& file) { std::printf("written: %s\n", file.string().c_str()); };
    if (options.registers) {
        write_text_file(target("_lsc_registers.txt"), lsc_register_text(shading.tables));
        say(target("_lsc_registers.txt"));
        write_text_file(target("_lsc_coefficients.csv"), lsc_coefficient_csv(shading.tables));
        say(target("_lsc_coefficients.csv"));
    }
    if (options.corrected) {
        write_pgm(target("_mesh.pgm"), geometry.width, geometry.height, kLibraryBits, to_file_codes(corrected.mesh));
        say(target("_mesh.pgm"));
        write_pgm(target("_radial.pgm"), geometry.width, geometry.height, kLibraryBits,
                  to_file_codes(corrected.radial));
        say(target("_radial.pgm"));
    }
}

}  // namespace cali::host
