#include "chart/matrix_fit.h"

#include <algorithm>

#include "chart/chart_table.h"
#include "math/colour_space.h"
#include "support/support.h"

namespace cali::test {
namespace {

/// The chart's linear colours as a sensor mixes them.
PatchMeans mixed_chart(const std::array<std::array<float, 3>, 3>& mix) {
    PatchMeans means;
    for (const auto& encoded : kChartSrgb24) {
        auto& mean = means.emplace_back();
        for (std::size_t c = 0; c < 3; ++c) {
            mean[c] = mix[c][0] * srgb_decode(encoded[0]) + mix[c][1] * srgb_decode(encoded[1]) +
                      mix[c][2] * srgb_decode(encoded[2]);
        }
    }
    return means;
}

TEST(MatrixFit, UndoesAnExactMixture) {
    // The inverse of rows that sum to 1.
    constexpr std::array expected = {1.5F, -0.5F, 0.0F, 0.0F, 1.25F, -0.25F, 0.0F, 0.0F, 1.0F};
    constexpr float kThird = 1 / 3.0F;
    auto means = mixed_chart({{{2 * kThird, 4 * kThird / 5, kThird / 5}, {0, 0.8F, 0.2F}, {0, 0, 1}}});
    // A patch without weight may be anything.
    means[7] = {0.9F, 0.1F, 0.9F};
    std::vector<float> weights(24, 1.0F);
    weights[7] = 0.0F;
    const ColourMatrix matrix = fit_matrix(means, weights, 1.0F);
    for (std::size_t k = 0; k < 9; ++k) {
        EXPECT_NEAR(matrix.value[k], expected[k], 2e-3) << k;
        EXPECT_NEAR(static_cast<float>(matrix.q10[k]), 1024 * expected[k], 3) << k;
    }
}

TEST(MatrixFit, IsTheIdentityWithoutColours) {
    PatchMeans black(24);
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(fit_matrix(black, std::vector<float>(24, 1.0F), 1.0F).q10, ColourMatrix().q10);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "mat's determinant is equal 0\n");
}

}  // namespace
}  // namespace cali::test
