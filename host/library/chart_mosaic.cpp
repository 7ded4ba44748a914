#include "library/chart_mosaic.h"

#include <algorithm>

#include "library/front_end.h"

namespace cali::host {
namespace {

/// A pair of columns more than the widest window takes, for those that start at odd ones.
int32_t even_side(int32_t largest) { return (largest + 3) & ~1; }

}  // namespace

ChartMosaic set_together(const Capture& chart, const TuningValues& values, const ChartWindows& windows) {
    FrontEnd front_end = front_end_of(values);
    ChartMosaic mosaic;
    // The optimised fit's gains come before the mesh, which it leaves out where there is none.
    front_end.gains_before_shading = true;
    if (values.flat_field.empty()) {
        front_end.mesh.reset();
    }

    const int32_t cell_width = even_side(std::ranges::max_element(windows, {}, &RoiRect::w)->w);
    const int32_t cell_height = even_side(std::ranges::max_element(windows, {}, &RoiRect::h)->h);
    mosaic.frame.file = chart.file;
    mosaic.frame.sensor = chart.sensor;
    mosaic.frame.sensor.width = cell_width * static_cast<int32_t>(kChartColumns);
    mosaic.frame.sensor.height = cell_height * static_cast<int32_t>(kChartRows);
    const auto columns = static_cast<std::size_t>(mosaic.frame.sensor.width);
    mosaic.frame.samples = Samples(columns * static_cast<std::size_t>(mosaic.frame.sensor.height));
    for (std::size_t i = 0; i < windows.size(); ++i) {
        const RoiRect& from = windows[i];
        RoiRect& to = mosaic.windows[i];
        to = {static_cast<int32_t>(i % kChartColumns) * cell_width + (from.x & 1),
              static_cast<int32_t>(i / kChartColumns) * cell_height + (from.y & 1), from.w, from.h};
        const std::vector<uint32_t> samples = window_behind(chart, front_end, from);
        for (int32_t y = 0; y < from.h; ++y) {
            const auto row = samples.begin() + static_cast<std::ptrdiff_t>(y) * from.w;
            const auto into = mosaic.frame.samples.begin() +
                              static_cast<std::ptrdiff_t>(to.y + y) * static_cast<std::ptrdiff_t>(columns) + to.x;
            std::copy_n(row, from.w, into);
        }
    }
    return mosaic;
}

}  // namespace cali::host
