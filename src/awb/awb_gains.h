/// White-balance gains of a grey target, and their application for inspection.
#pragma once

#include <cstdint>

#include "core/awb_roi.h"
#include "core/frame.h"
#include "stages/black_level.h"
#include "stages/mesh_shading.h"
#include "stages/wb_gains.h"

namespace cali::awb {

/// Which axis of the window does not fit the frame.
enum class WindowFault { none, columns, rows };

/// The window must end before the last column and row. An empty one may start anywhere.
[[nodiscard]] WindowFault check_window(const AwbRoi& window, int32_t width, int32_t height);

/// The operator's text for a fault.
[[nodiscard]] const char* window_text(WindowFault fault);

/// Running single-precision sums over a window; both greens together.
struct ColourSums {
    float red = 0;
    float green = 0;
    float blue = 0;
};

/// Black level and mesh shading on the window's samples alone, then the sums. The frame is not modified; the window
/// must fit it. Prints the shading stage's progress for every row of the frame.
[[nodiscard]] ColourSums measure_window(const ConstRawFrame& frame, const BlackLevel& black_level,
                                        const MeshGrids& grids, const AwbRoi& window);

/// Register gains, 1024 = 1.0; green is always 1024.
struct GainRegisters {
    uint16_t red;
    uint16_t green;
    uint16_t blue;
};

/// Warns where the green mean is too bright or too dark. An empty window divides by zero and gives 0.
[[nodiscard]] GainRegisters gains_from_sums(const ColourSums& sums, const AwbRoi& window);

/// Black level in the input frame itself, then mesh shading and gains into `output`.
void correct_frame(const RawFrame& frame, const BlackLevel& black_level, const MeshGrids& grids, const WbGains& gains,
                   uint32_t* output);

}  // namespace cali::awb
