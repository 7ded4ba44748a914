/// Where a chart's windows come from: given, or found.
#pragma once

#include "calibrations/colour_matrix_settings.h"
#include "captures/frame.h"
#include "library/tuning_values.h"

namespace cali::host {

/// The place as it is where anything is said of it; otherwise the chart is looked for, and the place has the corners
/// found. Throws CalibrationError where there is none.
[[nodiscard]] ChartPlace locate_chart(const ChartPlace& place, const Capture& chart, const BlackLevels& black_level);

/// What to do about a chart that is not found, with the reason.
[[nodiscard]] std::string not_found_text(const std::string& reason);

}  // namespace cali::host
