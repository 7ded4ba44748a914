/// Where a chart's patches are measured.
#pragma once

#include <array>
#include <cstdint>

#include "cali/cali.h"
#include "chart/chart_table.h"

namespace cali {

/// In frame coordinates, in chart order.
using ChartWindows = std::array<RoiRect, kChartPatches>;

/// A chart that fills the frame as 6 x 4 cells: windows of half a cell's size, centred, even-aligned.
[[nodiscard]] ChartWindows windows_of_full_frame(int32_t width, int32_t height);

/// Inside the frame and 2 x 2 or more, so that every colour is in it.
[[nodiscard]] bool window_fits(const RoiRect& window, int32_t width, int32_t height);

}  // namespace cali
