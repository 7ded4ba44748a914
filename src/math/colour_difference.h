/// Colour differences in CIELAB, and what they come to over a chart.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "math/colour_space.h"

namespace cali {

/// The distance in CIELAB.
[[nodiscard]] double delta_e_1976(const Colour& lab1, const Colour& lab2);

/// CIEDE2000 (CIE 142-2001) with kL = kC = kH = 1.
[[nodiscard]] double delta_e_2000(const Colour& lab1, const Colour& lab2);

struct DifferenceSummary {
    double mean = 0;
    double worst = 0;
    std::size_t worst_patch = 0;  ///< from 0; the first of equals
    std::vector<double> per_patch;
};

/// Patch by patch; `reference` has as many as `lab`.
[[nodiscard]] DifferenceSummary summarise(std::span<const Colour> lab, std::span<const Colour> reference,
                                          double (*difference)(const Colour&, const Colour&));

}  // namespace cali
