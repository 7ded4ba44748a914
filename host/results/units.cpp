#include "results/units.h"

#include <algorithm>
#include <cmath>

#include "base/robust.h"
#include "base/text.h"

namespace cali::host {
namespace {

struct UnitFigure {
    std::size_t unit;
    Figure figure;
};

/// One figure of all units that have it.
struct FigureOfUnits {
    std::string key;
    std::string entry;
    std::vector<UnitFigure> of;
};

std::vector<FigureOfUnits> by_figure(const std::vector<Unit>& units) {
    std::vector<FigureOfUnits> figures;
    for (std::size_t unit = 0; unit < units.size(); ++unit) {
        for (const DescribedSection& described : describe_all(units[unit].results)) {
            for (const Figure& figure : described.section.figures) {
                const auto same = std::ranges::find_if(figures, [&](const FigureOfUnits& other) {
                    return other.key == described.key && other.entry == described.entry &&
                           other.of.front().figure.name == figure.name;
                });
                if (!std::isfinite(figure.value)) {
                    continue;
                }
                if (same != figures.end()) {
                    same->of.push_back({unit, figure});
                } else {
                    figures.push_back({described.key, described.entry, {{unit, figure}}});
                }
            }
        }
    }
    std::erase_if(figures, [](const FigureOfUnits& comparison) { return comparison.of.size() < 2; });
    return figures;
}

std::string title_of(const std::string& key, const std::string& entry) {
    return key + (entry.empty() ? "" : " " + entry);
}

/// A point for each unit, those that lie off in a series of their own.
Plot plot_of(const FigureOfUnits& comparison, const std::vector<Unit>& units, std::vector<Outlier>& outliers) {
    const Figure& first = comparison.of.front().figure;
    Plot plot{first.name, first.name, {"unit", false, 0, static_cast<double>(units.size() + 1)}, {first.unit}, {},
              {},         ""};
    std::vector<double> values;
    for (const UnitFigure& of : comparison.of) {
        values.push_back(of.figure.value);
    }
    const RobustScale scale = robust_scale(values, first.step);
    const bool judged = values.size() >= kLeastUnitsForOutliers;
    Series usual{"units", Series::Kind::points, Tint::plain, {}};
    Series off{"off the others", Series::Kind::points, Tint::red, {}};
    for (const auto& [unit, figure] : comparison.of) {
        const double z = judged ? scale.z(figure.value) : 0;
        const bool outlier = std::abs(z) > kOutlier;
        Series& series = outlier ? off : usual;
        series.points.push_back({static_cast<double>(unit + 1), figure.value});
        series.labels.push_back(units[unit].name);
        if (outlier) {
            outliers.push_back({units[unit].name, title_of(comparison.key, comparison.entry), figure, scale.middle, z});
        }
    }
    plot.series.push_back(std::move(usual));
    if (!off.points.empty()) {
        plot.series.push_back(std::move(off));
    }
    if (judged && scale.scale > 0) {
        plot.bands.push_back({text("%.1f robust deviations", kOutlier), scale.middle - kOutlier * scale.scale,
                              scale.middle + kOutlier * scale.scale});
    }
    plot.bands.push_back({"median", scale.middle, scale.middle});
    return plot;
}

}  // namespace

UnitComparison compare_units(const std::vector<Unit>& units) {
    UnitComparison made;
    for (const FigureOfUnits& comparison : by_figure(units)) {
        const bool same = !made.sections.empty() && made.sections.back().key == comparison.key &&
                          made.sections.back().entry == comparison.entry;
        if (!same) {
            made.sections.push_back({comparison.key, comparison.entry, {}});
            made.sections.back().section.title = title_of(comparison.key, comparison.entry);
        }
        made.sections.back().section.plots.push_back(plot_of(comparison, units, made.outliers));
    }
    std::ranges::stable_sort(made.outliers, std::greater<>(),
                             [](const Outlier& outlier) { return std::abs(outlier.z); });
    return made;
}

}  // namespace cali::host
