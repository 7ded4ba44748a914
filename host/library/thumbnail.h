/// A capture as people see it, small.
#pragma once

#include <cstdint>
#include <vector>

#include "captures/frame.h"
#include "library/tuning_values.h"

namespace cali::host {

struct Thumbnail {
    std::size_t width = 0;
    std::size_t height = 0;
    int photosites = 2;           ///< of a pixel's side; even
    std::vector<uint8_t> pixels;  ///< red, green, blue, encoded as sRGB
};

/// At most about 300 pixels wide and high, of some photosites each: behind black level and gains, the brightest places
/// white, colours not corrected.
[[nodiscard]] Thumbnail thumbnail(const Capture& capture, const BlackLevels& black_level, const GainRegisters& gains);

}  // namespace cali::host
