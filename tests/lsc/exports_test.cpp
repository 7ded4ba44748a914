#include <algorithm>
#include <cmath>

#include "support/export_calls.h"
#include "support/recorded_calls.h"

namespace cali::test {
namespace {

/// A flat field as a lens leaves it, brightest at a random place, with noise and here and there an extreme sample.
OwnedFrame shaded_frame(Random& random, int32_t width, int32_t height, int32_t pattern) {
    OwnedFrame frame{{}, width, height, pattern};
    const double peak = random.within(50, 5000);  // saturated, ordinary and dark ones
    const double slope = 0.9 * random.unit();
    const double x0 = random.unit() * width;
    const double y0 = random.unit() * height;
    const bool dusty = random() % 3 == 0;
    const bool dark = random() % 40 == 0;
    for (int32_t y = 0; y < height; ++y) {
        for (int32_t x = 0; x < width; ++x) {
            const double u = (x - x0) / width;
            const double v = (y - y0) / height;
            const double level = peak * (1 - slope * std::sqrt(u * u + v * v)) + random.within(-32, 31);
            frame.samples.push_back(dark ? 0
                                    : dusty && random() % 200 == 0
                                        ? pick(random, kExtremeSamples)
                                        : static_cast<uint32_t>(std::clamp(level, 0.0, 4095.0)));
        }
    }
    return frame;
}

TEST(RecordedCalls, LensShading) {
    expect_recorded("libm.lsc.calc", 500, [](Random& random, int turn, Digest& digest) {
        const int most = turn % 50 == 0 ? 260 : 70;  // the largest planes hold a whole search window
        const std::array<int32_t, 4> sizes = {random.within(1, most), random.within(1, most), random.within(4, 12),
                                              random.within(4, 12)};
        LscCall call(shaded_frame(random, sizes[0], sizes[1], turn % 4), sizes[2], sizes[3]);
        call.type = turn % 5 - 1;
        call.denoise = turn % 2;
        for (int32_t& black : call.blc) {
            black = random.within(turn % 7 == 0 ? -200 : 0, 130);
        }
        module_state().debug.lsc_dump = turn % 10 == 0;
        digest << call.calc() << call.state();
        digest.take_files();
    });
}

TEST(RecordedCalls, LensShadingCheck) {
    expect_recorded("lsc.verify", 1000, [](Random& random, int turn, Digest& digest) {
        const int32_t width = random.within(1, 40);
        const int32_t height = random.within(1, 40);
        const int32_t cols = random.within(3, 9);
        const int32_t rows = random.within(3, 9);
        LscCall call(turn % 3 == 0 ? random_frame(random, width, height, turn % 4, 0xFFFFFFFFU)
                                   : shaded_frame(random, width, height, turn % 4),
                     cols, rows);
        const auto grids = plausible_grids(random, call.cols, call.rows);
        std::ranges::copy(grids.red, call.mesh[0].begin());
        std::ranges::copy(grids.green, call.mesh[1].begin());
        std::ranges::copy(grids.blue, call.mesh[2].begin());
        std::ranges::generate(call.radial, [&] { return random.within(400, 4095); });
        call.center_x = random.within(0, width);
        call.center_y = random.within(0, height);
        // Any grid missing is no mesh.
        std::array<int32_t**, 3> grid = {&call.red, &call.green, &call.blue};
        if (turn % 5 == 3) {
            *grid[random() % 3] = nullptr;
        }
        call.radius_lut = turn % 7 == 3 ? nullptr : call.radius_lut;
        module_state().debug.lsc_dump = turn % 6 == 0;
        digest << call.verify() << call.state();
        digest.take_files();
    });
}

}  // namespace
}  // namespace cali::test
