#include "reference/colour.h"

#include <cmath>

#include "reference/raw_stages.h"

namespace cali::reference {
namespace {

using Rows = std::vector<std::vector<double>>;

std::vector<double> linear_rgb_to_xyz(double r, double g, double b, int32_t selector) {
    if (selector == 65) {
        return {0.4124564 * r + 0.3575761 * g + 0.1804375 * b, 0.2126729 * r + 0.7151522 * g + 0.072175 * b,
                0.0193339 * r + 0.119192 * g + 0.9503041 * b};
    }
    return {0.4360747 * r + 0.3850649 * g + 0.1430804 * b, 0.2225045 * r + 0.7168786 * g + 0.0606169 * b,
            0.0139322 * r + 0.0971045 * g + 0.7141733 * b};
}

double lab_curve(double t) {
    const double limit = std::pow(6.0 / 29.0, 3.0);
    const double slope = (29.0 / 6.0) * (29.0 / 6.0) / 3.0;
    return t > limit ? std::pow(t, 1.0 / 3.0) : slope * t + 4.0 / 29.0;
}

std::vector<double> xyz_to_lab(double x, double y, double z, int32_t selector) {
    const double white_x = selector == 65 ? 0.95047 : 0.96422;
    const double white_z = selector == 65 ? 1.08883 : 0.82521;
    const double fx = lab_curve(x / white_x);
    const double fy = lab_curve(y);
    const double fz = lab_curve(z / white_z);
    return {116.0 * fy - 16.0, 500.0 * (fx - fy), 200.0 * (fy - fz)};
}

Rows hue_saturation_matrix(double hue, double saturation, double gain) {
    const double theta = hue * 3.1415926 / 180.0;
    const double k = gain;
    const double c = std::cos(theta) * saturation * gain;
    const double s = std::sin(theta) * saturation * gain;
    return {
        {0.299 * k + 0.701 * c + 0.168 * s, 0.587 * k - 0.587 * c + 0.330 * s, 0.114 * k - 0.114 * c - 0.497 * s},
        {0.299 * k - 0.299 * c - 0.328 * s, 0.587 * k + 0.413 * c + 0.330 * s, 0.114 * k - 0.114 * c + 0.292 * s},
        {0.299 * k - 0.299 * c + 1.250 * s, 0.587 * k - 0.587 * c + 1.050 * s, 0.114 * k + 0.886 * c - 0.203 * s},
    };
}

/// The lower bound for NaN.
double limited(double value, double low, double high) {
    const double raised = value > low ? value : low;
    return raised < high ? raised : high;
}

double through_curve(const std::vector<uint32_t>& curve, double value) {
    const std::size_t last = curve.size() - 1;
    const double t = static_cast<double>(last) * value;
    const auto i = static_cast<std::size_t>(std::floor(t));
    const std::size_t j = i == last ? i : i + 1;
    const double frac = t - static_cast<double>(i);
    // The upper entry does get 1 - frac.
    return (static_cast<double>(curve[j]) * (1.0 - frac) + static_cast<double>(curve[i]) * frac) / 4095.0;
}

double colour_error(const Problem& problem, const Rows& matrix) {
    double weighted_sum = 0;
    int32_t weight_total = 0;  // fractional weights are partly lost
    for (std::size_t i = 0; i < problem.linear_rgb.size(); ++i) {
        std::vector<double> rgb(3);
        for (std::size_t r = 0; r < 3; ++r) {
            for (std::size_t c = 0; c < 3; ++c) {
                rgb[r] += matrix[r][c] * problem.linear_rgb[i][c];
            }
            rgb[r] = through_curve(problem.first_curve, limited(rgb[r], 0.0, 1.0));
            rgb[r] = through_curve(problem.second_curve, rgb[r]);
        }
        const auto xyz = linear_rgb_to_xyz(rgb[0], rgb[1], rgb[2], problem.selector);
        const auto lab = xyz_to_lab(xyz[0], xyz[1], xyz[2], problem.selector);
        const double l = lab[0] - problem.reference_lab[i][0];
        const double a = lab[1] - problem.reference_lab[i][1];
        const double b = lab[2] - problem.reference_lab[i][2];
        weighted_sum += static_cast<double>(problem.weights[i]) * std::sqrt(l * l + a * a + b * b);
        weight_total = x86_int32(static_cast<double>(static_cast<float>(weight_total) + problem.weights[i]));
    }
    return weighted_sum / static_cast<double>(weight_total);
}

}  // namespace

double hue_saturation_objective(const Problem& problem, double hue, double saturation) {
    return colour_error(problem, hue_saturation_matrix(hue, saturation, 1.0));
}

double ccm_objective(const Problem& problem, const std::array<double, 9>& x) {
    Rows matrix = {{x[0], x[1], x[2]}, {x[3], x[4], x[5]}, {x[6], x[7], x[8]}};
    for (std::size_t r = 0; r < 3; ++r) {
        if (matrix[r][r] < 1.0) {
            matrix[r][r] = 1.0;
        }
        const double sum = matrix[r][0] + matrix[r][1] + matrix[r][2];
        for (double& entry : matrix[r]) {
            entry = entry / sum;
        }
    }
    return colour_error(problem, matrix);
}

}  // namespace cali::reference
