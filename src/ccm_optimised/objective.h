/// The colour error that the optimised fit minimises.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "chart/chart_table.h"
#include "math/colour_space.h"

namespace cali::ccm_optimised {

using ChartColours = std::array<Colour, kChartPatches>;
using Matrix3 = std::array<double, 9>;  ///< row-major

/// 12-bit codes over the input range 0..1.
class ToneCurve {
public:
    /// One entry or more. Throws std::bad_alloc.
    explicit ToneCurve(std::span<const uint32_t> codes) : codes_(codes.begin(), codes.end()) {}

    /// Between two entries the weights are the mirror image of linear interpolation: at an entry the next one counts.
    /// `v` within 0..1.
    [[nodiscard]] double operator()(double v) const {
        const double t = last_ * v;
        const auto i = static_cast<std::size_t>(t);
        const auto at = static_cast<double>(i);
        const std::size_t j = at == last_ ? i : i + 1;
        const double fraction = t - at;
        return (codes_[j] * (1.0 - fraction) + codes_[i] * fraction) / 4095.0;
    }

private:
    std::vector<double> codes_;
    double last_ = static_cast<double>(codes_.size() - 1);
};

/// What is fitted to what.
struct Problem {
    ChartColours linear_rgb;
    ChartColours reference_lab;
    ToneCurve first_curve;
    ToneCurve second_curve;
    std::array<float, kChartPatches> weights;
    int32_t white_selector;

    /// Total of the weights as it has always been kept: in an integer, truncated after every addition.
    [[nodiscard]] int32_t total_weight() const;

    /// Weighted mean CIE 1976 colour difference of the chart through the matrix, limits of 0 and 1, and both curves.
    /// Not finite where the total weight is 0.
    [[nodiscard]] double colour_error(const Matrix3& matrix) const;

    /// Mean chroma of the uncorrected colours over that of the references, in percent, over the 18 colour patches.
    [[nodiscard]] double chroma_ratio() const;
};

/// Rotation of hue by degrees and scaling of saturation and gain.
[[nodiscard]] Matrix3 hue_saturation_matrix(double hue, double saturation, double gain);

/// Diagonal of at least 1, rows divided by their sums. Nothing guards a sum of 0.
[[nodiscard]] Matrix3 normalise_ccm(Matrix3 matrix);

}  // namespace cali::ccm_optimised
