/// Colour look-up tables in fixed point.
#pragma once

#include <cstdint>
#include <vector>

#include "lut/lattice.h"

namespace cali::lut {

/// Three integers per node. hsv: hue shift in 1/64 degree, saturation and value scale with 1024 = 1.0. rgb: output
/// codes, 4095 = 1.0.
struct Table {
    Lattice lattice;
    std::vector<int32_t> value;
};

}  // namespace cali::lut
