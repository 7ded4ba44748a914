/// Several units of one camera side by side.
#pragma once

#include <string>
#include <vector>

#include "results/describe_results.h"

namespace cali::host {

struct Unit {
    std::string name;
    Results results;
};

/// Fewer say nothing about which lies off.
inline constexpr std::size_t kLeastUnitsForOutliers = 8;
/// Robust standard deviations beyond which a unit lies off the others.
inline constexpr double kOutlier = 3.5;

/// A unit whose figure lies off those of the others.
struct Outlier {
    std::string unit;
    std::string section;  ///< "black_level gain 2"
    Figure figure;
    double middle = 0;  ///< of all units
    double z = 0;
};

struct UnitComparison {
    std::vector<DescribedSection> sections;  ///< a plot for each figure that two units or more have
    std::vector<Outlier> outliers;           ///< the farthest off first
};

[[nodiscard]] UnitComparison compare_units(const std::vector<Unit>& units);

}  // namespace cali::host
