/// A chart's windows without the rest of its frame.
#pragma once

#include "captures/frame.h"
#include "chart/chart_windows.h"
#include "library/tuning_values.h"

namespace cali::host {

/// The windows behind the front end, set together in a small frame of the same mosaic. On it, behind `values`, the
/// exports give the bits that they give on the whole frame, at the cost of the windows' samples.
struct ChartMosaic {
    Capture frame;
    ChartWindows windows{};
    TuningValues values;  ///< what is left to be applied
};

/// Which stages stand before white balance: the optimised fit's gains come before the mesh, which it leaves out where
/// `values` names no flat field.
enum class MosaicOrder { mesh_first, gains_first };

/// Windows must fit the frame. Throws InputError.
[[nodiscard]] ChartMosaic set_together(const Capture& chart, const TuningValues& values, const ChartWindows& windows,
                                       MosaicOrder order);

}  // namespace cali::host
