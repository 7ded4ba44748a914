/// Plain version of the error that the optimised fit minimises.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace cali::reference {

/// One row of three per patch.
using Patches = std::vector<std::vector<double>>;

struct Problem {
    Patches linear_rgb, reference_lab;
    std::vector<uint32_t> first_curve, second_curve;
    std::vector<float> weights;
    int32_t selector = 65;
};

double hue_saturation_objective(const Problem& problem, double hue, double saturation);
double ccm_objective(const Problem& problem, const std::array<double, 9>& x);

}  // namespace cali::reference
