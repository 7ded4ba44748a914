#include "blc/estimators.h"

#include <algorithm>

#include "reference/estimates.h"
#include "support/export_calls.h"

namespace cali::test {
namespace {

/// One global method of the library against its plain version: result, bits of the offsets and gains, printed text.
void compare(const reference::BlackLevelEstimate& expected, BlcCall& call, int32_t (BlcCall::*method)()) {
    const auto input = call.input.samples;
    call.offsets.fill(kSentinel);
    call.gains.fill(-7);
    CapturedOutput output;
    const CapturedWarnings warnings;
    ASSERT_EQ((call.*method)(), expected.result);
    ASSERT_TRUE(same_bits(expected.offset, call.offsets));
    ASSERT_TRUE(same_bits(expected.gain, call.gains));
    ASSERT_EQ(output.take(), expected.printed);
    ASSERT_TRUE(warnings.texts().empty());
    ASSERT_EQ(call.input.samples, input);
}

/// All three global methods, with and without the report.
void compare_all(BlcCall& call) {
    const SavedModuleState saved;
    const auto& samples = call.input.samples;
    const auto width = static_cast<int>(call.width);
    const auto height = static_cast<int>(call.height);
    const Geometry geometry{width, height, call.pattern};
    SCOPED_TRACE(::testing::Message() << geometry);
    for (const bool report : {false, true}) {
        SCOPED_TRACE(report ? "with report" : "without report");
        module_state().debug.blc_report = report;
        compare(reference::median_black_level(samples, call.width, call.height, call.pattern, report), call,
                &BlcCall::median);
        compare(reference::mean_black_level(samples, call.width, call.height, call.pattern, report), call,
                &BlcCall::mean);
        for (const int32_t is_12bit : {0, 1, -1}) {
            call.is_12bit = is_12bit;
            compare(reference::deviation_black_level(samples, width, height, call.pattern, is_12bit != 0), call,
                    &BlcCall::deviation);
        }
    }
}

TEST(BlackLevelEstimates, EqualThePlainVersions) {
    Random random(20);
    for (const Geometry& geometry : small_geometries()) {
        // Dark frames, full range, medians around both bounds, and samples past every histogram.
        const uint32_t low = pick(random, std::array<uint32_t, 4>{0, 60, 790, 4000});
        const uint32_t spread = pick(random, std::array<uint32_t, 4>{1, 10, 300, 70000});
        BlcCall call({random_samples(random, geometry.size(), low, low + spread), geometry.width, geometry.height,
                      geometry.pattern});
        compare_all(call);
        call.input.samples = samples_of_kind(random, SampleKind::sprinkled, geometry.size());
        call.input_pointer = call.input.samples.data();
        compare_all(call);
        if (HasFailure()) {
            return;
        }
    }
}

TEST(BlackLevelEstimates, RoundLongSumsInSinglePrecision) {
    Random random(21);
    // Sums per channel of 2^26 and more; with the larger samples the 32-bit sums wrap.
    for (const uint32_t high : {4095U, 2000000U, 0xFFFFFFFFU}) {
        BlcCall call(random_frame(random, 515, 401, 3, high));
        compare_all(call);
    }
    // Many estimates at the coarse end of the range, some of them next to a half.
    BlcCall call(random_frame(random, 8, 6, 3));
    for (int turn = 0; turn < 20000; ++turn) {
        std::ranges::copy(random_samples(random, 48, 2048, 4000), call.input.samples.begin());
        ASSERT_EQ(call.deviation(), 0);
        const auto expected = reference::deviation_black_level(call.input.samples, 8, 6, 3, true);
        ASSERT_EQ(call.offsets, expected.offset);
    }
}

TEST(BlackLevelEstimates, GiveTheWorkedValues) {
    BlcCall call({std::vector<uint32_t>(12 * 8, 64), 12, 8, 2});
    for (const auto method : {&BlcCall::median, &BlcCall::mean, &BlcCall::deviation}) {
        call.offsets.fill(kSentinel);
        call.gains.fill(-7);
        CapturedOutput output;
        EXPECT_EQ((call.*method)(), 0);
        EXPECT_EQ(call.offsets, (std::array<uint32_t, 4>{64, 64, 64, 64}));
        EXPECT_EQ(call.gains,
                  (std::array<float, 4>{4096.0F / 4032.0F, 4096.0F / 4032.0F, 4096.0F / 4032.0F, 4096.0F / 4032.0F}));
    }
}

TEST(BlackLevelEstimates, MedianReportsItsBounds) {
    // RGGB: red half 60 and half 70, GR 800, GB 0, blue 799.
    BlcCall call({{60, 800, 70, 800, 0, 799, 0, 799, 70, 800, 60, 800, 0, 799, 0, 799}, 4, 4, 3});
    CapturedOutput output;
    EXPECT_EQ(call.median(), 1);
    EXPECT_EQ(call.offsets, (std::array<uint32_t, 4>{60, 800, 0, 799}));
    EXPECT_EQ(output.take(),
              "ch=1, blc_offset(=0) <= BLC_CALIB_MIN(=0)\nch=2, blc_offset(=800) >= BLC_CALIB_MAX(=800)\n");
}

TEST(BlackLevelEstimates, DeviationIsLimitedToTheBitDepth) {
    BlcCall call({std::vector<uint32_t>(16, 1500), 4, 4, 0});
    call.is_12bit = 0;
    EXPECT_EQ(call.deviation(), 0);
    EXPECT_EQ(call.offsets[0], 1023U);
    call.is_12bit = 1;
    EXPECT_EQ(call.deviation(), 0);
    EXPECT_EQ(call.offsets[0], 1500U);
    std::ranges::fill(call.input.samples, 5000);
    EXPECT_EQ(call.deviation(), 0);
    EXPECT_EQ(call.offsets[0], 4095U);
    EXPECT_EQ(call.gains[0], 4096.0F);
}

TEST(BlackLevelEstimates, MeanCountsRowsAndColumnsIn16Bits) {
    Random random(22);
    BlcCall call(random_frame(random, 6, 5, 1));
    const auto expected = reference::mean_black_level(call.input.samples, 6, 5, 1, false);
    call.width += 65536;
    call.height += 3 * 65536;
    compare(expected, call, &BlcCall::mean);
    // Nothing left of the width: no mean.
    call.width = 65536;
    CapturedOutput output;
    EXPECT_EQ(call.mean(), 0);
    EXPECT_EQ(call.offsets[0], 0x80000000U);
}

TEST(BlackLevelEstimates, DivideByTheMosaicsShares) {
    const std::array<uint32_t, 4> bayer_targets = {200, 200, 200, 200};
    const std::array<uint32_t, 4> mosaic_targets = {100, 400, 200, 100};
    const std::array<int32_t, 4> mosaic_counts = {200, 800, 400, 200};
    for (std::size_t code = 0; code < 4; ++code) {
        EXPECT_EQ(blc::median_target(1603, 3, code), bayer_targets[code]);
        EXPECT_EQ(blc::median_target(1603, 4, code), mosaic_targets[code]);
        EXPECT_EQ(blc::mean_count(1603, 3, code), 400);
        EXPECT_EQ(blc::mean_count(1603, 4, code), mosaic_counts[code] + (code == 1 ? 1 : 0));
    }
}

void compare_local(Random& random, const Geometry& geometry, uint32_t blocks, uint32_t high) {
    SCOPED_TRACE(::testing::Message() << geometry << ", " << blocks << " blocks");
    BlcCall call(random_frame(random, geometry.width, geometry.height, geometry.pattern, high), blocks);
    auto expected =
        reference::local_black_level(call.input.samples, geometry.width, geometry.height, geometry.pattern, blocks);
    const auto input = call.input.samples;
    CapturedOutput output;
    ASSERT_EQ(call.local(), 0);
    for (std::size_t i = 0; i < 4; ++i) {
        expected[i].push_back(kSentinel);
        ASSERT_TRUE(same_bits(expected[i], call.block_offsets[i])) << i;
    }
    ASSERT_EQ(output.take(), "");
    ASSERT_EQ(call.input.samples, input);
}

TEST(LocalBlackLevel, EqualsThePlainVersion) {
    Random random(23);
    for (const Geometry& geometry : small_geometries()) {
        const auto most = static_cast<uint32_t>(std::min(geometry.width, geometry.height));
        for (uint32_t blocks = 1; blocks <= most; ++blocks) {
            ASSERT_NO_FATAL_FAILURE(compare_local(random, geometry, blocks, 300));
        }
    }
    compare_local(random, {610, 407, 2}, 4, 0xFFFFFFFFU);  // sums that round, means that no int32 holds
    compare_local(random, {610, 407, 1}, 2, 4095);
}

TEST(LocalBlackLevel, KeepsTheEnlargedWidth) {
    // Planes of 5 x 4 samples, blocks of 2 x 2: first 2 and 3 columns, then (3 wide, fewer than two left) all 5.
    BlcCall call({{}, 10, 8, 0}, 4);
    for (uint32_t row = 0; row < 8; ++row) {
        for (uint32_t column = 0; column < 10; ++column) {
            call.input.samples.push_back(row / 4 * 100 + (column / 2 < 2 ? 10 : 20));
        }
    }
    call.input_pointer = call.input.samples.data();
    EXPECT_EQ(call.local(), 0);
    EXPECT_EQ(call.block_offsets[0], (std::vector<uint32_t>{10, 20, 116, 0, kSentinel}));
    EXPECT_EQ(call.block_offsets[3], call.block_offsets[0]);
}

}  // namespace
}  // namespace cali::test
