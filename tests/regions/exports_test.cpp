#include <algorithm>

#include "cali/cali.h"
#include "support/recorded_calls.h"

namespace cali::test {
namespace {

std::vector<RoiRgbMean> random_colours(Random& random, std::size_t count, double most_chroma) {
    std::vector<RoiRgbMean> colours;
    for (std::size_t i = 0; i < count; ++i) {
        const double grey = random.unit() * 255;
        const auto channel = [&] { return std::clamp(grey + most_chroma * (random.unit() - 0.5), 0.0, 255.0); };
        colours.push_back({channel(), channel(), channel(), 9, 8});
    }
    return colours;
}

void take(Digest& digest, const std::vector<RoiRgbMean>& colours) {
    for (const RoiRgbMean& colour : colours) {
        digest << colour.b << colour.g << colour.r << colour.valid << colour.reserved;
    }
}

/// Mode 0 takes powers.
void adjust(Random& random, int turn, uint32_t mode, Digest& digest) {
    const std::size_t count = turn % 4 == 0 ? static_cast<std::size_t>(random.within(0, 30)) : 24;
    const auto measured = random_colours(random, count, turn % 5 == 0 ? 0 : 200);
    const auto wanted = turn % 7 == 0 ? measured : random_colours(random, count, 100);
    std::vector<RoiRgbMean> adjusted(count, {-1, -1, -1, 3, 4});
    digest << cali_roi_rgb_adjust(measured.data(), wanted.data(), adjusted.data(), static_cast<uint32_t>(count), mode);
    take(digest, adjusted);
}

TEST(RecordedCalls, RegionAdjustment) {
    expect_recorded("regions.adjust", 1000, [](Random& random, int turn, Digest& digest) {
        adjust(random, turn, static_cast<uint32_t>(1 + turn % 3), digest);
    });
    expect_recorded("libm.regions.adjust", 1000,
                    [](Random& random, int turn, Digest& digest) { adjust(random, turn, 0, digest); });
}

TEST(RecordedCalls, RegionGreys) {
    expect_recorded("regions.interpolation", 1000, [](Random& random, int turn, Digest& digest) {
        const std::size_t count = random() % 12;
        auto measured = random_colours(random, count, turn % 4 * 12);
        auto wanted = random_colours(random, count, 100);
        if (turn % 10 == 0 && count > 2) {
            measured[1].g = std::numeric_limits<double>::quiet_NaN();
        }
        const GrayInterpSettings settings{static_cast<uint16_t>(random.within(0, 60)),
                                          static_cast<uint32_t>(turn % 40 == 7 ? 0 : random.within(1, 40)),
                                          static_cast<float>(random.unit() * 1.2),
                                          static_cast<uint32_t>(random.within(0, turn % 3 == 0 ? 2 : 30))};
        measured.resize(count + settings.max_add);
        wanted.resize(count + settings.max_add);
        uint32_t out_count = 77;
        digest << cali_roi_rgb_interpolation(measured.data(), wanted.data(), static_cast<uint32_t>(count), &settings,
                                             &out_count)
               << out_count;
        take(digest, measured);
        take(digest, wanted);
    });
}

}  // namespace
}  // namespace cali::test
