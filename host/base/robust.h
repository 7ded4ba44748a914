/// What the middle of many values is, and which lie far off it.
#pragma once

#include <algorithm>
#include <cmath>
#include <vector>

namespace cali::host {

/// Of one or more values; of an even number the mean of the middle two.
[[nodiscard]] inline double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::ranges::nth_element(values, middle);
    return values.size() % 2 != 0 ? *middle : (*middle + *std::max_element(values.begin(), middle)) / 2;
}

struct RobustScale {
    double middle = 0;
    double scale = 0;  ///< of a normal distribution one standard deviation

    [[nodiscard]] double z(double value) const {
        return scale > 0 ? (value - middle) / scale : value == middle ? 0 : INFINITY;
    }
};

/// Median and median absolute deviation; the scale is at least `least` (B. Iglewicz, D. Hoaglin, How to detect and
/// handle outliers, 1993).
[[nodiscard]] inline RobustScale robust_scale(const std::vector<double>& values, double least) {
    constexpr double kNormal = 1.4826;
    const double middle = median(values);
    std::vector<double> distances(values.size());
    std::ranges::transform(values, distances.begin(), [&](double value) { return std::abs(value - middle); });
    return {middle, std::max(kNormal * median(std::move(distances)), least)};
}

}  // namespace cali::host
