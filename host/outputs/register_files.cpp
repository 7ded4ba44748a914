#include "outputs/register_files.h"

#include "captures/pgm_file.h"
#include "stages/register_text.h"

namespace cali::host {

void add_shading_files(PendingFiles& files, const std::filesystem::path& folder, const LensShading& shading,
                       const SensorGeometry& sensor, const CorrectedFlat& corrected, const ShadingFileChoice& choice) {
    const auto target = [&](const char* ending) { return folder / (shading.file.stem().string() + ending); };
    if (choice.registers) {
        files.add_text(target("_lsc_registers.txt"), lsc_register_text(shading.tables));
        files.add_text(target("_lsc_coefficients.csv"), lsc_coefficient_csv(shading.tables));
    }
    const auto add_frame = [&](const char* ending, const std::vector<uint32_t>& samples) {
        write_pgm(files.add(target(ending)).stream(), sensor.width, sensor.height, kLibraryBits,
                  to_file_codes(samples));
    };
    if (choice.corrected) {
        add_frame("_mesh.pgm", corrected.mesh);
        add_frame("_radial.pgm", corrected.radial);
    }
}

}  // namespace cali::host
