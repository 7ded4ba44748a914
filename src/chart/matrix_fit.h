/// The closed-form fit of a colour-correction matrix.
#pragma once

#include <array>
#include <span>
#include <vector>

#include "chart/chart_measure.h"
#include "math/colour_matrix.h"

namespace cali {

/// Mean red, green and blue of each patch, 1 at full scale, in chart order from the first patch on.
using PatchMeans = std::vector<std::array<float, 3>>;

/// Weighted least squares to the chart's linear colours with rows that sum to 1 (by a Lagrange multiplier), diagonal
/// of at least 1, rows normalised. `weights` one per patch: squared in the normal matrix, plain on the right-hand
/// side. `lambda_scale` 1 gives the exact constraint. The identity where the normal matrix cannot be inverted (which
/// the matrix toolkit says on standard error) or a row's sum is not above 0. Throws std::bad_alloc.
[[nodiscard]] ColourMatrix fit_matrix(const PatchMeans& means, std::span<const float> weights, float lambda_scale);

/// The same of the whole chart's measured codes.
[[nodiscard]] ColourMatrix fit_chart(const ChartMeans& means, std::span<const float> weights, float lambda_scale);

}  // namespace cali
