#include "ccm_optimised/optimiser.h"

#include <algorithm>
#include <numeric>

#include "ccm_optimised/printed_minima.h"
#include "support/support.h"

namespace cali::test {
namespace {

/// A response that is linear in the references; a little noise, as exactly neutral greys would sit on the jumps of the
/// mirrored interpolation.
TEST(OptimisedFit, ComesNearAnExactMixture) {
    Random random(88);
    std::vector<uint32_t> identity(4096);
    std::iota(identity.begin(), identity.end(), 0U);
    ccm_optimised::Problem problem{{}, {},  ccm_optimised::ToneCurve(identity), ccm_optimised::ToneCurve(identity),
                                   {}, kD65};
    for (std::size_t i = 0; i < kChartPatches; ++i) {
        problem.reference_lab[i] = srgb_to_lab(kChartSrgb24[i], kD65);
        Colour linear{};
        std::ranges::transform(kChartSrgb24[i], linear.begin(), srgb_decode);
        for (std::size_t c = 0; c < 3; ++c) {
            problem.linear_rgb[i][c] =
                0.75 * linear[c] + 0.2 * linear[(c + 1) % 3] + 0.05 * linear[(c + 2) % 3] + 0.001 * random.unit();
        }
        problem.weights[i] = 1;
    }
    CapturedOutput output;
    ccm_optimised::PrintedMinima minima;
    const auto found = ccm_optimised::optimise(problem, 1.0F, minima);
    ASSERT_TRUE(found.has_value());
    ccm_optimised::Matrix3 matrix{};
    std::ranges::copy(found->value, matrix.begin());
    EXPECT_LT(problem.colour_error(matrix), 0.2);
}

}  // namespace
}  // namespace cali::test
