/// Black-level estimates of a dark frame.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "core/channel.h"
#include "core/frame.h"
#include "core/histogram.h"

namespace cali::blc {

/// Bounds of a plausible median: above the one, below the other.
inline constexpr int32_t kCalibMin = 0;
inline constexpr int32_t kCalibMax = 800;

enum class MedianFault { none, too_low, too_high };

[[nodiscard]] constexpr MedianFault judge_median(int32_t median) {
    return median <= kCalibMin ? MedianFault::too_low : median >= kCalibMax ? MedianFault::too_high : MedianFault::none;
}

/// Half the samples of a channel as the median method counts them. `samples` is the frame's sample count.
[[nodiscard]] uint32_t median_target(int32_t samples, int32_t pattern, std::size_t code);

/// Samples of a channel as the mean-plus-deviation method divides its sums.
[[nodiscard]] int32_t mean_count(int32_t samples, int32_t pattern, std::size_t code);

/// Of a frame of `samples`: the first bin at which the running count reaches the target, 0 if none does.
[[nodiscard]] PerChannel<int32_t> channel_medians(const Histogram& histogram, std::size_t samples, int32_t pattern);

/// Mean of each channel from a single-precision running sum, row-major; NaN for a channel without samples.
[[nodiscard]] PerChannel<float> channel_means(const ConstRawFrame& frame);

/// Mean plus a tenth of the standard deviation, in codes, before any limit. The mean's sums are 32-bit integers, the
/// deviation's run in single precision.
[[nodiscard]] PerChannel<int32_t> means_plus_deviation(const ConstRawFrame& frame);

/// Mean offsets of the blocks of each cell position's plane (half the frame's size either way), in the order the blocks
/// are visited. Fills `offsets`, all of one length, as far as blocks exist and zeroes the rest. The last block of a row
/// takes all remaining columns; that width is kept for the block rows that follow.
void block_offsets(const ConstRawFrame& frame, uint32_t block_width, uint32_t block_height,
                   const std::array<std::span<uint32_t>, 4>& offsets);

}  // namespace cali::blc
