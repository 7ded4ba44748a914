/// A chart's windows without the rest of its frame.
#pragma once

#include "captures/frame.h"
#include "chart/chart_windows.h"
#include "library/tuning_values.h"

namespace cali::host {

/// The windows behind the front end, set together in a small frame of the same mosaic. On it, behind `values`, the
/// optimised fit gives the bits that it gives on the whole frame, at the cost of the windows' samples.
struct ChartMosaic {
    Capture frame;
    ChartWindows windows{};
    TuningValues values;
};

/// Windows must fit the frame. Throws InputError.
[[nodiscard]] ChartMosaic set_together(const Capture& chart, const TuningValues& values, const ChartWindows& windows);

}  // namespace cali::host
