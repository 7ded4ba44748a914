#include "chart/matrix_fit.h"

#include <algorithm>

#include "chart/chart_table.h"
#include "math/colour_space.h"
#include "math/matrix.h"

namespace cali {
namespace {

constexpr int32_t kColours = 3;
constexpr float kRidge = 1e-6F;

struct Design {
    Matrix weighted;    ///< W X
    Matrix transposed;  ///< its transpose
    Matrix inverse;     ///< of the normal matrix
};

/// False where the normal matrix cannot be inverted.
bool make_design(const PatchMeans& means, std::span<const float> weights, Design& design) {
    Matrix x;
    Matrix w(means.size(), std::vector<float>(means.size()));
    for (std::size_t i = 0; i < means.size(); ++i) {
        x.emplace_back(means[i].begin(), means[i].end());
        w[i][i] = weights[i];
    }
    design.weighted = mat_mul(w, x);
    mat_transpose(design.weighted, design.transposed);
    Matrix normal = mat_mul(design.transposed, design.weighted);
    for (std::size_t c = 0; c < kColours; ++c) {
        normal[c][c] += kRidge;
    }
    return mat_inverse(normal, design.inverse, kColours) == 0;
}

/// Row of the matrix for the targets `y` of one colour.
std::array<float, kColours> fit_row(const Design& design, const Matrix& y, float lambda_scale) {
    const Matrix ones(kColours, std::vector<float>(1, 1.0F));
    const Matrix unconstrained = mat_mul(design.inverse, mat_mul(design.transposed, y));
    Matrix correction = mat_mul(design.inverse, ones);
    Matrix y_row;
    Matrix ones_row;
    mat_transpose(y, y_row);
    mat_transpose(ones, ones_row);
    const Matrix sum = mat_mul(y_row, mat_mul(design.weighted, correction));
    const Matrix missing = mat_sub(Matrix{{1.0F}}, sum);
    const Matrix spread = mat_mul(ones_row, correction);
    float lambda = missing[0][0] / spread[0][0];
    for (std::vector<float>& element : correction) {
        lambda *= lambda_scale;
        element[0] *= lambda;
    }
    const Matrix row = mat_add(unconstrained, correction);
    return {row[0][0], row[1][0], row[2][0]};
}

void normalise(std::array<float, 9>& ccm) {
    constexpr std::array<float, 9> kIdentity = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    for (const std::size_t diagonal : {0U, 4U, 8U}) {
        ccm[diagonal] = ccm[diagonal] < 1.0F ? 1.0F : ccm[diagonal];
    }
    for (std::size_t row = 0; row < 9; row += 3) {
        const float sum = 0.0F + ccm[row] + ccm[row + 1] + ccm[row + 2];
        if (!(sum > 0)) {
            ccm = kIdentity;
            continue;
        }
        for (std::size_t k = row; k < row + 3; ++k) {
            ccm[k] /= sum;
        }
    }
}

}  // namespace

ColourMatrix fit_matrix(const PatchMeans& means, std::span<const float> weights, float lambda_scale) {
    ColourMatrix result;
    Design design;
    if (!make_design(means, weights, design)) {
        return result;
    }
    for (std::size_t c = 0; c < kColours; ++c) {
        Matrix y;
        for (std::size_t i = 0; i < means.size(); ++i) {
            y.push_back({srgb_decode(kChartSrgb24[i][c])});
        }
        std::ranges::copy(fit_row(design, y, lambda_scale), result.value.begin() + static_cast<std::ptrdiff_t>(3 * c));
    }
    normalise(result.value);
    result.round_to_q10();
    return result;
}

ColourMatrix fit_chart(const ChartMeans& means, std::span<const float> weights, float lambda_scale) {
    constexpr double kFullScale = 4095.0;
    PatchMeans patches;
    for (const auto& mean : means) {
        patches.push_back({static_cast<float>(mean[0] / kFullScale), static_cast<float>(mean[1] / kFullScale),
                           static_cast<float>(mean[2] / kFullScale)});
    }
    return fit_matrix(patches, weights, lambda_scale);
}

}  // namespace cali
