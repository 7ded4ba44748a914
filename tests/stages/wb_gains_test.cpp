#include "stages/wb_gains.h"

#include "support/support.h"

namespace cali::test {
namespace {

TEST(WbGainStage, EqualsThePlainVersion) {
    const std::array<WbGains, 6> gains = {
        {{2048, 1280}, {1024, 1023}, {0, 65535}, {0xFFFFFFFFU, 1}, {1025, 0x80000000U}, {1699, 16777217}}};
    Random random(2);
    for (const Geometry& geometry : small_geometries()) {
        for (const SampleKind kind : kSampleKinds) {
            const auto samples = samples_of_kind(random, kind, geometry.size());
            for (const WbGains& gain : gains) {
                SCOPED_TRACE(::testing::Message() << geometry << ", gains " << gain.red << ", " << gain.blue);
                const auto expected = reference::wb_gains(samples, geometry.width, geometry.height, geometry.pattern,
                                                          gain.red, gain.blue);
                on_every_isa([&] {
                    OwnedFrame frame{samples, geometry.width, geometry.height, geometry.pattern};
                    std::vector<uint32_t> apart(geometry.size());
                    apply_wb_gains(frame.view(), gain, apart.data());
                    ASSERT_TRUE(same_bits(expected, apart));
                    ASSERT_TRUE(same_bits(samples, frame.samples));
                    apply_wb_gains(frame.view(), gain, frame.samples.data());
                    ASSERT_TRUE(same_bits(expected, frame.samples));
                });
                if (HasFailure()) {
                    return;
                }
            }
        }
    }
}

TEST(WbGainStage, GivesTheWorkedValues) {
    on_every_isa([] {
        // RGGB: red doubled and limited, greens copied above full scale, blue at unity.
        OwnedFrame frame{{3000, 4500, 4500, 4095, 1000, 7, 8, 4096}, 2, 4, 3};
        apply_wb_gains(frame.view(), {2048, 1024}, frame.samples.data());
        EXPECT_EQ(frame.samples, (std::vector<uint32_t>{4095, 4500, 4500, 4095, 2000, 7, 8, 4095}));
    });
}

}  // namespace
}  // namespace cali::test
