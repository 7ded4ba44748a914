/// The debug picture of a raw frame in full colour.
#pragma once

#include "core/frame.h"
#include "stages/front_end.h"

namespace cali {

/// Writes "raw2rgb.ppm": the frame through the front end, demosaiced, scaled to 8 bits, by write_ppm_wide. Throws
/// std::bad_alloc.
void write_raw_picture(const ConstRawFrame& frame, const FrontEnd& front_end);

}  // namespace cali
