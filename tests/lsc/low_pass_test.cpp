#include "lsc/low_pass.h"

#include "lsc/channel_planes.h"
#include "reference/channel_planes.h"
#include "support/support.h"

namespace cali::test {
namespace {

TEST(LowPass, OfChannelPlanesMatchesThePlainFilter) {
    Random random(61);
    for (const Geometry& geometry : small_geometries()) {
        const auto frame = samples_of_kind(random, pick(random, kSampleKinds), geometry.size());
        const auto expected = reference::split(frame, geometry.width, geometry.height, geometry.pattern);
        const reference::Plane filtered = reference::low_pass(expected[GR], geometry.width / 2, geometry.height / 2);
        on_every_isa([&] {
            lsc::ChannelPlanes planes(geometry.width, geometry.height);
            lsc::split_frame({frame.data(), geometry.width, geometry.height, geometry.pattern}, planes);
            for (std::size_t code = 0; code < kChannels; ++code) {
                ASSERT_TRUE(same_bits(std::span<const int32_t>(expected[code]),
                                      std::span<const int32_t>(planes.samples[code].span())))
                    << geometry;
            }
            lsc::low_pass(planes, lsc::low_pass_taps());
            ASSERT_TRUE(
                same_bits(std::span<const int32_t>(filtered), std::span<const int32_t>(planes.samples[GR].span())))
                << geometry;
        });
    }
}

}  // namespace
}  // namespace cali::test
