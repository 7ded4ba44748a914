/// The debug picture of a raw frame in full colour.
#pragma once

#include "chart/chart_measure.h"

namespace cali {

/// Writes "raw2rgb.ppm": the frame through the front end, demosaiced, in 12-bit codes by write_ppm_wide. Throws
/// std::bad_alloc.
void write_raw_picture(const ConstRawFrame& frame, const FrontEnd& front_end);

}  // namespace cali
