/// A chart in a raw frame, and what its measurement should give.
#pragma once

#include "reference/colour.h"
#include "support/support.h"

namespace cali::test {

/// The chart fills the frame; codes of about `exposure` for white, with a pedestal of 64 and noise.
[[nodiscard]] OwnedFrame chart_frame(Random& random, const Geometry& geometry, double exposure);

/// 24 windows anywhere inside, of 2 x 2 and more.
[[nodiscard]] std::vector<RoiRect> random_windows(Random& random, const Geometry& geometry);

/// The windows of a chart that fills the frame.
[[nodiscard]] std::vector<RoiRect> full_frame_windows(const Geometry& geometry);

/// Means over 4095 per window, red, green, blue, of a frame that has been through its stages.
[[nodiscard]] reference::Patches window_means(const reference::Samples& frame, const Geometry& geometry,
                                              const std::vector<RoiRect>& windows);

/// raw2rgb.ppm of such a frame: bilinear, two bytes per colour of which the writer keeps the low one.
[[nodiscard]] std::string raw_picture(const reference::Samples& frame, const Geometry& geometry);

}  // namespace cali::test
