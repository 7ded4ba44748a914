#include "library/thumbnail.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "core/channel.h"
#include "math/colour_space.h"

namespace cali::host {
namespace {

constexpr int kMostPixels = 300;      // of a side
constexpr double kBright = 0.99;      // share of samples that are darker than white
constexpr std::size_t kSteps = 1024;  // of the encoding's table
constexpr int kCells = 2;             // whose mean a pixel is, either way

}  // namespace

Thumbnail thumbnail(const Capture& capture, const BlackLevels& black_level, const GainRegisters& gains) {
    const SensorGeometry& sensor = capture.sensor;
    Thumbnail small;
    small.photosites = 2 * std::max((std::max(sensor.width, sensor.height) / 2 + kMostPixels - 1) / kMostPixels, 1);
    small.width = static_cast<std::size_t>(std::max(sensor.width / small.photosites, 0));
    small.height = static_cast<std::size_t>(std::max(sensor.height / small.photosites, 0));

    const ConstRawFrame frame = capture.view();
    const std::array<double, 3> gain = {gains.red / 1024.0, gains.green / 1024.0, gains.blue / 1024.0};
    // Of a cell's photosites, row by row: every pixel begins at a cell.
    struct Photosite {
        std::size_t colour;
        double black;
        double gain;
    };
    std::array<Photosite, 4> cell{};
    for (uint32_t i = 0; i < cell.size(); ++i) {
        const Channel channel = bayer_channel(sensor.pattern, i / 2, i % 2);
        const std::size_t c = colour_of(channel);
        cell[i] = {c, static_cast<double>(black_level.offset[index_of(channel)]), gain[c] / (c == 1 ? 2 : 1)};
    }
    const int side = 2 * std::min(kCells, small.photosites / 2);
    std::vector<float> linear(small.width * small.height * 3);
    for (std::size_t pixel = 0; pixel < small.width * small.height; ++pixel) {
        const int left = static_cast<int>(pixel % small.width) * small.photosites;
        const int top = static_cast<int>(pixel / small.width) * small.photosites;
        for (int y = 0; y < side; ++y) {
            const uint32_t* const row = frame.row(top + y) + left;
            for (int x = 0; x < side; ++x) {
                const Photosite& at = cell[static_cast<std::size_t>(2 * (y % 2) + x % 2)];
                linear[3 * pixel + at.colour] += static_cast<float>((row[x] - at.black) * at.gain);
            }
        }
    }
    std::vector<float> sorted = linear;
    float white = 1;
    if (!sorted.empty()) {
        const auto bright = sorted.begin() + static_cast<std::ptrdiff_t>(kBright * static_cast<double>(sorted.size()));
        std::ranges::nth_element(sorted, bright);
        white = std::max(*bright, white);
    }
    std::array<uint8_t, kSteps> encoded{};
    for (std::size_t i = 0; i < kSteps; ++i) {
        encoded[i] = static_cast<uint8_t>(std::lround(255 * srgb_encode(static_cast<double>(i) / (kSteps - 1))));
    }
    small.pixels.reserve(linear.size());
    for (const float value : linear) {
        small.pixels.push_back(encoded[static_cast<std::size_t>(std::clamp(value / white, 0.0F, 1.0F) * (kSteps - 1))]);
    }
    return small;
}

}  // namespace cali::host
