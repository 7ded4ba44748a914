/// Colours of a chart's patches in a raw frame, as the front end would leave them.
#pragma once

#include <array>
#include <cstdint>

#include "chart/chart_windows.h"
#include "core/frame.h"
#include "stages/front_end.h"

namespace cali {

/// Whole numbers of one patch by colour: red, both greens, blue. Exact.
struct PatchSums {
    std::array<uint64_t, 3> sum{};    ///< of codes
    std::array<uint64_t, 3> count{};  ///< of samples; none is 0, since a window holds a whole cell
};
using ChartSums = std::array<PatchSums, kChartPatches>;

/// Every stage works sample by sample, so only the windows' samples go through them. Windows must fit. Throws
/// std::bad_alloc.
[[nodiscard]] ChartSums sum_chart(const ConstRawFrame& frame, const FrontEnd& front_end, const ChartWindows& windows);

/// Means in codes.
using ChartMeans = std::array<std::array<double, 3>, kChartPatches>;

/// The sums, divided.
[[nodiscard]] ChartMeans means_of(const ChartSums& sums);
[[nodiscard]] ChartMeans measure_chart(const ConstRawFrame& frame, const FrontEnd& front_end,
                                       const ChartWindows& windows);

}  // namespace cali
