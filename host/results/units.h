/// Several units of one camera side by side.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "base/robust.h"
#include "results/describe_results.h"

namespace cali::host {

/// A figure of one unit.
struct UnitFigure {
    std::string section;  ///< "black_level"
    std::string entry;    ///< "gain 2", where there are several
    Figure figure;
};

/// Every figure that is finite.
[[nodiscard]] std::vector<UnitFigure> figures_of(const Results& results);

/// Fewer say nothing about which lies off.
inline constexpr std::size_t kLeastUnitsForOutliers = 8;
/// Robust standard deviations beyond which a unit lies off the others.
inline constexpr double kOutlier = 3.5;

/// One figure of all units that have it.
struct FigureOfUnits {
    std::string section;
    std::string entry;
    Figure figure;                                       ///< of the first of them
    std::vector<std::pair<std::size_t, double>> values;  ///< number of the unit, and what it has
    RobustScale scale;                                   ///< at least one step

    [[nodiscard]] bool judged() const { return values.size() >= kLeastUnitsForOutliers; }
    /// How far a value lies off, in robust deviations; 0 where too few units have it.
    [[nodiscard]] double z(double value) const { return judged() ? scale.z(value) : 0; }
};

/// In the order in which they first come; `units` in theirs.
[[nodiscard]] std::vector<FigureOfUnits> compare_figures(const std::vector<std::vector<UnitFigure>>& units);

struct Unit {
    std::string name;
    Results results;
};

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
