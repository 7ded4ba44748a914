#include "detection/chart_colours.h"

#include <gtest/gtest.h>

#include <cmath>

namespace cali::test {
namespace {

using host::ColourFit;
using host::fit_colours;
using host::PatchColours;

/// The chart's colours through a matrix and a constant, under light that falls off by half from left to right.
PatchColours seen() {
    PatchColours colours{};
    for (std::size_t patch = 0; patch < kChartPatches; ++patch) {
        Colour rgb{};
        for (std::size_t c = 0; c < 3; ++c) {
            rgb[c] = srgb_decode(kChartSrgb24[patch][c]);
        }
        const double light = std::exp2(-static_cast<double>(patch % kChartColumns) / (kChartColumns - 1));
        colours[patch] = {300 * light * (0.6 * rgb[0] + 0.3 * rgb[1] + 0.1 * rgb[2]) + 2,
                          500 * light * (0.2 * rgb[0] + 0.7 * rgb[1] + 0.1 * rgb[2]) + 1,
                          200 * light * (0.0 * rgb[0] + 0.2 * rgb[1] + 0.8 * rgb[2]) + 3};
    }
    return colours;
}

TEST(ChartColours, AreKnownThroughAnyCameraAndSmoothLight) {
    const PatchColours right = seen();
    const ColourFit fit = fit_colours(right);
    EXPECT_LT(fit.residual, 0.03);
    // A channel's strength, and which of them is which, tell nothing.
    PatchColours turned = right;
    for (Colour& colour : turned) {
        colour = {colour[1], colour[2] * 7, colour[0]};
    }
    EXPECT_NEAR(fit_colours(turned).residual, fit.residual, 1e-9);
    EXPECT_NEAR(fit_colours(turned).worst, fit.worst, 1e-9);

    PatchColours wrong = right;
    std::swap(wrong[8], wrong[15]);
    const ColourFit swapped = fit_colours(wrong);
    EXPECT_GT(swapped.residual, 5 * fit.residual);
    EXPECT_TRUE(swapped.worst_patch == 8 || swapped.worst_patch == 15) << swapped.worst_patch;
    EXPECT_GT(swapped.worst, 2 * swapped.residual);

    // What is all of one colour is none.
    wrong.fill({100, 100, 100});
    wrong[3] = {101, 100, 100};
    EXPECT_GT(fit_colours(wrong).residual, 0.5);
}

}  // namespace
}  // namespace cali::test
