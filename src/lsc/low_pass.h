/// The low-pass that a flat field goes through before gains are read from it.
#pragma once

#include <array>
#include <cstdint>

#include "lsc/channel_planes.h"

namespace cali::lsc {

inline constexpr int32_t kLowPassRadius = 10;

/// Gaussian of sigma 4, lowest offset first; the taps sum to 1 within rounding.
using LowPassTaps = std::array<float, 2 * kLowPassRadius + 1>;
[[nodiscard]] LowPassTaps low_pass_taps();

/// In place, along rows, then along columns; each pass truncates to integers. Positions outside reflect about the edge
/// sample, as often as a plane narrower than the filter needs. Throws std::bad_alloc.
void low_pass(const ChannelPlanes& planes, const LowPassTaps& taps);

}  // namespace cali::lsc
