#include "stages/black_level.h"

#include <limits>

#include "stages/expect_stage.h"

namespace cali::test {
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

const std::array<reference::BlackLevelArguments, 8> kParameters = {{
    {{64, 65, 66, 67}, {1.015873F, 1.0161290F, 1.5F, 1.0F}},
    {{0, 0, 0, 0}, {0.49999997F, 0.5F, 0.50000006F, 1.5F}},  // halves, where adding 0.5 in single precision rounds up
    {{5000, 0xFFFFFFFFU, 0x80000000U, 4095}, {2.0F, 1.0F, 1.0F, 3.0F}},
    {{1, 2, 3, 4}, {0.0F, -0.0F, -1.25F, -1e30F}},
    {{0, 1, 64, 4096}, {1e30F, 524416.0F, 524288.0F, 1e-42F}},
    {{16, 16, 16, 16}, {kNan, kInfinity, -kInfinity, 1.0F}},
    {{16, 16, 16, 16}, {1.0F, 1.0F, 1.0F, kInfinity}},
    {{0, 0, 0, 0}, {0.99999994F, 1.0000001F, -0.0F, 0.33333334F}},
}};

TEST(BlackLevelStage, EqualsThePlainVersion) {
    Random random(1);
    for_small_frames(random, {}, [](const Geometry& geometry, const std::vector<uint32_t>& samples, std::size_t turn) {
        for (const std::size_t set : {turn % kParameters.size(), (turn / 3) % kParameters.size()}) {
            FrontEnd front_end;
            front_end.black_level = library_record(kParameters[set]);
            expect_stage(
                geometry, samples, front_end,
                reference::black_level(samples, geometry.width, geometry.height, geometry.pattern, kParameters[set]));
        }
    });
}

TEST(BlackLevelStage, LeavesPhotositesWithoutAChannelAlone) {
    // 4 x 4 mosaic: red and blue photosites in the even columns of the even rows, the rest without a channel.
    OwnedFrame frame{std::vector<uint32_t>(16, 100), 4, 4, 9};
    apply_black_level(frame.view(), library_record({{10, 20, 30, 40}, {1, 1, 1, 1}}));
    EXPECT_EQ(frame.samples,
              (std::vector<uint32_t>{90, 100, 60, 100, 100, 100, 100, 100, 60, 100, 90, 100, 100, 100, 100, 100}));
}

}  // namespace
}  // namespace cali::test
