/// The session file: what was captured, and how it is to be calibrated. TOML; docs/session.md describes it.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "calibrations/colour_matrix_settings.h"
#include "calibrations/lens_shading_settings.h"
#include "captures/geometry.h"

namespace cali::host {

/// A window in photosites.
struct Window {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
};

enum class BlackLevelMethod { median, mean, mean_deviation };

[[nodiscard]] const char* method_name(BlackLevelMethod method);
/// Throws InputError.
[[nodiscard]] BlackLevelMethod parse_method(const std::string& text, const std::string& where);

/// A capture under one light.
struct LitCapture {
    std::filesystem::path file;
    std::optional<double> illuminant_k;
};

/// Frames of the same flat patch.
struct SeriesLevel {
    std::vector<std::filesystem::path> files;
};

struct NoiseSettings {
    std::optional<Window> window;  ///< default: the centre, at most 512 x 512
    int ref_level = 1024;          ///< code at which the level register holds the noise
    std::string slope_format = "U4.12";
    std::string level_format = "U10.0";
    bool progress = false;  ///< on standard error
};

/// Throws InputError where a register format has no form such as "U4.8".
void check_noise_format(const std::string& format, const std::string& where);

struct Session {
    std::filesystem::path file;
    Geometry geometry;
    std::vector<std::filesystem::path> dark;
    std::vector<LitCapture> flat;
    std::vector<LitCapture> grey;
    std::vector<LitCapture> chart;
    std::vector<SeriesLevel> series;
    BlackLevelMethod black_level_method = BlackLevelMethod::median;
    std::optional<Window> white_balance_window;
    ShadingSettings shading;
    MatrixSettings matrix;
    NoiseSettings noise;
};

/// Capture paths are relative to the file's folder. Unknown keys are errors. Throws InputError.
[[nodiscard]] Session read_session(const std::filesystem::path& file);

}  // namespace cali::host
