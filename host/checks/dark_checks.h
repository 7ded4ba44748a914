/// Whether dark frames are dark, even and whole.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "calibrations/dark_measures.h"
#include "captures/channels.h"
#include "captures/frame.h"
#include "checks/check.h"
#include "core/histogram.h"

namespace cali::host {

/// Measures one frame, whose codes are counted, and judges it.
DarkMeasures check_dark(const Capture& dark, const Histogram& histogram, Judge& judge);

/// Frames of one calibration against each other. Nothing for fewer than two.
void check_dark_frames(std::span<const DarkMeasures> frames, Judge& judge);

}  // namespace cali::host
