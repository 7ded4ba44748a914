#include "chart/chart_measure.h"

#include "core/channel.h"
#include "core/scratch.h"

namespace cali {
namespace {

/// Of the even and the odd samples.
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

PatchSums sum_window(const ConstRawFrame& frame, FrontEndRows& rows, const RoiRect& window) {
    constexpr int32_t kRowsAhead = 4;
    rows.set_columns(window.x, window.w);
    const Scratch<uint32_t> samples(static_cast<std::size_t>(window.w));
    PatchSums patch;
    for (int32_t y = window.y; y < window.y + window.h; ++y) {
        if (y + kRowsAhead < window.y + window.h) {
            prefetch(frame.row(y + kRowsAhead) + window.x, samples.size());
        }
        rows.row(y, frame.row(y) + window.x, samples.data());
        const std::array<uint64_t, 2> row_sum = sum_alternating(samples.data(), samples.size());
        for (std::size_t parity = 0; parity < 2; ++parity) {
            const std::size_t colour =
                colour_of(bayer_channel(frame.pattern, static_cast<uint32_t>(y),
                                        static_cast<uint32_t>(window.x) + static_cast<uint32_t>(parity)));
            patch.sum[colour] += row_sum[parity];
            patch.count[colour] += (samples.size() + 1 - parity) / 2;
        }
    }
    return patch;
}

}  // namespace

ChartSums sum_chart(const ConstRawFrame& frame, const FrontEnd& front_end, const ChartWindows& windows) {
    FrontEndRows rows(frame, front_end);
    ChartSums sums{};
    for (std::size_t i = 0; i < windows.size(); ++i) {
        sums[i] = sum_window(frame, rows, windows[i]);
    }
    return sums;
}

ChartMeans means_of(const ChartSums& sums) {
    ChartMeans means{};
    for (std::size_t i = 0; i < means.size(); ++i) {
        for (std::size_t colour = 0; colour < means[i].size(); ++colour) {
            means[i][colour] = static_cast<double>(sums[i].sum[colour]) / static_cast<double>(sums[i].count[colour]);
        }
    }
    return means;
}

ChartMeans measure_chart(const ConstRawFrame& frame, const FrontEnd& front_end, const ChartWindows& windows) {
    return means_of(sum_chart(frame, front_end, windows));
}

}  // namespace cali
