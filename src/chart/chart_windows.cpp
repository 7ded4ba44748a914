#include "chart/chart_windows.h"

namespace cali {

ChartWindows windows_of_full_frame(int32_t width, int32_t height) {
    const auto start = [](int32_t size, int32_t cell, int32_t parts) {
        return static_cast<int32_t>(int64_t{size} * (4 * cell + 1) / parts) & ~1;
    };
    ChartWindows windows{};
    for (std::size_t i = 0; i < windows.size(); ++i) {
        const auto column = static_cast<int32_t>(i % kChartColumns);
        const auto row = static_cast<int32_t>(i / kChartColumns);
        windows[i] = {start(width, column, 24), start(height, row, 16), (width / 12) & ~1, (height / 8) & ~1};
    }
    return windows;
}

bool window_fits(const RoiRect& window, int32_t width, int32_t height) {
    return window.x >= 0 && window.y >= 0 && window.w >= 2 && window.h >= 2 && window.w <= width - window.x &&
           window.h <= height - window.y;
}

}  // namespace cali
