/// What results come to, for people: one page that needs nothing but itself.
#pragma once

#include <string>
#include <vector>

#include "results/units.h"

namespace cali::host {

/// Of one unit everything that its results hold; of several what sets them apart, and each one's verdict and figures.
/// Files are named without their folders.
[[nodiscard]] std::string report_text(const std::vector<Unit>& units);

}  // namespace cali::host
