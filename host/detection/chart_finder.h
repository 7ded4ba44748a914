/// The 24-patch chart, wherever a capture shows it.
#pragma once

#include <string>
#include <vector>

#include "calibrations/chart_geometry.h"
#include "captures/frame.h"
#include "chart/chart_windows.h"
#include "library/tuning_values.h"

namespace cali::host {

struct FoundChart {
    bool found = false;
    double confidence = 0;     ///< 0..1, of the best that was seen, found or not
    Corners corners{};         ///< of the same; all zero where nothing was seen
    ChartWindows windows{};    ///< what windows_from_corners makes of the corners, where found
    std::string orientation;   ///< "upright", "turned by 93 degrees"; where found
    std::string reason;        ///< why not, where not found
    std::vector<Point> tried;  ///< centres of what could be patches, in photosites

    // What the confidence is made of.
    double colour_residual = 1;  ///< root mean square, relative
    double other_order = 1;      ///< the same of the next best order of the patches
    double edge_support = 0;     ///< share of the patches' sides that were seen where they belong
    double flat_share = 0;       ///< of the windows
};

/// From this confidence on a chart is found.
inline constexpr double kLeastConfidence = 0.5;

[[nodiscard]] FoundChart find_chart(const Capture& capture, const BlackLevels& black_level);

}  // namespace cali::host
