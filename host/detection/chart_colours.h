/// How well 24 colours are the chart's, under a light and through a camera that nobody knows.
#pragma once

#include <array>

#include "chart/chart_table.h"
#include "math/colour_space.h"

namespace cali::host {

using PatchColours = std::array<Colour, kChartPatches>;  ///< linear, in chart order

struct ColourFit {
    /// Root mean square over patches and channels, relative to the patch's brightness.
    double residual = 0;
    double worst = 0;  ///< the largest of a single patch
    std::size_t worst_patch = 0;
};

/// The best that a camera matrix, a constant per channel and light that changes smoothly over the chart make of the
/// reference colours.
[[nodiscard]] ColourFit fit_colours(const PatchColours& measured);

}  // namespace cali::host
