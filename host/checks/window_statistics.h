/// What a window behind the front end holds, and how much of its variation is noise.
#pragma once

#include "captures/channels.h"
#include "chart/chart_windows.h"
#include "core/frame.h"
#include "stages/front_end.h"

namespace cali::host {

/// Codes. Single pixels far off both neighbours are left out.
struct ChannelStatistics {
    double samples = 0;
    double mean = 0;
    double deviation = 0;
    double noise = 0;  ///< standard deviation by the differences of neighbouring samples: slopes and edges do not count
};

/// `rows` are those of the frame; the window fits it.
[[nodiscard]] Channels<ChannelStatistics> measure_window(const ConstRawFrame& frame, FrontEndRows& rows,
                                                         const RoiRect& window);

/// What is left of a measured value whose noise adds in squares; 0 where noise alone explains it.
[[nodiscard]] double beyond_noise(double value, double noise);

}  // namespace cali::host
