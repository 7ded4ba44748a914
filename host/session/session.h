/// The session file: what was captured, and how it is to be calibrated. TOML; docs/session.md describes it.
#pragma once

#include <filesystem>
#include <optional>
#include <vector>

#include "calibrations/black_level_settings.h"
#include "calibrations/colour_matrix_settings.h"
#include "calibrations/lens_shading_settings.h"
#include "calibrations/noise_settings.h"
#include "captures/capture_entry.h"
#include "captures/channels.h"
#include "captures/frame_series.h"
#include "captures/geometry.h"
#include "checks/check.h"

namespace cali::host {

struct Session {
    std::filesystem::path file;
    std::filesystem::path truth;  ///< of a simulated sensor; empty: none
    Geometry geometry;
    std::vector<CaptureEntry> dark;
    std::vector<CaptureEntry> flat;
    std::vector<CaptureEntry> grey;
    std::vector<CaptureEntry> chart;
    std::vector<SeriesLevel> series;
    BlackLevelMethod black_level_method = BlackLevelMethod::median;
    std::optional<Channels<double>> black_level_offset;  ///< known, in codes of the captures' depth
    std::optional<Window> white_balance_window;
    ShadingSettings shading;
    MatrixSettings matrix;
    NoiseSettings noise;
    Limits limits;
};

/// Capture paths are relative to the file's folder. Unknown keys are errors. Throws InputError.
[[nodiscard]] Session read_session(const std::filesystem::path& file);

/// The gain that the session states for a capture, or a frame of a burst, where it names the file.
[[nodiscard]] std::optional<double> stated_gain(const Session& session, const std::filesystem::path& file);

/// A file of limits: tables [limits], whose keys are the checks' codes, and [diff]. Each overrides the one in force.
/// Throws InputError.
void read_limits(const std::filesystem::path& file, Limits& limits);

}  // namespace cali::host
