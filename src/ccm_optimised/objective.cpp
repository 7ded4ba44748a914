#include "ccm_optimised/objective.h"

#include <cmath>

#include "core/arithmetic.h"

namespace cali::ccm_optimised {
namespace {

/// NaN becomes 0: nothing may index outside a curve.
double unit_range(double v) {
    const double at_least = v > 0.0 ? v : 0.0;
    return at_least < 1.0 ? at_least : 1.0;
}

double lab_difference(const Colour& a, const Colour& b) {
    const double l = a[0] - b[0];
    const double da = a[1] - b[1];
    const double db = a[2] - b[2];
    return std::sqrt(l * l + da * da + db * db);
}

double chroma(const Colour& lab) { return std::sqrt(lab[1] * lab[1] + lab[2] * lab[2]); }

}  // namespace

int32_t Problem::total_weight() const {
    int32_t total = 0;
    for (const float weight : weights) {
        total = to_int32(static_cast<double>(static_cast<float>(total) + weight));
    }
    return total;
}

double Problem::colour_error(const Matrix3& matrix) const {
    const WhitePoint& white = white_point(white_selector);
    double sum = 0;
    for (std::size_t i = 0; i < kChartPatches; ++i) {
        const Colour& rgb = linear_rgb[i];
        Colour corrected{};
        for (std::size_t c = 0; c < corrected.size(); ++c) {
            const double* const row = matrix.data() + 3 * c;
            const double value = 0.0 + row[0] * rgb[0] + row[1] * rgb[1] + row[2] * rgb[2];
            corrected[c] = second_curve(first_curve(unit_range(value)));
        }
        const double difference = lab_difference(lab_of_linear_rgb(corrected, white), reference_lab[i]);
        sum += static_cast<double>(weights[i]) * difference;
    }
    return sum / static_cast<double>(total_weight());
}

double Problem::chroma_ratio() const {
    const WhitePoint& white = white_point(white_selector);
    double sum = 0;
    for (std::size_t i = 0; i < kColourPatches; ++i) {
        sum += chroma(lab_of_linear_rgb(linear_rgb[i], white)) / chroma(reference_lab[i]) * 100.0;
    }
    return sum / static_cast<double>(kColourPatches);
}

// The coefficients are the ones in use, also where they depart from the luminance-preserving rotation.
Matrix3 hue_saturation_matrix(double hue, double saturation, double gain) {
    const double angle = hue * 3.1415926 / 180.0;  // as many digits as the fit has always used
    const double k = gain;
    const double c = std::cos(angle) * saturation * gain;
    const double s = std::sin(angle) * saturation * gain;
    return {0.299 * k + 0.701 * c + 0.168 * s, 0.587 * k - 0.587 * c + 0.330 * s, 0.114 * k - 0.114 * c - 0.497 * s,
            0.299 * k - 0.299 * c - 0.328 * s, 0.587 * k + 0.413 * c + 0.330 * s, 0.114 * k - 0.114 * c + 0.292 * s,
            0.299 * k - 0.299 * c + 1.250 * s, 0.587 * k - 0.587 * c + 1.050 * s, 0.114 * k + 0.886 * c - 0.203 * s};
}

Matrix3 normalise_ccm(Matrix3 matrix) {
    for (const std::size_t diagonal : {0U, 4U, 8U}) {
        matrix[diagonal] = matrix[diagonal] < 1.0 ? 1.0 : matrix[diagonal];
    }
    for (std::size_t row = 0; row < matrix.size(); row += 3) {
        const double sum = 0.0 + matrix[row] + matrix[row + 1] + matrix[row + 2];
        for (std::size_t k = row; k < row + 3; ++k) {
            matrix[k] /= sum;
        }
    }
    return matrix;
}

}  // namespace cali::ccm_optimised
