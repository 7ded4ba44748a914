/// Noise lines of the four channels from a brightness series.
#pragma once

#include "core/channel.h"
#include "noise/statistics.h"

namespace cali::noise {

/// y = slope * x + intercept.
struct Line {
    float slope = 0;
    float intercept = 0;
};

/// Least squares in single precision; equal x give what a division by zero gives.
[[nodiscard]] Line fit_line(std::span<const float> x, std::span<const float> y);

/// Black levels by channel code. GR and RR share one.
struct SeriesBlack {
    uint32_t bb = 0;
    uint32_t gb = 0;
    uint32_t gr_rr = 0;
};

/// In the series' own frames: max(sample - black, 0), at most 4095. Codes of the 4 x 4 mosaics that are no channel take
/// the black level of the sample before; a pattern outside the table has no channels at all.
void subtract_black(const Series& series, int32_t pattern, const SeriesBlack& black);

/// The spread against the mean per channel, after the black level. With a pattern outside 0..3 no position has a
/// channel and the lines are not finite. Throws std::bad_alloc before any frame is modified.
[[nodiscard]] PerChannel<Line> fit_profile(const Series& series, int32_t pattern, const SeriesBlack& black,
                                           Spread spread);

}  // namespace cali::noise
