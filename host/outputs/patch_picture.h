/// A picture of a chart before and after its correction, beside the colours it should have.
#pragma once

#include <string>

#include "base/section.h"

namespace cali::host {

/// Measures of the picture, in pixels. A gap also runs around the cells.
inline constexpr int kPictureCell = 96;
inline constexpr int kPictureGap = 8;

/// A PNG of 6 x 4 cells, each with stripes of measured, corrected and reference colour from left to right. What leaves
/// 0..1 is clamped.
[[nodiscard]] std::string patch_picture(const Swatches& swatches);

}  // namespace cali::host
