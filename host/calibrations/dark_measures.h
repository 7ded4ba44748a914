/// What dark frames show beside their level.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "captures/channels.h"

namespace cali::host {

/// A pixel far off the mean of its channel.
struct DefectPixel {
    int column = 0;
    int row = 0;
    std::size_t channel = kRR;
    uint32_t code = 0;  ///< on the 12-bit scale
};

/// A whole row or column off its neighbours.
struct DefectLine {
    bool is_row = true;
    int position = 0;   ///< from 0
    double offset = 0;  ///< codes
};

/// Levels over the frame, the channels together, less their mean; not a number where every pixel is a defect.
struct BlockMap {
    std::size_t columns = 0;
    std::vector<double> values;  ///< row-major
};

/// Largest number of positions that are kept of each kind.
inline constexpr std::size_t kKeptDefects = 20;

/// Codes of the 12-bit scale. Levels, blocks and lines leave defect pixels out.
struct DarkMeasures {
    Channels<double> level{};  ///< means; not a number for a channel that the frame does not hold
    Channels<double> noise{};  ///< robust standard deviations
    double block_range = 0;    ///< of means over 16 x 12 blocks, fewer on small frames; beyond what noise makes
    double light = 0;          ///< correlation of the blocks' variances with their means, -1 to 1
    double zero = 0;           ///< % of the samples at code 0
    double full_scale = 0;     ///< % of the samples at the white level
    BlockMap blocks;
    std::size_t defects = 0;  ///< pixels more than six deviations off
    double defects_ppm = 0;
    std::vector<DefectPixel> worst_defects;  ///< farthest off first, those of defect lines left out
    std::vector<DefectLine> lines;  ///< off the lines beside them by more than noise and one code, farthest off first
};

}  // namespace cali::host
