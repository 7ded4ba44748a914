#include "lsc/low_pass.h"

#include <cmath>

#include "lsc/channel_planes.h"
#include "support/support.h"

namespace cali::test {
namespace {

using Samples = std::vector<int32_t>;

/// Half the frame's size either way, by channel code; a last odd row or column is in none.
std::array<Samples, kChannels> plain_split(const std::vector<uint32_t>& frame, const Geometry& geometry) {
    std::array<Samples, kChannels> planes;
    for (int y = 0; y < geometry.height / 2 * 2; ++y) {
        for (int x = 0; x < geometry.width / 2 * 2; ++x) {
            const int code =
                reference::colour_code(geometry.pattern, static_cast<uint32_t>(y), static_cast<uint32_t>(x));
            const auto at = static_cast<std::size_t>(y * geometry.width + x);
            planes[static_cast<std::size_t>(code)].push_back(static_cast<int32_t>(frame[at]));
        }
    }
    return planes;
}

/// Mirrors about the edge samples, as often as it takes.
int reflected(int position, int count) {
    if (count == 1) {
        return 0;
    }
    while (position < 0 || position >= count) {
        position = position < 0 ? -position : 2 * (count - 1) - position;
    }
    return position;
}

/// 21 taps, across and then down.
Samples plain_low_pass(Samples source, int width, int height) {
    std::array<float, 21> taps{};
    float total = 0;
    for (int i = 0; i < 21; ++i) {
        const double k = i - 10.0;
        taps[static_cast<std::size_t>(i)] =
            static_cast<float>(std::exp(-0.5 * k * k * 0.0625) / (std::sqrt(6.2832) * 4.0));
        total = total + taps[static_cast<std::size_t>(i)];
    }
    for (const bool across : {true, false}) {
        Samples result;
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                float sum = 0;
                for (int k = -10; k <= 10; ++k) {
                    const int from =
                        across ? y * width + reflected(x + k, width) : reflected(y + k, height) * width + x;
                    sum = sum + taps[static_cast<std::size_t>(k + 10)] / total *
                                    static_cast<float>(source[static_cast<std::size_t>(from)]);
                }
                result.push_back(reference::x86_int32(static_cast<double>(sum)));
            }
        }
        source = result;
    }
    return source;
}

TEST(LowPass, OfChannelPlanesMatchesThePlainFilter) {
    Random random(61);
    for (const Geometry& geometry : small_geometries()) {
        const auto frame = samples_of_kind(random, pick(random, kSampleKinds), geometry.size());
        const auto expected = plain_split(frame, geometry);
        const Samples filtered = plain_low_pass(expected[GR], geometry.width / 2, geometry.height / 2);
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
