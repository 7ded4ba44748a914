/// Noise profile: a brightness series in, lines, registers and residuals out.
#pragma once

#include <array>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "base/conditions.h"
#include "base/record.h"
#include "base/section.h"
#include "base/uncertainty.h"
#include "calibrations/noise_settings.h"
#include "captures/burst.h"
#include "captures/frame.h"
#include "captures/frame_series.h"
#include "library/exports.h"
#include "library/library_call.h"
#include "library/tuning_values.h"

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
struct NoiseLine : exports::FittedLine {
    double residual = 0;
};

/// variance = slope * mean + intercept by regression weighted with the variances' own uncertainties, in double.
struct WeightedLine {
    Measured slope;      ///< codes per electron
    Measured intercept;  ///< squared read noise, and the variance of rounding to codes
};

struct NoiseResults {
    Window window;
    NoiseSettings settings;
    std::vector<NoiseLevel> levels;
    Channels<NoiseLine> deviation;
    Channels<NoiseLine> variance;                  ///< slope: codes per electron; intercept: squared read noise
    Channels<exports::LineRegisters> registers{};  ///< of the deviation's line
    exports::LineRegisters luma_registers;
    Channels<WeightedLine> weighted{};
    Conditions taken = {};
    Record record = {};
};

/// Frames dark to bright and how they are read: one by one in their order, but for a frame of the brightest level, of
/// which the window may follow.
struct NoiseSeries {
    const std::vector<SeriesLevel>& levels;
    const Geometry& geometry;
    CaptureRead read;
};

/// Told of every frame: the number of its level, from 0, and the window that is measured.
using FrameObserver = std::function<void(std::size_t level, const Capture& frame, const Window& window)>;

/// Frames are read one by one and cut to the window; a level's windows are all that is kept. Bits are those of
/// cali_isp_np_float_calc on the cut frames (docs/noise.md). Throws InputError; CalibrationError for a series that
/// gives no line. `sensor` receives the geometry.
[[nodiscard]] NoiseResults calibrate_noise(const NoiseSeries& series, const BlackLevels& black_level,
                                           const NoiseSettings& settings, const LibraryOutput& output,
                                           const FrameObserver& observe, SensorGeometry& sensor);

/// Last bit of the largest of a level's single-precision sums over its smallest deviation: beyond a few, what is added
/// is rounded away.
[[nodiscard]] double sum_rounding(const NoiseLevel& level, const Window& window);
/// The largest that is sound.
inline constexpr double kMostSumRounding = 4;

/// Of all levels.
[[nodiscard]] std::size_t frame_count(const std::vector<SeriesLevel>& levels);

[[nodiscard]] Section describe(const NoiseResults& results);
void add_plots(const NoiseResults& results, Section& section);

}  // namespace cali::host
