#include <algorithm>

#include "cali/cali.h"
#include "reference/colour.h"
#include "support/support.h"

namespace cali::test {
namespace {

/// The chart as a sensor with crosstalk sees it, 2 x 3 pixels per patch.
std::vector<std::vector<int32_t>> chart_patches(Random& random, double crosstalk, int32_t noise) {
    std::vector<std::vector<int32_t>> patches;
    for (const auto& encoded : reference::chart_srgb()) {
        std::array<double, 3> linear{};
        for (std::size_t c = 0; c < 3; ++c) {
            linear[c] = encoded[c] * encoded[c];
        }
        std::vector<int32_t> samples;
        for (int pixel = 0; pixel < 6; ++pixel) {
            for (std::size_t c = 0; c < 3; ++c) {
                const double mixed = linear[c] * (1 - crosstalk) + linear[(c + 1) % 3] * crosstalk;
                const auto jitter = noise == 0 ? 0 : static_cast<int32_t>(random() % static_cast<uint32_t>(noise));
                samples.push_back(static_cast<int32_t>(mixed * 4095) + jitter);
            }
        }
        patches.push_back(std::move(samples));
    }
    return patches;
}

TEST(MatrixFit, MatchesThePlainFit) {
    Random random(80);
    for (int turn = 0; turn < 300; ++turn) {
        SCOPED_TRACE(turn);
        auto patches = chart_patches(random, turn % 7 * 0.07, turn % 5 * 100);
        if (turn % 11 == 0) {
            for (auto& patch : patches) {
                std::ranges::fill(patch, turn % 2 == 0 ? 0 : 2000);  // singular
            }
        } else if (turn % 13 == 0) {
            for (auto& patch : patches) {
                std::ranges::generate(patch, [&] { return static_cast<int32_t>(random()); });
            }
        }
        const auto count = turn % 3 == 0 ? static_cast<int32_t>(1 + random() % 24) : 24;
        std::vector<float> weights(24, 1.0F);
        if (turn % 2 == 1) {
            std::ranges::generate(weights, [&] { return static_cast<float>(random() % 300) / 100.0F; });
        }
        const float lambda_scale = std::array{1.0F, 2.0F, 0.0F, -0.5F}[static_cast<std::size_t>(turn % 4)];
        patches.resize(static_cast<std::size_t>(count));
        weights.resize(static_cast<std::size_t>(count));
        const auto expected = reference::fit_matrix(reference::patch_means(patches, 6), weights, lambda_scale);

        std::vector<const int32_t*> pointers;
        std::ranges::transform(patches, std::back_inserter(pointers), [](const auto& patch) { return patch.data(); });
        std::array<float, 9> ccm{};
        std::array<int32_t, 9> q10{};
        ::testing::internal::CaptureStderr();
        ASSERT_EQ(cali_ccm_calc(pointers.data(), nullptr, count, 2, 3, 3, lambda_scale, weights.data(), ccm.data(),
                                q10.data()),
                  0);
        ASSERT_EQ(::testing::internal::GetCapturedStderr(), expected.errors);
        ASSERT_TRUE(same_bits(expected.ccm, ccm));
        ASSERT_TRUE(same_bits(expected.q10, q10));
        for (std::size_t row = 0; row < 9; row += 3) {
            ASSERT_EQ(q10[row] + q10[row + 1] + q10[row + 2], 1024);
        }
    }
}

TEST(MatrixFit, RejectsInSilence) {
    const std::vector<int32_t> patch(3, 100);
    const std::vector<const int32_t*> patches(25, patch.data());
    const std::vector<const int32_t*> holes(24, nullptr);
    const std::vector<float> weights(25, 1.0F);
    std::array<float, 9> ccm{};
    std::array<int32_t, 9> q10{};
    const auto call = [&](const int32_t* const* blocks, int32_t count, uint32_t pixels, int32_t channels,
                          const float* weight, float* out, int32_t* out_q10) {
        return cali_ccm_calc(blocks, nullptr, count, pixels, 1, channels, 1.0F, weight, out, out_q10);
    };
    const CapturedWarnings warnings;
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(call(patches.data(), 0, 1, 3, weights.data(), ccm.data(), q10.data()), -1);
    EXPECT_EQ(call(patches.data(), 25, 1, 3, weights.data(), ccm.data(), q10.data()), -1);
    EXPECT_EQ(call(patches.data(), 24, 1, 4, weights.data(), ccm.data(), q10.data()), -1);
    EXPECT_EQ(call(patches.data(), 24, 0x80000000U, 3, weights.data(), ccm.data(), q10.data()), -1);
    EXPECT_EQ(call(nullptr, 24, 1, 3, weights.data(), ccm.data(), q10.data()), -1);
    EXPECT_EQ(call(holes.data(), 24, 1, 3, weights.data(), ccm.data(), q10.data()), -1);
    EXPECT_EQ(call(patches.data(), 24, 1, 3, nullptr, ccm.data(), q10.data()), -1);
    EXPECT_EQ(call(patches.data(), 24, 1, 3, weights.data(), nullptr, q10.data()), -1);
    EXPECT_EQ(call(patches.data(), 24, 1, 3, weights.data(), ccm.data(), nullptr), -1);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
    EXPECT_TRUE(warnings.texts().empty());
    EXPECT_EQ(ccm[0], 0);
}

}  // namespace
}  // namespace cali::test
