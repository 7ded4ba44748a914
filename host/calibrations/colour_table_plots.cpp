#include <algorithm>

#include "base/text.h"
#include "calibrations/colour_table.h"
#include "calibrations/plot_parts.h"

namespace cali::host {
namespace {

constexpr std::size_t kSteps = 17;  ///< of a slice, either way

Plot patch_plot(const ColourTable& table) {
    Plot plot{"patches", "CIEDE2000 by patch", {"patch"}, {"dE2000"}, {}, {}, ""};
    for (const auto& [name, tint, summary] :
         {std::tuple("before", Tint::before, &table.before), std::tuple("after", Tint::after, &table.after)}) {
        const std::vector<double>& differences = summary->per_patch;
        plot.series.push_back(bars(name, tint, differences.size(), [&](std::size_t i) { return differences[i]; }));
    }
    return plot;
}

Plot distribution_plot(const ColourTable& table) {
    Plot plot{"distribution", "Patches below a difference", {"dE2000"}, {"% of the patches"}, {}, {}, ""};
    for (const auto& [name, tint, summary] :
         {std::tuple("before", Tint::before, &table.before), std::tuple("after", Tint::after, &table.after)}) {
        std::vector<double> sorted = summary->per_patch;
        std::ranges::sort(sorted);
        Series series{name, Series::Kind::steps, tint, {{0, 0}}};
        for (std::size_t i = 0; i < sorted.size(); ++i) {
            series.points.push_back(
                {sorted[i], 100.0 * static_cast<double>(i + 1) / static_cast<double>(sorted.size())});
        }
        plot.series.push_back(std::move(series));
    }
    return plot;
}

/// How far the table moves the colours of one blue.
Map slice(const ColourTable& table, double blue) {
    Map map{text("slice_%.0f", blue * 100),
            text("Movement by the table at blue %.0f %%", blue * 100),
            "dE2000",
            kSteps,
            {}};
    map.x = "red, encoded";
    map.y = "green, encoded, from the top";
    for (std::size_t i = 0; i < kSteps * kSteps; ++i) {
        const auto step = [](std::size_t k) { return static_cast<double>(k) / (kSteps - 1); };
        map.values.push_back(movement(table, {step(i % kSteps), step(i / kSteps), blue}));
    }
    return map;
}

}  // namespace

void add_plots(const ColourTable& table, Section& section) {
    if (!table.before.per_patch.empty()) {
        section.plots = {patch_plot(table), distribution_plot(table)};
    }
    if (table.value.empty()) {
        return;
    }
    section.maps = {slice(table, 0.25), slice(table, 0.5), slice(table, 0.75)};
    double most = 0;
    for (const Map& map : section.maps) {
        most = std::max(most, *std::ranges::max_element(map.values));
    }
    for (Map& map : section.maps) {
        map.low = 0;
        map.high = most;
    }
}

}  // namespace cali::host
