/// A raw frame as a full-colour picture. For pictures only: measurements take the photosites' own samples.
#pragma once

#include <array>
#include <cstdint>

#include "core/frame.h"

namespace cali {

/// Red, green, blue per photosite, in codes.
using RgbPixel = std::array<uint32_t, 3>;

/// Bilinear: the mean of the nearest samples of the colour, rounded down. Positions outside reflect about the edge
/// sample, which keeps their colour. `pixels` has room for the frame.
void demosaic(const ConstRawFrame& frame, RgbPixel* pixels);

}  // namespace cali
