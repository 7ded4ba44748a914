/// Whether a grey card fills its window, well exposed.
#pragma once

#include "captures/frame.h"
#include "checks/check.h"
#include "library/tuning_values.h"

namespace cali::host {

/// Behind the black level and grids of `values`, in the window that is measured. A window that does not fit the frame
/// is not judged: measuring refuses it.
void check_grey(const Capture& grey, const TuningValues& values, const Window& window, Judge& judge);

}  // namespace cali::host
