#include "blc/histogram.h"

#include <algorithm>
#include <limits>

#include "reference/estimates.h"
#include "support/export_calls.h"

namespace cali::test {
namespace {

TEST(BlackLevelHistogram, EqualsThePlainVersion) {
    Random random(30);
    for (const Geometry& geometry : small_geometries()) {
        const SavedModuleState saved;
        SCOPED_TRACE(::testing::Message() << geometry);
        const bool report = geometry.width % 5 == 0;
        module_state().debug.blc_report = report;
        BlcCall call({samples_of_kind(random, SampleKind::sprinkled, geometry.size()), geometry.width, geometry.height,
                      geometry.pattern});
        const auto expected =
            reference::histogram(call.input.samples, call.width, call.height, geometry.pattern, report);
        const auto input = call.input.samples;
        CapturedOutput output;
        ASSERT_EQ(call.get_histogram(), 0);
        for (std::size_t i = 0; i < 4; ++i) {
            ASSERT_TRUE(same_bits(expected.count[3 - i], call.histograms[i])) << i;
        }
        ASSERT_EQ(output.take(), expected.printed);
        ASSERT_EQ(call.input.samples, input);
    }
}

TEST(BlackLevelHistogram, GivesTheWorkedCounts) {
    const SavedModuleState saved;
    module_state().debug.blc_report = true;
    BlcCall call({{10, 20, 4095, 4096, 10, 20, 30, 40}, 2, 4, 3});
    CapturedOutput output;
    EXPECT_EQ(call.get_histogram(), 0);
    EXPECT_EQ(
        output.take(),
        "Value\tBB\tGB\tGR\tRR\n10\t0\t0\t0\t2\n20\t0\t0\t2\t0\n30\t0\t1\t0\t0\n40\t1\t0\t0\t0\n4095\t0\t1\t0\t0\n");
    EXPECT_EQ(call.histograms[0][10], 2U);
    EXPECT_EQ(call.histograms[3][40], 1U);
    EXPECT_EQ(std::ranges::count(call.histograms[3], 0U), 4095);
}

TEST(BlackLevelVerification, EqualsThePlainVersion) {
    const std::array<reference::BlackLevelArguments, 4> parameters = {
        {{{64, 65, 66, 67}, {1.0158F, 1.0161F, 1.0163F, 1.0166F}},
         {{0, 0, 0, 0}, {1, 1, 1, 1}},
         {{0, 0xFFFFFFFFU, 4000, 1}, {-1.5F, 0.5F, 1e30F, 0}},
         {{1, 2, 3, 4}, {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(), 3, 1}}}};
    Random random(31);
    for (const Geometry& geometry : small_geometries()) {
        SCOPED_TRACE(::testing::Message() << geometry);
        const auto samples = samples_of_kind(random, SampleKind::sprinkled, geometry.size());
        for (const reference::BlackLevelArguments& arguments : parameters) {
            const auto expected =
                reference::black_level(samples, geometry.width, geometry.height, geometry.pattern, arguments);
            on_every_isa([&] {
                BlcCall call({samples, geometry.width, geometry.height, geometry.pattern});
                call.black = arguments;
                CapturedOutput output;
                ASSERT_EQ(call.verify(), 0);
                ASSERT_TRUE(same_bits(expected, call.output_samples));
                ASSERT_EQ(call.input.samples, samples);
                ASSERT_EQ(output.take(), "");
            });
            if (HasFailure()) {
                return;
            }
        }
    }
}

TEST(BlackLevelVerification, WritesPicturesWhenSwitchedOn) {
    const TemporaryDirectory directory;
    const SavedModuleState saved;
    module_state().debug.blc_report = true;
    BlcCall call({{512, 1024, 2}, 3, 1, 0});
    call.black = {{0, 0, 256, 256}, {1, 1, 2, 1}};  // blue minus 256, GB likewise and doubled
    CapturedOutput output;
    EXPECT_EQ(call.verify(), 0);
    EXPECT_EQ(output.take(), "output ppm to _blc_in.ppm\noutput ppm to _blc_out.ppm\n");
    const auto grey = [](std::array<char, 3> pixels) {
        std::string file = "P6 3 1 255\n";
        for (const char pixel : pixels) {
            file.append(3, pixel);
        }
        return file;
    };
    EXPECT_EQ(read_file("_blc_in.ppm"), grey({'\x80', '\xFF', '\0'}));
    EXPECT_EQ(read_file("_blc_out.ppm"), grey({'\x40', '\xFF', '\0'}));
}

}  // namespace
}  // namespace cali::test
