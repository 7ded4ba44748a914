#include "ccm_optimised/objective.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "ccm_optimised/optimiser.h"
#include "ccm_optimised/printed_minima.h"
#include "reference/colour.h"
#include "support/support.h"

namespace cali::test {
namespace {

double unit(Random& random) { return static_cast<double>(random() % 1000001) / 1e6; }

reference::Problem random_problem(Random& random, int turn) {
    reference::Problem problem;
    problem.selector = turn % 2 == 0 ? 65 : 50;
    for (const auto& encoded : reference::chart_srgb()) {
        problem.reference_lab.push_back({encoded[0], encoded[1], encoded[2]});
        const double exposure = turn % 5 == 4 ? 1.6 : 0.9;  // the brighter one clips
        std::vector<double> linear;
        for (std::size_t c = 0; c < 3; ++c) {
            linear.push_back(exposure * (0.8 * encoded[c] * encoded[c] + 0.2 * encoded[(c + 1) % 3] * unit(random)));
        }
        problem.linear_rgb.push_back(linear);
        problem.weights.push_back(turn % 3 == 0 ? 1.0F : static_cast<float>(3 * unit(random)));
    }
    problem.reference_lab = reference::lab_from_srgb(problem.reference_lab, problem.selector);
    for (auto* curve : {&problem.first_curve, &problem.second_curve}) {
        curve->resize(1 + random() % 5000);
        std::ranges::generate(*curve, [&] { return static_cast<uint32_t>(random()) % 4096; });
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
            const double hue = 360 * unit(random) - 180;
            const double saturation = 3 * unit(random);
            ASSERT_TRUE(same_bits(
                std::array{reference::hue_saturation_objective(plain, hue, saturation)},
                std::array{problem.colour_error(ccm_optimised::hue_saturation_matrix(hue, saturation, 1.0))}));
            ccm_optimised::Matrix3 x{};
            std::ranges::generate(x, [&] { return 4 * unit(random) - 1.5; });
            if (i == 0) {
                x = {1, -0.5, -0.5, 0, 1, 0, 0, 0, 1};  // a row that sums to 0
            }
            ASSERT_TRUE(same_bits(std::array{reference::ccm_objective(plain, x)},
                                  std::array{problem.colour_error(ccm_optimised::normalise_ccm(x))}));
        }
    }
}

TEST(OptimisedFit, MatchesThePlainOne) {
    Random random(86);
    for (int turn = 0; turn < 12; ++turn) {
        SCOPED_TRACE(turn);
        reference::Problem plain = random_problem(random, turn);
        if (turn % 4 == 3) {
            std::ranges::fill(plain.weights, 0.5F);  // an integer total of 0: ends, with an error that is not finite
        } else {
            plain.first_curve.resize(4096);
            std::ranges::generate(plain.first_curve, [code = 0U]() mutable { return code++; });
            plain.second_curve = plain.first_curve;
        }
        const float saturation = static_cast<float>(0.5 + unit(random));
        const auto expected = reference::optimise(plain, saturation);
        CapturedOutput output;
        ccm_optimised::PrintedMinima minima;
        const auto found = ccm_optimised::optimise(library_problem(plain), saturation, minima);
        ASSERT_EQ(output.take(), expected.printed);
        ASSERT_TRUE(found.has_value());
        ASSERT_TRUE(same_bits(expected.matrix.ccm, found->value));
        ASSERT_TRUE(same_bits(expected.matrix.q10, found->q10));
    }
}

TEST(OptimisedFit, IsNoWorseThanItsStart) {
    Random random(88);
    for (int turn = 0; turn < 8; ++turn) {
        SCOPED_TRACE(turn);
        reference::Problem plain = random_problem(random, 0);
        plain.weights.assign(24, 1.0F);
        plain.first_curve.resize(4096);
        std::ranges::generate(plain.first_curve, [code = 0U]() mutable { return code++; });
        plain.second_curve = plain.first_curve;
        // A response that is linear in the reference, and a little noise: exactly neutral greys would sit on the jumps
        // of the mirrored interpolation.
        reference::PatchMeans means;
        for (std::size_t i = 0; i < kChartPatches; ++i) {
            Colour linear{};
            for (std::size_t c = 0; c < 3; ++c) {
                linear[c] = static_cast<double>(srgb_decode(kChartSrgb24[i][c]));
            }
            for (std::size_t c = 0; c < 3; ++c) {
                plain.linear_rgb[i][c] = 0.75 * linear[c] + 0.2 * linear[(c + 1) % 3] + 0.05 * linear[(c + 2) % 3] +
                                         0.002 * turn * (unit(random) - 0.5);
            }
            means.push_back({static_cast<float>(plain.linear_rgb[i][0]), static_cast<float>(plain.linear_rgb[i][1]),
                             static_cast<float>(plain.linear_rgb[i][2])});
        }
        const ccm_optimised::Problem problem = library_problem(plain);
        CapturedOutput output;
        ccm_optimised::PrintedMinima minima;
        const auto found = ccm_optimised::optimise(problem, 1.0F, minima);
        const std::string text = output.take();
        ASSERT_TRUE(found.has_value());
        const auto error_of = [&](const std::array<float, 9>& value) {
            ccm_optimised::Matrix3 matrix{};
            std::ranges::copy(value, matrix.begin());
            return problem.colour_error(matrix);
        };
        const double start = std::stod(text.substr(text.find(") =") + 3));
        const double least_squares = error_of(reference::fit_matrix(means, plain.weights, 1.0F).ccm);
        EXPECT_LT(error_of(found->value), start);
        EXPECT_LT(error_of(found->value), least_squares * 1.02 + 0.005);
        std::printf("mean dE*ab: start %.3f, optimised %.3f, least squares %.3f\n", start, error_of(found->value),
                    least_squares);
    }
}

TEST(OptimisedFit, ColourlessPatchesHaveNoStart) {
    Random random(87);
    reference::Problem plain = random_problem(random, 0);
    for (auto& patch : plain.linear_rgb) {
        std::ranges::fill(patch, 0.0);
    }
    CapturedOutput output;
    ccm_optimised::PrintedMinima minima;
    EXPECT_FALSE(ccm_optimised::optimise(library_problem(plain), 1.0F, minima).has_value());
    EXPECT_EQ(reference::optimise(plain, 1.0F).result, -1);
    EXPECT_EQ(output.take(), "");
}

}  // namespace
}  // namespace cali::test
