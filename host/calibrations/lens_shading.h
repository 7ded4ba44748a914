/// Lens-shading calibration as the program runs it: one flat field in, tables and their proof out.
#pragma once

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "base/error.h"
#include "calibrations/black_level.h"
#include "calibrations/flatness.h"
#include "calibrations/lens_shading_settings.h"
#include "stages/register_text.h"

namespace cali::host {

struct LensShading {
    std::filesystem::path file;
    std::optional<double> illuminant_k;
    ShadingSettings settings;
    ShadingTables tables;
    Uniformity before;
    Uniformity after_mesh;
    Uniformity after_radial;
};

/// The flat field after black level and each kind of correction; 12-bit codes.
struct CorrectedFlat {
    std::vector<uint32_t> mesh;
    std::vector<uint32_t> radial;
};

/// Why the capture is no flat field to calibrate on, one clear text each: saturated, dark, lit from one side.
[[nodiscard]] std::vector<std::string> find_faults(const Capture& flat, const BlackLevels& black_level);

/// Throws CalibrationError with the faults; where `forced`, says them on standard error and returns.
void require_flat(const Capture& flat, const BlackLevels& black_level, bool forced);

/// Calibrates, and corrects the capture with the result. The capture's samples are used up. Throws InputError,
/// CalibrationError.
[[nodiscard]] LensShading calibrate_flat_field(Capture& flat, const BlackLevels& black_level,
                                               const ShadingSettings& settings, const LibraryOutput& output,
                                               CorrectedFlat& corrected);

/// The mesh as the front end takes it.
[[nodiscard]] ShadingGrids grids_of(const LensShading& shading);

/// Gains of a grey card behind the mesh of the nearest light; behind unity grids where there is none.
[[nodiscard]] WhiteBalance balance_grey_card(Capture& grey, std::optional<double> illuminant_k,
                                             const BlackLevels& black_level, const std::vector<LensShading>& shading,
                                             const Window& window, const LibraryOutput& output);

/// The only entry, or the one of a light; `what` speaks of the entries. Throws InputError, which names the lights.
template <typename Lit>
[[nodiscard]] const Lit& choose_by_light(const std::vector<Lit>& entries, std::optional<double> illuminant_k,
                                         const std::filesystem::path& file, const std::string& what,
                                         const std::string& expected) {
    std::string known;
    for (const Lit& entry : entries) {
        if (!illuminant_k ? entries.size() == 1 : entry.illuminant_k == illuminant_k) {
            return entry;
        }
        known +=
            (known.empty() ? "" : ", ") + (entry.illuminant_k ? std::to_string(std::lround(*entry.illuminant_k)) + " K"
                                                              : entry.file.generic_string() + " (no light given)");
    }
    if (known.empty()) {
        throw InputError(file.string() + ": holds no " + what + ", expected " + expected);
    }
    throw InputError(file.string() + ": holds " + what + " for " + known + "; choose one with --illuminant");
}

/// The entry whose light is nearest (by reciprocal temperature); the first where lights are unknown, none of none.
template <typename Lit>
[[nodiscard]] const Lit* nearest_light(const std::vector<Lit>& entries, std::optional<double> illuminant_k) {
    const auto distance = [&](const Lit& entry) {
        return illuminant_k && entry.illuminant_k ? std::abs(1 / *illuminant_k - 1 / *entry.illuminant_k)
                                                  : std::numeric_limits<double>::infinity();
    };
    const auto nearest = std::ranges::min_element(entries, {}, distance);
    return nearest == entries.end() ? nullptr : &*nearest;
}

}  // namespace cali::host
