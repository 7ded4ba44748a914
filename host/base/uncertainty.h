/// Figures with their standard uncertainty.
#pragma once

#include <cmath>
#include <optional>

namespace cali::host {

/// The uncertainty is one standard deviation, in the value's unit; 0: not known.
struct Measured {
    double value = 0;
    double uncertainty = 0;
};

/// Of the value rounded to a register's step, whose error is spread evenly over one step: variance step^2 / 12.
[[nodiscard]] inline double with_rounding(double uncertainty, double step) {
    return std::sqrt(uncertainty * uncertainty + step * step / 12);
}

/// As figures carry it: none where it is not known.
[[nodiscard]] inline std::optional<double> known(double uncertainty) {
    return uncertainty > 0 ? std::optional(uncertainty) : std::nullopt;
}

}  // namespace cali::host
