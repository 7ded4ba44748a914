/// Plain versions of the colour calibrations: white-balance curve, chart matrix, chart colour adjustment, grey pairs
/// and the optimised matrix, with the texts that they print. Inputs are those that the exports accept.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "cali/cali.h"

namespace cali::reference {

struct CurveFit {
    std::array<float, 3> coefficients{};  ///< a, b, c of y = a x^2 + b x + c
    std::array<uint32_t, 3> pack{};
    std::string printed;
};

/// One entry per light source in each vector.
CurveFit build_curve(float norm_a, float norm_b, const std::vector<float>& ratio_a, const std::vector<float>& ratio_b,
                     const std::vector<float>& temp_k, const std::vector<uint8_t>& weight);

/// 200 gains.
std::vector<float> sample_curve(const std::array<float, 3>& coefficients, float ref_a, float ref_b);

/// The 24 patches in chart order, encoded.
const std::vector<std::array<double, 3>>& chart_srgb();

struct MatrixFit {
    std::array<float, 9> ccm{};
    std::array<int32_t, 9> q10{};
    std::string errors;  ///< what the matrix toolkit says on standard error
};

using PatchMeans = std::vector<std::array<float, 3>>;

/// `pixels` pixels of three interleaved samples in each patch.
PatchMeans patch_means(const std::vector<std::vector<int32_t>>& patches, std::size_t pixels);

MatrixFit fit_matrix(const PatchMeans& means, const std::vector<float>& weights, float lambda_scale);

/// Writes the three colours of as many records of `adjusted` as were measured.
void adjust(const std::vector<RoiRgbMean>& measured, const std::vector<RoiRgbMean>& reference,
            std::vector<RoiRgbMean>& adjusted, uint32_t mode);

struct Interpolated {
    int32_t result = 0;
    uint32_t out_count = 0;
    std::vector<RoiRgbMean> measured, reference;  ///< with what was appended
    std::string printed;
};

Interpolated interpolate(std::vector<RoiRgbMean> measured, std::vector<RoiRgbMean> reference,
                         const GrayInterpSettings& settings);

/// One row of three per patch.
using Patches = std::vector<std::vector<double>>;

struct Problem {
    Patches linear_rgb, reference_lab;  ///< 18 patches or more
    std::vector<uint32_t> first_curve, second_curve;
    std::vector<float> weights;
    int32_t selector = 65;
};

Patches lab_from_srgb(Patches patches, int32_t selector);
Patches lab_from_linear_rgb(Patches patches, int32_t selector);

double hue_saturation_objective(const Problem& problem, double hue, double saturation);
double ccm_objective(const Problem& problem, const std::array<double, 9>& x);

struct Optimum {
    int32_t result = 0;  ///< -1: nothing else is filled
    MatrixFit matrix;
    double start_saturation = 0;
    std::string printed;
};

Optimum optimise(const Problem& problem, float final_saturation);

}  // namespace cali::reference
