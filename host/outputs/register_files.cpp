#include "outputs/register_files.h"

#include <optional>

#include "base/text.h"
#include "captures/pgm_file.h"
#include "stages/register_text.h"

namespace cali::host {
namespace {

constexpr const char* kRegisters = "_lsc_registers.txt";
constexpr const char* kCoefficients = "_lsc_coefficients.csv";
constexpr const char* kMesh = "_mesh.pgm";
constexpr const char* kRadial = "_radial.pgm";

}  // namespace

std::vector<std::filesystem::path> shading_file_names(const std::filesystem::path& folder,
                                                      const std::filesystem::path& capture,
                                                      const ShadingFileChoice& choice) {
    std::vector<std::filesystem::path> names;
    const auto add = [&](const char* ending) { names.push_back(folder / path_of(capture.stem().string() + ending)); };
    if (choice.registers) {
        add(kRegisters);
        add(kCoefficients);
    }
    if (choice.corrected) {
        add(kMesh);
        add(kRadial);
    }
    return names;
}

void add_shading_files(PendingFiles& files, const std::filesystem::path& folder, const LensShading& shading,
                       const BlackLevels& black_level, const std::function<Capture()>& read,
                       const ShadingFileChoice& choice) {
    const auto target = [&](const char* ending) { return folder / path_of(shading.file.stem().string() + ending); };
    const std::optional<Capture> flat = choice.corrected ? std::optional(read()) : std::nullopt;
    if (choice.registers) {
        files.add_text(target(kRegisters), lsc_register_text(shading.tables));
        files.add_text(target(kCoefficients), lsc_coefficient_csv(shading.tables));
    }
    if (!flat) {
        return;
    }
    const auto add_frame = [&](const char* ending, ShadingKind kind) {
        PgmWriter picture(files.add(target(ending)).stream(), flat->sensor.width, flat->sensor.height, kLibraryBits);
        correct_flat(*flat, black_level, shading.tables, kind,
                     [&](std::span<const uint32_t> row) { picture.write(to_file_codes(row)); });
    };
    add_frame(kMesh, ShadingKind::mesh);
    add_frame(kRadial, ShadingKind::radial);
}

}  // namespace cali::host
