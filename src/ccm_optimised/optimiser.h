/// The two chained minimisations.
#pragma once

#include <optional>

#include "ccm_optimised/objective.h"
#include "math/colour_matrix.h"

namespace cali::ccm_optimised {

/// Stage 1 fits hue and saturation, stage 2 starts from their matrix and frees all nine elements within bounds
/// (Nelder-Mead both); then diagonal and rows are normalised and `final_saturation` applied (1 leaves the matrix).
/// Prints the minima. Nothing where the start is not finite: colourless patches leave stage 1 without an end. Throws
/// what the optimiser's interface throws, and std::bad_alloc.
[[nodiscard]] std::optional<ColourMatrix> optimise(const Problem& problem, float final_saturation);

}  // namespace cali::ccm_optimised
