#include "support/chart_support.h"

namespace cali::test {

OwnedFrame chart_frame(Random& random, const Geometry& geometry) {
    OwnedFrame frame{{}, geometry.width, geometry.height, geometry.pattern};
    for (int y = 0; y < geometry.height; ++y) {
        for (int x = 0; x < geometry.width; ++x) {
            const auto patch = static_cast<std::size_t>(y * 4 / geometry.height * 6 + x * 6 / geometry.width);
            const auto& encoded = kChartSrgb24[patch];
            const int code =
                reference::colour_code(geometry.pattern, static_cast<uint32_t>(y), static_cast<uint32_t>(x));
            const std::size_t colour = code == 3 ? 0 : code == 0 ? 2 : 1;
            const double other = encoded[(colour + 1) % 3];
            const double light = 0.8 * encoded[colour] * encoded[colour] + 0.2 * other * other;
            const double exposure = std::array{1800, 3000, 2100}[colour];
            frame.samples.push_back(static_cast<uint32_t>(64 + exposure * light) + random() % 20);
        }
    }
    return frame;
}

void randomise(Random& random, int turn, ChartCall& call) {
    if (turn % 3 != 0) {
        for (RoiRect& window : call.windows) {
            window.w = random.within(2, call.width);
            window.h = random.within(2, call.height);
            window.x = random.within(0, call.width - window.w);
            window.y = random.within(0, call.height - window.h);
        }
    } else {
        call.given_windows = nullptr;
    }
    CcmLensShading& shading = call.shading[0];
    shading.mode = turn / 4 % 4;
    shading.grid_cols = random.within(4, 8);
    for (uint32_t* const grid : {shading.red_grid, shading.green_grid, shading.blue_grid}) {
        std::generate_n(grid, shading.grid_cols * shading.grid_rows, [&] { return 450 + random() % 200; });
    }
    shading.center_x = random.within(0, call.width);
    shading.center_y = random.within(0, call.height);
    std::ranges::generate(shading.radial_tables, [&] { return random.within(512, 640); });
    std::ranges::generate(call.black.offset, [&] { return random.within(50, 70); });
    std::ranges::generate(call.black.gain, [&] { return static_cast<float>(random.within(1024, 1088)) / 1024.0F; });
    std::ranges::generate(call.saturation_and_weights, [&] { return static_cast<float>(random.within(3, 9)) / 6.0F; });
    call.white_point = turn % 2 == 0 ? 65 : 50;
    call.tables_held = turn % 9 == 8 ? 1 : 0;
    call.gain_r = turn % 6 == 0 ? 0 : random.within(900, 2000);
    call.gain_b = turn % 7 == 0 ? 0 : random.within(900, 2000);
}

OwnedFrame small_chart() {
    Random random(90);
    return chart_frame(random, {48, 40, 3});
}

}  // namespace cali::test
