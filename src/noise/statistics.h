/// Means and spreads of a brightness series, per level and position in the 2 x 2 cell.
#pragma once

#include <span>

#include "noise/series.h"

namespace cali::noise {

enum class Spread { deviation, variance };

/// One array of `series.count` floats per cell position, in each; positions above the fourth have no samples. The sums
/// run in single precision, frame after frame, row by row, in the order of the samples: beyond 2^24 in a sum every
/// addition rounds, and that is part of the result.
void measure_series(const Series& series, Spread spread, std::span<float* const> means,
                    std::span<float* const> spreads);

}  // namespace cali::noise
