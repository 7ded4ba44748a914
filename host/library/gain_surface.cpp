#include "library/gain_surface.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "core/channel.h"
#include "library/front_end.h"

namespace cali::host {
namespace {

struct Stretch {
    int first;
    int last;
};

/// Whole photosites around a position, two at least: a cell has every colour.
Stretch around(double position, double reach, int size) {
    const double limited = std::clamp(position, 0.0, size - 1.0);
    const double half = std::min({reach, limited, size - 1.0 - limited});
    int first = static_cast<int>(std::ceil(limited - half));
    int last = static_cast<int>(std::floor(limited + half));
    while (last - first < 1) {
        first = std::max(first - (last == size - 1 ? 1 : 0), 0);
        last = std::min(last + 1, size - 1);
    }
    return {first, last};
}

}  // namespace

GainSurface::GainSurface(const SensorGeometry& sensor, const ShadingGrids& grids)
    : sensor_(sensor), shading_(sensor.width, sensor.height, sensor.pattern, mesh_of(grids)) {}

Colour GainSurface::at(double x, double y, double reach) const {
    const Stretch columns = around(x, reach, sensor_.width);
    const Stretch rows = around(y, reach, sensor_.height);
    constexpr double kUnity = 512;
    Colour sum{};
    std::array<int, 3> count{};
    for (int row = rows.first; row <= rows.last; ++row) {
        for (int column = columns.first; column <= columns.last; ++column) {
            const auto top = static_cast<uint32_t>(row);
            const auto left = static_cast<uint32_t>(column);
            const std::size_t colour = colour_of(bayer_channel(sensor_.pattern, top, left));
            sum[colour] += shading_.gain(top, left) / kUnity;
            ++count[colour];
        }
    }
    for (std::size_t c = 0; c < sum.size(); ++c) {
        sum[c] /= count[c];
    }
    return sum;
}

}  // namespace cali::host
