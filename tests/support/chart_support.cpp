#include "support/chart_support.h"

#include <algorithm>

namespace cali::test {
namespace {

std::size_t colour_of(const Geometry& geometry, int y, int x) {
    const int code = reference::colour_code(geometry.pattern, static_cast<uint32_t>(y), static_cast<uint32_t>(x));
    return code == 3 ? 0 : code == 0 ? 2 : 1;
}

std::size_t index_of(const Geometry& geometry, int y, int x) {
    return static_cast<std::size_t>(y) * static_cast<std::size_t>(geometry.width) + static_cast<std::size_t>(x);
}

int reflected(int i, int size) { return size == 1 ? 0 : i < 0 ? -i : i >= size ? 2 * (size - 1) - i : i; }

}  // namespace

OwnedFrame chart_frame(Random& random, const Geometry& geometry, double exposure) {
    OwnedFrame frame{{}, geometry.width, geometry.height, geometry.pattern};
    for (int y = 0; y < geometry.height; ++y) {
        for (int x = 0; x < geometry.width; ++x) {
            const auto patch = static_cast<std::size_t>(y * 4 / geometry.height * 6 + x * 6 / geometry.width);
            const auto& encoded = reference::chart_srgb()[patch];
            const std::size_t colour = colour_of(geometry, y, x);
            const double other = encoded[(colour + 1) % 3];
            const double light = 0.8 * encoded[colour] * encoded[colour] + 0.2 * other * other;
            const double sensitivity = std::array{0.6, 1.0, 0.7}[colour];
            frame.samples.push_back(static_cast<uint32_t>(64 + exposure * sensitivity * light) +
                                    static_cast<uint32_t>(random() % 20));
        }
    }
    return frame;
}

std::vector<RoiRect> random_windows(Random& random, const Geometry& geometry) {
    std::vector<RoiRect> windows;
    for (int i = 0; i < 24; ++i) {
        const auto side = [&](int size) {
            return 2 + static_cast<int32_t>(random() % static_cast<uint32_t>(size - 1));
        };
        const int32_t w = side(geometry.width);
        const int32_t h = side(geometry.height);
        const auto start = [&](int size, int32_t taken) {
            return static_cast<int32_t>(random() % static_cast<uint32_t>(size - taken + 1));
        };
        windows.push_back({start(geometry.width, w), start(geometry.height, h), w, h});
    }
    return windows;
}

std::vector<RoiRect> full_frame_windows(const Geometry& geometry) {
    std::vector<RoiRect> windows;
    for (int row = 0; row < 4; ++row) {
        for (int column = 0; column < 6; ++column) {
            const auto even = [](int value) { return value & ~1; };
            windows.push_back({even(geometry.width * (4 * column + 1) / 24), even(geometry.height * (4 * row + 1) / 16),
                               even(geometry.width / 12), even(geometry.height / 8)});
        }
    }
    return windows;
}

reference::Patches window_means(const reference::Samples& frame, const Geometry& geometry,
                                const std::vector<RoiRect>& windows) {
    reference::Patches means;
    for (const RoiRect& window : windows) {
        std::array<double, 3> sum{};
        std::array<double, 3> count{};
        for (int y = window.y; y < window.y + window.h; ++y) {
            for (int x = window.x; x < window.x + window.w; ++x) {
                sum[colour_of(geometry, y, x)] += frame[index_of(geometry, y, x)];
                count[colour_of(geometry, y, x)] += 1;
            }
        }
        means.push_back({sum[0] / count[0] / 4095.0, sum[1] / count[1] / 4095.0, sum[2] / count[2] / 4095.0});
    }
    return means;
}

std::string raw_picture(const reference::Samples& frame, const Geometry& geometry) {
    std::string bytes;
    char last_blue = '\0';
    for (int y = 0; y < geometry.height; ++y) {
        for (int x = 0; x < geometry.width; ++x) {
            const std::size_t own = colour_of(geometry, y, x);
            std::array<uint64_t, 3> sum{};
            std::array<uint64_t, 3> count{};
            for (int v = y - 1; v <= y + 1; ++v) {
                for (int u = x - 1; u <= x + 1; ++u) {
                    const std::size_t colour = colour_of(geometry, v, u);
                    if (colour != own) {
                        sum[colour] +=
                            frame[index_of(geometry, reflected(v, geometry.height), reflected(u, geometry.width))];
                        ++count[colour];
                    }
                }
            }
            sum[own] = frame[index_of(geometry, y, x)];
            count[own] = 1;
            const auto in_8_bits = [&](std::size_t c) {
                return static_cast<char>(std::min<uint64_t>(sum[c] / count[c] / 16, 255));
            };
            bytes += in_8_bits(0);
            bytes += '\0';
            bytes += in_8_bits(1);
            last_blue = in_8_bits(2);
        }
    }
    // The writer lays pixels down six bytes wide and three apart: the last one's blue stays behind it.
    bytes.resize(geometry.size() * 6);
    bytes[geometry.size() * 3 + 1] = last_blue;
    return reference::text("P6 %d %d 255\n", geometry.width, geometry.height) + bytes;
}

OwnedFrame small_chart() {
    Random random(90);
    return chart_frame(random, {48, 40, 3}, 3000);
}

}  // namespace cali::test
