/// What a lens-shading calibration gives.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "stages/radial_shading.h"

namespace cali {

/// For a frame of `width` x `height`. Gains: 512 = 1.0.
struct ShadingTables {
    int32_t width = 0;
    int32_t height = 0;
    int32_t cols = 0;
    int32_t rows = 0;
    std::array<std::vector<int32_t>, 3> mesh;  ///< red, green, blue; cols * rows nodes each
    int32_t center_x = 0;                      ///< photosites
    int32_t center_y = 0;
    int32_t norm = 0;                                ///< 31 / (distance to the farthest corner), in 1/2048
    std::array<int32_t, kRadialTableSize> radial{};  ///< red, green, blue, infrared
};

}  // namespace cali
