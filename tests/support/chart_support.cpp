#include "support/chart_support.h"

#include "chart/chart_table.h"

namespace cali::test {

OwnedFrame chart_frame(Random& random, const Geometry& geometry, double exposure) {
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
            const double sensitivity = std::array{0.6, 1.0, 0.7}[colour];
            frame.samples.push_back(static_cast<uint32_t>(64 + exposure * sensitivity * light) + random() % 20);
        }
    }
    return frame;
}

std::vector<RoiRect> random_windows(Random& random, const Geometry& geometry) {
    std::vector<RoiRect> windows(24);
    for (auto& [x, y, w, h] : windows) {
        w = random.within(2, geometry.width);
        h = random.within(2, geometry.height);
        x = random.within(0, geometry.width - w);
        y = random.within(0, geometry.height - h);
    }
    return windows;
}

std::vector<RoiRect> full_frame_windows(const Geometry& geometry) {
    std::vector<RoiRect> windows;
    for (int i = 0; i < 24; ++i) {
        const auto even = [](int value) { return value & ~1; };
        windows.push_back({even(geometry.width * (4 * (i % 6) + 1) / 24),
                           even(geometry.height * (4 * (i / 6) + 1) / 16), even(geometry.width / 12),
                           even(geometry.height / 8)});
    }
    return windows;
}

void randomise(Random& random, int turn, ChartCall& call) {
    call.windows = random_windows(random, {call.width, call.height, call.pattern});
    call.given_windows = turn % 3 == 0 ? nullptr : call.windows.data();
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
    return chart_frame(random, {48, 40, 3}, 3000);
}

}  // namespace cali::test
