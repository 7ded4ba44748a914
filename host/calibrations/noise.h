/// Noise profile as the program runs it: a brightness series in, lines, registers and residuals out.
#pragma once

#include <array>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "calibrations/black_level.h"

namespace cali::host {

/// What the exports measured at one brightness level, per channel in the exports' order of channels.
struct NoiseLevel {
    std::string name;
    int frames = 0;
    Channels<float> mean{};
    Channels<float> deviation{};
    Channels<float> variance{};
};

/// y = slope * mean + intercept, with the root mean square of y's relative differences from the line.
struct NoiseLine {
    float slope = 0;
    float intercept = 0;
    double residual = 0;
};

struct NoiseResults {
    Window window;
    NoiseSettings settings;
    std::vector<NoiseLevel> levels;
    Channels<NoiseLine> deviation;
    Channels<NoiseLine> variance;  ///< slope: codes per electron; intercept: squared read noise
    Channels<int32_t> slope_fix{};
    Channels<int32_t> level_fix{};
    int32_t luma_slope_fix = 0;
    int32_t luma_level_fix = 0;
    std::vector<std::string> warnings;
};

/// Frames are read one by one and cut to the window; a level's windows are all that is kept. Bits are those of
/// cali_isp_np_float_calc on the cut frames (docs/noise.md). Throws InputError; CalibrationError for a series that
/// gives no line. `capture` receives the geometry.
[[nodiscard]] NoiseResults calibrate_noise(const std::vector<SeriesLevel>& levels, const Geometry& geometry,
                                           const BlackLevels& black_level, const NoiseSettings& settings,
                                           const LibraryOutput& output, Capture& capture);

/// Levels of a folder: its subfolders, or else its files grouped by their names up to the last '_', dark to bright by
/// number. Throws InputError.
[[nodiscard]] std::vector<SeriesLevel> levels_of_folder(const std::filesystem::path& folder);

/// Files that a name with '*' and '?' in its last part matches, in order. Throws InputError where there are none.
[[nodiscard]] std::vector<std::filesystem::path> matching_files(const std::filesystem::path& pattern);

void print_noise(const NoiseResults& results);

/// An SVG chart: deviation against mean per channel, with both models. Throws InputError.
void write_noise_plot(const std::filesystem::path& file, const NoiseResults& results);

}  // namespace cali::host
