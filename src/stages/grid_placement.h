/// Where the nodes of a lens-shading mesh lie on the frame.
#pragma once

#include <cstdint>

namespace cali {

/// Positions are in 1/32768 of the node distance. Calibration, application and register export share this placement:
/// `nodes - 3` intervals cover the frame, one node of margin lies on each side.
struct GridPlacement {
    int32_t step = 0;    ///< per photosite
    int32_t origin = 0;  ///< of photosite 0
};

inline constexpr int32_t kNodeDistance = 32768;

/// Along one axis: `nodes` 3 or more, `size` (photosites) 1 or more.
[[nodiscard]] constexpr GridPlacement place_grid(int32_t nodes, int32_t size) {
    const int32_t step = ((nodes - 3) * kNodeDistance) / size + 1;
    return {step, (nodes * kNodeDistance - size * step - kNodeDistance) / 2};
}

}  // namespace cali
