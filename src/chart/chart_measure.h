/// Mean colours of a chart's patches in a raw frame, as the front end would leave them.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "chart/chart_windows.h"
#include "core/frame.h"
#include "stages/black_level.h"
#include "stages/mesh_shading.h"
#include "stages/radial_shading.h"
#include "stages/wb_gains.h"

namespace cali {

class ArgumentCheck;

/// The caller's 24 windows, or the full frame's for a null pointer. Rejects what does not fit.
[[nodiscard]] ChartWindows chart_windows(ArgumentCheck& check, const RoiRect* given, int32_t width, int32_t height);

/// Stages of the front end. Absent ones are not run.
struct FrontEnd {
    BlackLevel black_level;
    std::optional<MeshGrids> mesh;
    std::optional<RadialTables> radial;
    std::optional<WbGains> wb_gains;
    bool gains_before_shading = false;
};

/// Means of red, both greens and blue, in codes.
using ChartMeans = std::array<std::array<double, 3>, kChartPatches>;

/// Every stage works sample by sample, so only the windows' samples go through them. Windows must fit. Prints
/// nothing. Throws std::bad_alloc.
[[nodiscard]] ChartMeans measure_chart(const ConstRawFrame& frame, const FrontEnd& front_end,
                                       const ChartWindows& windows);

/// The whole frame through the same stages, for pictures. Prints nothing. Throws std::bad_alloc.
void apply_front_end(const ConstRawFrame& frame, const FrontEnd& front_end, uint32_t* destination);

}  // namespace cali
