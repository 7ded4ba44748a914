/// Plain versions of the black-level estimates, the histogram and the white-balance gain calculation, each as its
/// export does it from the caller's frame to the printed text.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "reference/raw_stages.h"

namespace cali::reference {

/// Per channel in the order RR, GR, GB, BB.
struct BlackLevelEstimate {
    std::array<uint32_t, 4> offset{};
    std::array<float, 4> gain{};
    int32_t result = 0;
    std::string printed;
};

/// `report` is the debug switch of the black-level exports.
BlackLevelEstimate median_black_level(const Samples& frame, uint32_t width, uint32_t height, int pattern, bool report);
BlackLevelEstimate mean_black_level(const Samples& frame, uint32_t width, uint32_t height, int pattern, bool report);
BlackLevelEstimate deviation_black_level(const Samples& frame, int width, int height, int pattern, bool is_12bit);

/// RR, GR, GB, BB: blocks * blocks / 4 offsets each.
std::array<Samples, 4> local_black_level(const Samples& frame, int width, int height, int pattern, uint32_t blocks);

/// By channel code (blue first), then sample value.
struct HistogramBlock {
    std::array<Samples, 4> count;
    std::string printed;
};

HistogramBlock histogram(const Samples& frame, uint32_t width, uint32_t height, int pattern, bool report);

struct Window {
    int32_t x, y, width, height;
};

struct WhiteBalance {
    int32_t result = 0;
    std::array<uint16_t, 3> gain{};  ///< red, green, blue; only where the result is 0
    std::string printed;
    std::vector<std::string> warnings;
};

WhiteBalance wb_calibration(const Samples& frame, int width, int height, int pattern, const Grids& grids,
                            const BlackLevelArguments& black, const Window& window);

}  // namespace cali::reference
