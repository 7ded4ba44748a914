#include "ccm_optimised/optimiser.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <nlopt.hpp>

#include "math/matrix.h"

namespace cali::ccm_optimised {
namespace {

constexpr double kStageOneTolerance = 1e-5;

double hue_saturation_objective(unsigned /*n*/, const double* x, double* /*grad*/, void* data) {
    return static_cast<const Problem*>(data)->colour_error(hue_saturation_matrix(x[0], x[1], 1.0));
}

double ccm_objective(unsigned /*n*/, const double* x, double* /*grad*/, void* data) {
    Matrix3 matrix{};
    std::copy_n(x, matrix.size(), matrix.begin());
    return static_cast<const Problem*>(data)->colour_error(normalise_ccm(matrix));
}

/// The optimiser's interface takes its data without const.
void* as_data(const Problem& problem) { return const_cast<Problem*>(&problem); }

/// Hue in degrees and saturation.
std::vector<double> fit_hue_saturation(const Problem& problem, double start_saturation, MinimumObserver& observer) {
    nlopt::opt optimiser(nlopt::LN_NELDERMEAD, 2);
    optimiser.set_lower_bounds(std::vector<double>{-std::numeric_limits<double>::infinity(), 0.0});
    optimiser.set_min_objective(hue_saturation_objective, as_data(problem));
    optimiser.set_xtol_rel(kStageOneTolerance);
    std::vector<double> x = {0.0, start_saturation};
    double error = 0;
    optimiser.optimize(x, error);
    observer.hue_and_saturation(x[0], x[1], error);
    return x;
}

Matrix3 fit_ccm_nelder_mead(const Problem& problem, const Matrix3& start, MinimumObserver& observer) {
    const std::vector<double> lower = {1.0, -1.5, -1.5, -1.5, 1.0, -1.5, -1.5, -1.5, 1.0};
    const std::vector<double> upper = {2.5, 1.5, 1.5, 1.5, 2.5, 1.5, 1.5, 1.5, 2.5};
    nlopt::opt optimiser(nlopt::LN_NELDERMEAD, 9);
    optimiser.set_lower_bounds(lower);
    optimiser.set_upper_bounds(upper);
    optimiser.set_min_objective(ccm_objective, as_data(problem));
    std::vector<double> x(start.begin(), start.end());
    for (std::size_t k = 0; k < x.size(); ++k) {
        x[k] = x[k] > lower[k] ? std::min(x[k], upper[k]) : lower[k];  // the lower bound for NaN
    }
    double error = 0;
    optimiser.optimize(x, error);
    Matrix3 matrix{};
    std::ranges::copy(x, matrix.begin());
    observer.matrix(matrix, error);
    return matrix;
}

/// S(s) times the matrix, row by row.
Rows<double> apply_final_saturation(const Matrix3& matrix, double s) {
    const Rows<double> saturation = {{0.299 + 0.701 * s, 0.587 * (1.0 - s), 0.114 * (1.0 - s)},
                                     {0.299 * (1.0 - s), 0.587 + 0.413 * s, 0.114 * (1.0 - s)},
                                     {0.299 * (1.0 - s), 0.587 * (1.0 - s), 0.114 + 0.886 * s}};
    Rows<double> rows;
    for (std::size_t row = 0; row < matrix.size(); row += 3) {
        rows.push_back({matrix[row], matrix[row + 1], matrix[row + 2]});
    }
    return mat_mul(saturation, rows);
}

}  // namespace

std::optional<ColourMatrix> optimise(const Problem& problem, float final_saturation, MinimumObserver& observer) {
    const double start_saturation = 100.0 / problem.chroma_ratio();
    if (!std::isfinite(start_saturation)) {
        return std::nullopt;
    }
    const std::vector<double> hue_saturation = fit_hue_saturation(problem, start_saturation, observer);
    const Matrix3 start = hue_saturation_matrix(hue_saturation[0], hue_saturation[1], 1.0);
    const Matrix3 fitted = normalise_ccm(fit_ccm_nelder_mead(problem, start, observer));
    const Rows<double> rows = apply_final_saturation(fitted, static_cast<double>(final_saturation));
    ColourMatrix result;
    for (std::size_t k = 0; k < result.value.size(); ++k) {
        result.value[k] = static_cast<float>(rows[k / 3][k % 3]);
    }
    result.round_to_q10();
    return result;
}

}  // namespace cali::ccm_optimised
