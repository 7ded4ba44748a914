/// A page on which the chart's corners are placed by hand.
#pragma once

#include <string>

#include "captures/frame.h"
#include "detection/chart_finder.h"
#include "library/tuning_values.h"

namespace cali::host {

/// The page with the capture and four handles, which start at the corners that were found or seemed most likely, else
/// about the middle. It gives the line that a session takes.
[[nodiscard]] std::string corner_page(const Capture& capture, const BlackLevels& black_level, const FoundChart& chart);

}  // namespace cali::host
