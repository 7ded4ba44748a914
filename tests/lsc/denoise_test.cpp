#include "lsc/denoise.h"

#include "reference/channel_planes.h"
#include "support/support.h"

namespace cali::test {
namespace {

/// Planes with several shares of bright samples, with and without extremes among them.
reference::Plane cluttered_plane(Random& random, std::size_t size) {
    const SampleKind kind = kSampleKinds[random() % kSampleKinds.size()];
    const auto extreme = samples_of_kind(random, kind, size);
    const uint32_t rare = 1 + static_cast<uint32_t>(random()) % 300;
    reference::Plane plane(size);
    for (std::size_t i = 0; i < size; ++i) {
        plane[i] = static_cast<int32_t>(random() % rare == 0 ? extreme[i] : 40 + random() % 20);
    }
    return plane;
}

TEST(Denoise, MatchesThePlainSteps) {
    Random random(62);
    // From one sample to several search windows either way.
    const std::array<int32_t, 7> sides = {1, 2, 7, 9, 64, 162, 333};
    for (const int32_t width : sides) {
        for (const int32_t height : sides) {
            const auto size = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
            const auto before = cluttered_plane(random, size);
            const int32_t measured = reference::bright_threshold(before, 0.05);
            for (const int32_t threshold : {measured, 50, 4094, 4095}) {
                SCOPED_TRACE(::testing::Message() << width << " x " << height << ", threshold " << threshold);
                const auto smooth = reference::masked_gaussian(before, width, height, threshold);
                const auto filled = reference::fill_dark(before, width, height, threshold);
                on_every_isa([&] {
                    auto plane = before;
                    ASSERT_EQ(lsc::lsc_bright_threshold({plane.data(), width, height}, 0.05), measured);
                    lsc::lsc_masked_gaussian({plane.data(), width, height}, threshold, 4.0F);
                    ASSERT_TRUE(same_bits(smooth, plane)) << "smoothing";
                    plane = before;
                    lsc::lsc_fill_dark({plane.data(), width, height}, threshold);
                    ASSERT_TRUE(same_bits(filled, plane)) << "filling";
                });
            }
        }
    }
}

}  // namespace
}  // namespace cali::test
