/// Whether a capture is a flat field to calibrate on.
#pragma once

#include <string>
#include <vector>

#include "captures/frame.h"
#include "library/tuning_values.h"

namespace cali::host {

/// Why it is not, one clear text each: saturated, dark, lit from one side.
[[nodiscard]] std::vector<std::string> find_faults(const Capture& flat, const BlackLevels& black_level);

/// Throws CalibrationError with the faults; where `forced`, says them on standard error and returns.
void require_flat(const Capture& flat, const BlackLevels& black_level, bool forced);

}  // namespace cali::host
