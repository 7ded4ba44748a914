#include <algorithm>
#include <array>

#include "base/text.h"
#include "calibrations/lens_shading.h"
#include "calibrations/plot_parts.h"

namespace cali::host {
namespace {

constexpr std::size_t kGreen = 1;
constexpr double kQ9 = 512;

struct State {
    const char* name;
    Tint tint;
    const Flatness& flatness;
};
using States = std::array<State, 3>;

/// Percent of the centre; of red and blue in relation to green.
double residual(const BlockMeans& blocks, const std::array<double, 3>& block, std::size_t colour) {
    const std::array<double, 3>& centre = blocks.centre();
    const double own = block[colour] / centre[colour];
    return 100 * ((colour == kGreen ? own : own / (block[kGreen] / centre[kGreen])) - 1);
}

Map residual_map(const char* name, const std::string& title, const BlockMeans& blocks, std::size_t colour) {
    Map map{name, title, "%", static_cast<std::size_t>(blocks.cols), {}};
    for (const std::array<double, 3>& block : blocks.colour) {
        map.values.push_back(residual(blocks, block, colour));
    }
    return map;
}

/// Maps that are to be compared have one scale, even on both sides of 0.
void scale_alike(std::span<Map> maps) {
    double most = 0;
    for (const Map& map : maps) {
        for (const double value : map.values) {
            most = std::fmax(most, std::abs(value));
        }
    }
    for (Map& map : maps) {
        map.low = -most;
        map.high = most;
    }
}

void add_gain_maps(const LensShading& shading, Section& section) {
    const std::array<const char*, 3> titles = {"Gain of red over green's, by mesh node", "Gain of green, by mesh node",
                                               "Gain of blue over green's, by mesh node"};
    const std::array<const char*, 3> names = {"gain_red", "gain_green", "gain_blue"};
    for (const std::size_t colour : {kGreen, std::size_t{0}, std::size_t{2}}) {
        if (shading.record.mono && colour != kGreen) {
            continue;
        }
        Map map{names[colour], titles[colour], "", static_cast<std::size_t>(shading.tables.cols), {}};
        for (const int32_t gain : shading.tables.mesh[colour]) {
            map.values.push_back(gain / kQ9);
        }
        section.maps.push_back(std::move(map));
    }
}

void add_residual_maps(const LensShading& shading, Section& section) {
    section.maps.push_back(residual_map("before", "Green before, to the centre", shading.before.blocks, kGreen));
    std::array after = {
        residual_map("after_mesh", "Green after mesh, to the centre", shading.after_mesh.blocks, kGreen),
        residual_map("after_radial", "Green after radial, to the centre", shading.after_radial.blocks, kGreen)};
    scale_alike(after);
    std::ranges::move(after, std::back_inserter(section.maps));
    if (!shading.record.mono) {
        std::array shift = {
            residual_map("red_shift", "R/G after mesh, to the centre's", shading.after_mesh.blocks, 0),
            residual_map("blue_shift", "B/G after mesh, to the centre's", shading.after_mesh.blocks, 2)};
        scale_alike(shift);
        std::ranges::move(shift, std::back_inserter(section.maps));
    }
}

Plot profile(const char* name, const char* title, const States& states, bool diagonal) {
    Plot plot{name, title, {"from the centre, % of the way to the edge"}, {"green, % of the centre"}, {}, {}, ""};
    for (const auto& [state, tint, flatness] : states) {
        const BlockMeans& blocks = flatness.blocks;
        Series series{state, Series::Kind::line, tint, {}};
        for (int col = 0; col < blocks.cols; ++col) {
            // Between two blocks of the column, where the line passes.
            const double at = diagonal && blocks.cols > 1
                                  ? static_cast<double>(col) * (blocks.rows - 1) / (blocks.cols - 1)
                                  : (blocks.rows - 1) / 2.0;
            const int row = static_cast<int>(at);
            const int next = std::min(row + 1, blocks.rows - 1);
            const double share = at - row;
            const double green = blocks.at(col, row)[kGreen] * (1 - share) + blocks.at(col, next)[kGreen] * share;
            const double half = std::max(blocks.cols - 1, 1) / 2.0;
            series.points.push_back({(col / half - 1) * 100, green / blocks.centre()[kGreen] * 100});
        }
        plot.series.push_back(std::move(series));
    }
    return plot;
}

Plot corner_plot(const States& states) {
    constexpr std::array kCorners = {"top left", "top right", "bottom left", "bottom right"};
    Plot plot{"corners", "Green of the corners", {"corner"}, {"% of the centre"}, {}, {}, ""};
    for (const auto& [state, tint, flatness] : states) {
        const BlockMeans& blocks = flatness.blocks;
        Series series = bars(state, tint, kCorners.size(), [&](std::size_t i) {
            const auto& corner = blocks.at(i % 2 == 0 ? 0 : blocks.cols - 1, i < 2 ? 0 : blocks.rows - 1);
            return 100 * corner[kGreen] / blocks.centre()[kGreen];
        });
        series.labels.assign(kCorners.begin(), kCorners.end());
        plot.series.push_back(std::move(series));
    }
    return plot;
}

Plot radial_plot(const LensShading& shading) {
    Plot plot{"radial", "Radial gains", {"entry, from the centre outwards"}, {"gain"}, {}, {}, ""};
    constexpr std::array kTints = {Tint::red, Tint::green, Tint::blue};
    for (std::size_t colour = 0; colour < kTints.size(); ++colour) {
        if (shading.record.mono && colour != kGreen) {
            continue;
        }
        Series series{kColourKeys[colour], Series::Kind::line, shading.record.mono ? Tint::plain : kTints[colour], {}};
        for (std::size_t i = 0; i < kRadialEntries; ++i) {
            const auto gain = static_cast<double>(shading.tables.radial[colour * kRadialEntries + i]);
            series.points.push_back({static_cast<double>(i), gain / kQ9});
        }
        plot.series.push_back(std::move(series));
    }
    return plot;
}

}  // namespace

void add_plots(const LensShading& shading, Section& section) {
    const States states = {State{"before", Tint::before, shading.before},
                           State{"after mesh", Tint::after, shading.after_mesh},
                           State{"after radial", Tint::other, shading.after_radial}};
    if (std::ranges::none_of(states, [](const State& state) { return state.flatness.blocks.colour.empty(); })) {
        section.plots.push_back(profile("profile", "Through the centre, left to right", states, false));
        section.plots.push_back(profile("diagonal", "From the top left to the bottom right", states, true));
        section.plots.push_back(corner_plot(states));
        add_residual_maps(shading, section);
    }
    section.plots.push_back(radial_plot(shading));
    add_gain_maps(shading, section);
}

}  // namespace cali::host
