/// Whether a brightness series tells the noise.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "calibrations/noise.h"
#include "captures/channels.h"
#include "captures/frame.h"
#include "checks/check.h"
#include "library/tuning_values.h"

namespace cali::host {

/// One frame of a series in its window. Codes above black.
struct SeriesFrame {
    Channels<double> mean{};
    Channels<double> deviation{};
    double samples = 0;  ///< per channel
    double clipped = 0;  ///< share of the samples at the white level or not above black
};

/// The window is even and fits the frame.
[[nodiscard]] SeriesFrame measure_series_frame(const Capture& frame, const Window& window,
                                               const BlackLevels& black_level);

struct MeasuredLevel {
    std::string name;  ///< for messages: "level 3"
    std::vector<SeriesFrame> frames;
};

/// Before lines are fitted: clipping, flicker, order and spread of the levels. `sensor` is that of the frames.
void check_series(std::span<const MeasuredLevel> levels, const SensorGeometry& sensor, const BlackLevels& black_level,
                  Judge& judge);

/// The fitted lines.
void check_noise(const NoiseResults& noise, const SensorGeometry& sensor, Judge& judge);

}  // namespace cali::host
