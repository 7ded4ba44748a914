/// White-balance gains of a grey target, and their application for inspection.
#pragma once

#include <cstdint>

#include "core/awb_roi.h"
#include "core/frame.h"
#include "stages/front_end.h"

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

/// The front end on the window's samples alone, then the sums. The frame is not modified; the window must fit it. The
/// observer is told every row of the frame. Throws std::bad_alloc.
[[nodiscard]] ColourSums measure_window(const ConstRawFrame& frame, const FrontEnd& front_end, const AwbRoi& window,
                                        RowObserver& observer);

/// Register gains, 1024 = 1.0; green is always 1024.
struct GainRegisters {
    uint16_t red;
    uint16_t green;
    uint16_t blue;
};

/// Of the window's samples; both greens together.
struct ColourMeans {
    float red;
    float green;
    float blue;
};

/// Not numbers for an empty window, which divides by zero.
[[nodiscard]] ColourMeans means_of(const ColourSums& sums, const AwbRoi& window);

/// An empty window's means give 0.
[[nodiscard]] GainRegisters gains_from_means(const ColourMeans& means);

/// Black level in the input frame itself, then mesh shading and gains into `output`; the observer is told between the
/// two. Nothing is modified before all memory is had. Throws std::bad_alloc.
void correct_frame(const RawFrame& frame, const BlackLevel& black_level, const MeshGrids& grids, const WbGains& gains,
                   uint32_t* output, RowObserver& observer);

}  // namespace cali::awb
