#include "ccm_optimised/objective.h"

#include <algorithm>

#include "ccm_optimised/optimiser.h"
#include "ccm_optimised/printed_minima.h"
#include "reference/colour.h"
#include "support/support.h"

namespace cali::test {
namespace {

reference::Problem random_problem(Random& random, int turn) {
    reference::Problem problem;
    problem.selector = turn % 2 == 0 ? 65 : 50;
    for (const auto& encoded : kChartSrgb24) {
        const Colour lab = srgb_to_lab(encoded, problem.selector);
        problem.reference_lab.push_back({lab[0], lab[1], lab[2]});
        const double exposure = turn % 5 == 4 ? 1.6 : 0.9;  // the brighter one clips
        auto& linear = problem.linear_rgb.emplace_back();
        for (std::size_t c = 0; c < 3; ++c) {
            linear.push_back(exposure * encoded[c] * (0.8 * encoded[c] + 0.2 * random.unit()));
        }
        problem.weights.push_back(turn % 3 == 0 ? 1.0F : static_cast<float>(3 * random.unit()));
    }
    for (auto* curve : {&problem.first_curve, &problem.second_curve}) {
        curve->resize(1 + random() % 5000);
        std::ranges::generate(*curve, [&] { return random() % 4096; });
        if (turn % 2 == 0) {
            std::ranges::sort(*curve);
        }
    }
    return problem;
}

ccm_optimised::Problem library_problem(const reference::Problem& problem) {
    ccm_optimised::Problem result{{},
                                  {},
                                  ccm_optimised::ToneCurve(problem.first_curve),
                                  ccm_optimised::ToneCurve(problem.second_curve),
                                  {},
                                  problem.selector};
    for (std::size_t i = 0; i < kChartPatches; ++i) {
        std::ranges::copy(problem.linear_rgb[i], result.linear_rgb[i].begin());
        std::ranges::copy(problem.reference_lab[i], result.reference_lab[i].begin());
        result.weights[i] = problem.weights[i];
    }
    return result;
}

TEST(ColourError, MatchesThePlainObjectives) {
    Random random(85);
    for (int turn = 0; turn < 60; ++turn) {
        SCOPED_TRACE(turn);
        const reference::Problem plain = random_problem(random, turn);
        const ccm_optimised::Problem problem = library_problem(plain);
        for (int i = 0; i < 40; ++i) {
            const double hue = 360 * random.unit() - 180;
            const double saturation = 3 * random.unit();
            ASSERT_TRUE(same_bits(
                std::array{reference::hue_saturation_objective(plain, hue, saturation)},
                std::array{problem.colour_error(ccm_optimised::hue_saturation_matrix(hue, saturation, 1.0))}));
            ccm_optimised::Matrix3 x{};
            std::ranges::generate(x, [&] { return 4 * random.unit() - 1.5; });
            if (i == 0) {
                x = {1, -0.5, -0.5, 0, 1, 0, 0, 0, 1};  // a row that sums to 0
            }
            ASSERT_TRUE(same_bits(std::array{reference::ccm_objective(plain, x)},
                                  std::array{problem.colour_error(ccm_optimised::normalise_ccm(x))}));
        }
    }
}

/// A response that is linear in the references; a little noise, as exactly neutral greys would sit on the jumps of the
/// mirrored interpolation.
TEST(OptimisedFit, ComesNearAnExactMixture) {
    Random random(88);
    reference::Problem plain = random_problem(random, 0);
    plain.first_curve.resize(4096);
    std::ranges::generate(plain.first_curve, [code = 0U]() mutable { return code++; });
    plain.second_curve = plain.first_curve;
    for (std::size_t i = 0; i < kChartPatches; ++i) {
        Colour linear{};
        std::ranges::transform(kChartSrgb24[i], linear.begin(), srgb_decode);
        for (std::size_t c = 0; c < 3; ++c) {
            plain.linear_rgb[i][c] =
                0.75 * linear[c] + 0.2 * linear[(c + 1) % 3] + 0.05 * linear[(c + 2) % 3] + 0.001 * random.unit();
        }
    }
    const ccm_optimised::Problem problem = library_problem(plain);
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
