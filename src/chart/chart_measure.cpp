#include "chart/chart_measure.h"

#include <algorithm>

#include "boundary/export_call.h"
#include "core/scratch.h"

namespace cali {
namespace {

/// Its table serves every window.
std::optional<RadialShading> radial_stage(const ConstRawFrame& frame, const FrontEnd& front_end) {
    std::optional<RadialShading> stage;
    if (front_end.radial) {
        stage.emplace(pack_radial_registers(frame.width, frame.height, frame.pattern, *front_end.radial));
    }
    return stage;
}

/// The stages on a range of columns, row by row.
class ColumnStages {
public:
    ColumnStages(const ConstRawFrame& frame, const FrontEnd& front_end, const std::optional<RadialShading>& radial,
                 int32_t first_column, int32_t count)
        : frame_(frame),
          first_column_(static_cast<uint32_t>(first_column)),
          count_(static_cast<std::size_t>(count)),
          gains_before_shading_(front_end.gains_before_shading),
          black_level_(front_end.black_level, frame.pattern),
          radial_(radial) {
        if (front_end.mesh) {
            mesh_.emplace(frame.width, frame.height, frame.pattern, *front_end.mesh, first_column, count);
        }
        if (front_end.wb_gains) {
            wb_gains_.emplace(*front_end.wb_gains, frame.pattern);
        }
    }

    /// Rows in ascending order.
    void row(int32_t frame_row, uint32_t* samples) {
        const auto y = static_cast<uint32_t>(frame_row);
        black_level_.row(y, first_column_, frame_.row(frame_row) + first_column_, samples, count_);
        if (wb_gains_ && gains_before_shading_) {
            wb_gains_->row(y, first_column_, samples, samples, count_);
        }
        if (mesh_) {
            mesh_->row(y, samples, samples);
        }
        if (radial_) {
            radial_->row(y, first_column_, samples, samples, count_);
        }
        if (wb_gains_ && !gains_before_shading_) {
            wb_gains_->row(y, first_column_, samples, samples, count_);
        }
    }

private:
    ConstRawFrame frame_;
    uint32_t first_column_;
    std::size_t count_;
    bool gains_before_shading_;
    BlackLevelStage black_level_;
    std::optional<MeshShading> mesh_;
    const std::optional<RadialShading>& radial_;
    std::optional<WbGainStage> wb_gains_;
};

/// Of the even and the odd samples. Sums stay whole numbers below 2^53, so their order does not matter.
std::array<uint64_t, 2> sum_alternating(const uint32_t* samples, std::size_t count) {
    std::array<uint64_t, 2> sum{};
    std::size_t i = 0;
    for (; i + 2 <= count; i += 2) {
        sum[0] += samples[i];
        sum[1] += samples[i + 1];
    }
    if (i < count) {
        sum[0] += samples[i];
    }
    return sum;
}

/// Windows leave gaps that the machine's own prefetching stumbles over at every row.
void prefetch(const uint32_t* samples, std::size_t count) {
    constexpr std::size_t kCacheLine = 64 / sizeof(uint32_t);
    for (std::size_t i = 0; i < count; i += kCacheLine) {
        __builtin_prefetch(samples + i);
    }
}

std::array<double, 3> measure_window(const ConstRawFrame& frame, const FrontEnd& front_end,
                                     const std::optional<RadialShading>& radial, const RoiRect& window) {
    constexpr int32_t kRowsAhead = 4;
    ColumnStages stages(frame, front_end, radial, window.x, window.w);
    const Scratch<uint32_t> samples(static_cast<std::size_t>(window.w));
    std::array<uint64_t, 3> sum{};
    std::array<uint64_t, 3> count{};
    for (int32_t y = window.y; y < window.y + window.h; ++y) {
        if (y + kRowsAhead < window.y + window.h) {
            prefetch(frame.row(y + kRowsAhead) + window.x, samples.size());
        }
        stages.row(y, samples.data());
        const std::array<uint64_t, 2> row_sum = sum_alternating(samples.data(), samples.size());
        for (std::size_t parity = 0; parity < 2; ++parity) {
            const std::size_t colour =
                colour_of(bayer_channel(frame.pattern, static_cast<uint32_t>(y),
                                        static_cast<uint32_t>(window.x) + static_cast<uint32_t>(parity)));
            sum[colour] += row_sum[parity];
            count[colour] += (samples.size() + 1 - parity) / 2;
        }
    }
    std::array<double, 3> mean{};
    for (std::size_t colour = 0; colour < mean.size(); ++colour) {
        mean[colour] = static_cast<double>(sum[colour]) / static_cast<double>(count[colour]);
    }
    return mean;
}

}  // namespace

ChartWindows chart_windows(ArgumentCheck& check, const RoiRect* given, int32_t width, int32_t height) {
    ChartWindows windows = windows_of_full_frame(width, height);
    if (given != nullptr) {
        std::copy_n(given, windows.size(), windows.begin());
    }
    for (std::size_t i = 0; i < windows.size(); ++i) {
        const RoiRect& window = windows[i];
        if (!window_fits(window, width, height)) {
            check.reject("chart window %zu is %d x %d at (%d, %d), expected 2 x 2 or more inside the frame of %d x %d",
                         i + 1, window.w, window.h, window.x, window.y, width, height);
        }
    }
    return windows;
}

ChartMeans measure_chart(const ConstRawFrame& frame, const FrontEnd& front_end, const ChartWindows& windows) {
    const std::optional<RadialShading> radial = radial_stage(frame, front_end);
    ChartMeans means{};
    for (std::size_t i = 0; i < windows.size(); ++i) {
        means[i] = measure_window(frame, front_end, radial, windows[i]);
    }
    return means;
}

void apply_front_end(const ConstRawFrame& frame, const FrontEnd& front_end, uint32_t* destination) {
    const std::optional<RadialShading> radial = radial_stage(frame, front_end);
    ColumnStages stages(frame, front_end, radial, 0, frame.width);
    const RawFrame output{destination, frame.width, frame.height, frame.pattern};
    for (int32_t y = 0; y < frame.height; ++y) {
        stages.row(y, output.row(y));
    }
}

}  // namespace cali
