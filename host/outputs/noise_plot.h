/// The noise profile as a chart.
#pragma once

#include <string>

#include "calibrations/noise.h"

namespace cali::host {

/// SVG: deviation against mean per channel, with both models.
[[nodiscard]] std::string noise_plot(const NoiseResults& results);

}  // namespace cali::host
