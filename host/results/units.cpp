#include "results/units.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <tuple>

#include "base/text.h"

namespace cali::host {
namespace {

/// Spreads below which nobody looks for a cause, of figures that no register holds; for what is measured on samples a
/// thousandth, the step of a gain.
constexpr double kLeastDifference = 0.1;  // CIEDE2000
constexpr double kLeastShare = 0.001;

double least_spread(const Figure& figure, double middle) {
    return figure.step > 0 ? figure.step : figure.unit == "dE" ? kLeastDifference : kLeastShare * std::abs(middle);
}

std::string title_of(const FigureOfUnits& comparison) {
    return comparison.section + (comparison.entry.empty() ? "" : " " + comparison.entry);
}

/// A point for each unit, those that lie off in a series of their own.
Plot plot_of(const FigureOfUnits& comparison, const std::vector<Unit>& units, std::vector<Outlier>& outliers) {
    const Figure& first = comparison.figure;
    const RobustScale& scale = comparison.scale;
    Plot plot{first.name, first.name, {"unit", false, 0, static_cast<double>(units.size() + 1)}, {first.unit}, {},
              {},         ""};
    Series usual{"units", Series::Kind::points, Tint::plain, {}};
    Series off{"off the others", Series::Kind::points, Tint::red, {}};
    for (const auto& [unit, value] : comparison.values) {
        const double z = comparison.z(value);
        const bool outlier = std::abs(z) > kOutlier;
        Series& series = outlier ? off : usual;
        series.points.push_back({static_cast<double>(unit + 1), value});
        series.labels.push_back(units[unit].name);
        if (outlier) {
            Figure figure = first;
            figure.value = value;
            outliers.push_back({units[unit].name, title_of(comparison), figure, scale.middle, z});
        }
    }
    plot.series.push_back(std::move(usual));
    if (!off.points.empty()) {
        plot.series.push_back(std::move(off));
    }
    if (comparison.judged() && scale.scale > 0) {
        plot.bands.push_back({text("%.1f robust deviations", kOutlier), scale.middle - kOutlier * scale.scale,
                              scale.middle + kOutlier * scale.scale});
    }
    plot.bands.push_back({"median", scale.middle, scale.middle});
    return plot;
}

}  // namespace

std::vector<UnitFigure> figures_of(const Results& results) {
    std::vector<UnitFigure> figures;
    for (const DescribedSection& described : describe_all(results)) {
        for (const Figure& figure : described.section.figures) {
            if (std::isfinite(figure.value)) {
                figures.push_back({described.key, described.entry, figure});
            }
        }
    }
    return figures;
}

std::vector<FigureOfUnits> compare_figures(const std::vector<std::vector<UnitFigure>>& units) {
    std::vector<FigureOfUnits> figures;
    std::map<std::tuple<std::string, std::string, std::string>, std::size_t> known;
    for (std::size_t unit = 0; unit < units.size(); ++unit) {
        for (const auto& [section, entry, figure] : units[unit]) {
            const auto [place, is_new] = known.try_emplace({section, entry, figure.name}, figures.size());
            if (is_new) {
                figures.push_back({section, entry, figure, {}, {}});
            }
            figures[place->second].values.emplace_back(unit, figure.value);
        }
    }
    for (FigureOfUnits& comparison : figures) {
        std::vector<double> values;
        for (const auto& [unit, value] : comparison.values) {
            values.push_back(value);
        }
        comparison.scale = robust_scale(values, least_spread(comparison.figure, median(values)));
    }
    return figures;
}

UnitComparison compare_units(const std::vector<Unit>& units) {
    std::vector<std::vector<UnitFigure>> figures;
    figures.reserve(units.size());
    for (const Unit& unit : units) {
        figures.push_back(figures_of(unit.results));
    }
    UnitComparison made;
    std::map<std::string, std::size_t> known;  // sections, whose figures may come apart
    for (const FigureOfUnits& comparison : compare_figures(figures)) {
        if (comparison.values.size() < 2) {
            continue;
        }
        const auto [place, is_new] = known.try_emplace(title_of(comparison), made.sections.size());
        if (is_new) {
            made.sections.push_back({comparison.section, comparison.entry, {}});
            made.sections.back().section.title = place->first;
        }
        made.sections[place->second].section.plots.push_back(plot_of(comparison, units, made.outliers));
    }
    std::ranges::stable_sort(made.outliers, std::greater<>(),
                             [](const Outlier& outlier) { return std::abs(outlier.z); });
    return made;
}

}  // namespace cali::host
