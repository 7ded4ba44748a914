/// Frames and charts behind the ISP's front end.
#pragma once

#include <vector>

#include "captures/frame.h"
#include "chart/chart_windows.h"
#include "library/library_call.h"
#include "library/tuning_values.h"
#include "math/colour_space.h"
#include "stages/front_end.h"

namespace cali::host {

/// Throws InputError where the frame is larger than the shading blocks take.
void require_shadeable(const Capture& frame);

/// The frame after black level alone, or after black level, lens shading and white balance. Corrected samples may
/// exceed 4095 where no stage limits them. Use up the frame's samples. Throw InputError, CalibrationError.
[[nodiscard]] Samples apply_black_level(Capture& frame, const BlackLevels& black_level, const LibraryOutput& output);
[[nodiscard]] Samples apply_front_end(Capture& frame, const TuningValues& values, const LibraryOutput& output);

/// As the front end's stage takes it.
[[nodiscard]] BlackLevel black_level_stage(const BlackLevels& black_level);

/// The grids' tables, which must outlive it.
[[nodiscard]] MeshGrids mesh_of(const ShadingGrids& grids);

/// What `values` asks for.
[[nodiscard]] FrontEnd front_end_of(const TuningValues& values);

/// A window's samples, row-major, behind the stages. The window must fit the frame. Throws InputError.
[[nodiscard]] std::vector<uint32_t> window_behind(const Capture& frame, const FrontEnd& front_end,
                                                  const RoiRect& window);

/// Mean colour of a window behind the front end, 1 at full scale. The window must fit the frame. Throws InputError.
[[nodiscard]] Colour mean_colour(const Capture& frame, const TuningValues& values, const Window& window);

}  // namespace cali::host
