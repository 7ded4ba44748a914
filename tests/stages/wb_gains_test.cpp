#include "stages/wb_gains.h"

#include "stages/expect_stage.h"

namespace cali::test {
namespace {

TEST(WbGainStage, EqualsThePlainVersion) {
    const std::array<WbGains, 6> gains = {
        {{2048, 1280}, {1024, 1023}, {0, 65535}, {0xFFFFFFFFU, 1}, {1025, 0x80000000U}, {1699, 16777217}}};
    Random random(2);
    for_small_frames(random, {}, [&](const Geometry& geometry, const std::vector<uint32_t>& samples, std::size_t turn) {
        FrontEnd front_end;
        front_end.wb_gains = gains[turn / 3 % gains.size()];
        expect_stage(geometry, samples, front_end,
                     reference::wb_gains(samples, geometry.width, geometry.height, geometry.pattern,
                                         front_end.wb_gains->red, front_end.wb_gains->blue));
    });
}

}  // namespace
}  // namespace cali::test
