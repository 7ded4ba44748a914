/// The two chained minimisations.
#pragma once

#include <optional>

#include "ccm_optimised/objective.h"
#include "math/colour_matrix.h"

namespace cali::ccm_optimised {

/// Told each minimum when it is found.
class MinimumObserver {
public:
    MinimumObserver() = default;
    virtual ~MinimumObserver() = default;
    MinimumObserver(const MinimumObserver&) = delete;
    MinimumObserver& operator=(const MinimumObserver&) = delete;

    /// Stage 1: hue in degrees, saturation.
    virtual void hue_and_saturation(double hue, double saturation, double error) = 0;
    /// Stage 2, before the rows are normalised.
    virtual void matrix(const Matrix3& matrix, double error) = 0;
};

/// Stage 1 fits hue and saturation, stage 2 starts from their matrix and frees all nine elements within bounds
/// (Nelder-Mead both); then diagonal and rows are normalised and `final_saturation` applied (1 leaves the matrix).
/// Nothing where the start is not finite: colourless patches leave stage 1 without an end. Throws what the optimiser's
/// interface throws, and std::bad_alloc.
[[nodiscard]] std::optional<ColourMatrix> optimise(const Problem& problem, float final_saturation,
                                                   MinimumObserver& observer);

}  // namespace cali::ccm_optimised
