/// A picture of a chart before and after its correction, beside the colours it should have.
#pragma once

#include <filesystem>
#include <span>

#include "math/colour_space.h"

namespace cali::host {

/// Measures of the picture, in pixels. A gap also runs around the cells.
inline constexpr int kPictureCell = 96;
inline constexpr int kPictureGap = 8;

/// Writes a PNG of 6 x 4 cells, each with stripes of measured, corrected and reference colour from left to right. Takes
/// 24 linear colours each, 1 = white; what leaves 0..1 is clamped. Throws InputError where the file cannot be written.
void write_patch_picture(const std::filesystem::path& file, std::span<const Colour> measured,
                         std::span<const Colour> corrected, std::span<const Colour> reference);

}  // namespace cali::host
