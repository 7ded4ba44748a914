#include "blc/estimators.h"

#include <cmath>

#include "support/export_calls.h"

namespace cali::test {
namespace {

struct Plain {
    std::array<reference::Samples, 4> histogram;
    std::array<uint32_t, 4> median{}, mean{}, deviation{};
};

/// Channels in the order RR, GR, GB, BB; each channel's samples row by row.
Plain plain_estimates(const OwnedFrame& frame, int32_t most) {
    std::array<reference::Samples, 4> channels;
    for (std::size_t i = 0; i < frame.samples.size(); ++i) {
        const auto columns = static_cast<std::size_t>(frame.width);
        const int code = reference::colour_code(frame.pattern, static_cast<uint32_t>(i / columns),
                                                static_cast<uint32_t>(i % columns));
        channels[static_cast<std::size_t>(3 - code)].push_back(frame.samples[i]);
    }
    Plain plain;
    const std::size_t quarter = frame.samples.size() / 4;
    for (std::size_t i = 0; i < 4; ++i) {
        plain.histogram[i].resize(4096);
        uint32_t wrapping_sum = 0;
        float sum = 0;
        for (const uint32_t sample : channels[i]) {
            plain.histogram[i][sample % 4096] += sample < 4096 ? 1 : 0;
            wrapping_sum += sample;
            sum = sum + static_cast<float>(sample);
        }
        uint32_t bin = 0;
        for (std::size_t running = 0; bin < 4096 && (running += plain.histogram[i][bin]) < quarter / 2;) {
            ++bin;
        }
        plain.median[i] = bin % 4096;
        const float mean = sum / static_cast<float>(channels[i].size());
        plain.mean[i] = static_cast<uint32_t>(reference::x86_int32(static_cast<double>(mean) + 0.5));
        const float centre = static_cast<float>(wrapping_sum) / static_cast<float>(quarter);
        float squares = 0;
        for (const uint32_t sample : channels[i]) {
            squares = squares + (static_cast<float>(sample) - centre) * (static_cast<float>(sample) - centre);
        }
        const float estimate = std::sqrt(squares / static_cast<float>(quarter)) * 0.1F + centre + 0.5F;
        plain.deviation[i] = static_cast<uint32_t>(std::min(reference::x86_int32(static_cast<double>(estimate)), most));
    }
    return plain;
}

void compare(BlcCall& call) {
    const Geometry geometry{call.input.width, call.input.height, call.pattern};
    SCOPED_TRACE(::testing::Message() << geometry);
    call.is_12bit = call.input.width % 2;
    const Plain plain = plain_estimates(call.input, call.is_12bit != 0 ? 4095 : 1023);
    CapturedOutput output;
    (void)call.median();
    ASSERT_EQ(call.offsets, plain.median);
    ASSERT_EQ(call.mean(), 0);
    ASSERT_EQ(call.offsets, plain.mean);
    ASSERT_EQ(call.deviation(), 0);
    ASSERT_EQ(call.offsets, plain.deviation);
    ASSERT_EQ(call.get_histogram(), 0);
    ASSERT_EQ(call.histograms, plain.histogram);
}

TEST(BlackLevelEstimates, EqualThePlainVersions) {
    Random random(20);
    for (const Geometry& geometry : small_geometries()) {
        const SampleKind kind = random() % 2 == 0 ? SampleKind::codes : SampleKind::sprinkled;
        BlcCall call(
            {samples_of_kind(random, kind, geometry.size()), geometry.width, geometry.height, geometry.pattern});
        ASSERT_NO_FATAL_FAILURE(compare(call));
    }
    // Sums per channel of 2^26 and more; with the larger samples the 32-bit sums wrap.
    for (const uint32_t high : {4095U, 2000000U, 0xFFFFFFFFU}) {
        BlcCall call(random_frame(random, 515, 401, 3, high));
        ASSERT_NO_FATAL_FAILURE(compare(call));
    }
}

TEST(BlackLevelEstimates, DivideByTheMosaicsShares) {
    for (std::size_t code = 0; code < 4; ++code) {
        EXPECT_EQ(blc::median_target(1603, 3, code), 200U);
        EXPECT_EQ(blc::mean_count(1603, 3, code), 400);
        EXPECT_EQ(blc::median_target(1603, 4, code), (std::array{100U, 400U, 200U, 100U})[code]);
        EXPECT_EQ(blc::mean_count(1603, 4, code), (std::array{200, 801, 400, 200})[code]);
    }
}

TEST(LocalBlackLevel, KeepsTheEnlargedWidth) {
    // Planes of 5 x 4 samples, blocks of 2 x 2: first 2 and 3 columns, then (3 wide, fewer than two left) all 5.
    std::vector<uint32_t> samples;
    for (uint32_t i = 0; i < 80; ++i) {
        samples.push_back(i / 40 * 100 + (i % 10 < 4 ? 10 : 20));
    }
    BlcCall call({samples, 10, 8, 0}, 4);
    EXPECT_EQ(call.local(), 0);
    EXPECT_EQ(call.block_offsets[0], (std::vector<uint32_t>{10, 20, 116, 0, kSentinel}));
    EXPECT_EQ(call.block_offsets[3], call.block_offsets[0]);
}

}  // namespace
}  // namespace cali::test
