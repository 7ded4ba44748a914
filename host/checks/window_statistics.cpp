#include "checks/window_statistics.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "base/frame_memory.h"
#include "captures/geometry.h"
#include "core/channel.h"

namespace cali::host {
namespace {

constexpr double kIsolated = 6;  ///< deviations of a difference between neighbours

/// The rows of one channel, one after the other.
struct ChannelRows {
    std::size_t columns = 0;
    FrameVector<int32_t> samples;
};

/// Of neighbours in a row, without sign.
struct Differences {
    explicit Differences(const ChannelRows& rows) {
        for (std::size_t row = 0; row < rows.samples.size(); row += rows.columns) {
            const int32_t* const samples = rows.samples.data() + row;
            int32_t most = 0;
            for (std::size_t i = 1; i < rows.columns; ++i) {
                most = std::max(most, std::abs(samples[i] - samples[i - 1]));
            }
            largest.push_back(most);
            if (static_cast<std::size_t>(most) >= counts.size()) {
                counts.resize(static_cast<std::size_t>(most) + 1);
            }
            for (std::size_t i = 1; i < rows.columns; ++i) {
                ++counts[static_cast<std::size_t>(std::abs(samples[i] - samples[i - 1]))];
            }
            total += rows.columns - 1;
        }
    }

    std::vector<int32_t> largest;  ///< of each row
    std::vector<uint32_t> counts;  ///< by size
    std::size_t total = 0;
};

/// By the smallest three quarters of the differences, so that edges do not count; a Gaussian of deviation 1 has the
/// mean square 0.3685 there.
double noise_of(const Differences& differences) {
    const std::size_t kept = differences.total * 3 / 4;
    if (kept == 0) {
        return 0;
    }
    double sum = 0;  // of squares; whole
    std::size_t left = kept;
    for (std::size_t difference = 0; left > 0; ++difference) {
        const std::size_t count = std::min<std::size_t>(differences.counts[difference], left);
        sum += static_cast<double>(count * difference * difference);
        left -= count;
    }
    constexpr double kMeanSquare = 0.3685;
    return std::sqrt(sum / static_cast<double>(kept) / kMeanSquare / 2);
}

/// What some samples add up to; whole, so that a sample can be taken out again.
struct WholeSums {
    uint64_t count = 0;
    uint64_t sum = 0;
    uint64_t squares = 0;
};

/// Single samples that differ from both neighbours by `least` or more, to the same side. Few rows have any.
void take_isolated_out(const ChannelRows& rows, const Differences& differences, int32_t least, WholeSums& sums) {
    for (std::size_t r = 0; r < differences.largest.size(); ++r) {
        const int32_t* const samples = rows.samples.data() + r * rows.columns;
        for (std::size_t i = 1; differences.largest[r] >= least && i + 1 < rows.columns; ++i) {
            const int32_t before = samples[i] - samples[i - 1];
            const int32_t after = samples[i] - samples[i + 1];
            if (std::min(before, after) >= least || std::max(before, after) <= -least) {
                const auto sample = static_cast<uint32_t>(samples[i]);
                --sums.count;
                sums.sum -= sample;
                sums.squares -= uint64_t{sample} * sample;
            }
        }
    }
}

ChannelStatistics statistics_of(const ChannelRows& rows) {
    const Differences differences(rows);
    ChannelStatistics result;
    result.noise = noise_of(differences);
    WholeSums sums{rows.samples.size()};
    for (const int32_t each : rows.samples) {
        const auto sample = static_cast<uint32_t>(each);
        sums.sum += sample;
        sums.squares += uint64_t{sample} * sample;
    }
    if (const double limit = kIsolated * std::sqrt(2.0) * result.noise; limit > 0) {
        // Of whole numbers the first above it.
        take_isolated_out(rows, differences, static_cast<int32_t>(std::min(std::floor(limit) + 1, 1e9)), sums);
    }
    result.samples = static_cast<double>(sums.count);
    if (sums.count > 0) {
        result.mean = static_cast<double>(sums.sum) / result.samples;
        result.deviation =
            std::sqrt(std::max(static_cast<double>(sums.squares) / result.samples - result.mean * result.mean, 0.0));
    }
    return result;
}

}  // namespace

Channels<ChannelStatistics> measure_window(const ConstRawFrame& frame, FrontEndRows& rows, const RoiRect& window) {
    rows.set_columns(window.x, window.w);
    const auto width = static_cast<std::size_t>(window.w);
    const auto height = static_cast<std::size_t>(window.h);
    std::vector<uint32_t> samples(width);
    Channels<ChannelRows> channels;
    for (std::size_t i = 0; i < height; ++i) {
        const int32_t y = window.y + static_cast<int32_t>(i);
        rows.row(y, frame.row(y) + window.x, samples.data());
        for (std::size_t first = 0; first < std::min<std::size_t>(2, width); ++first) {
            ChannelRows& channel =
                channels[index_of(bayer_channel(frame.pattern, static_cast<uint32_t>(y),
                                                static_cast<uint32_t>(window.x) + static_cast<uint32_t>(first)))];
            if (i < 2) {
                channel.columns = (width - first + 1) / 2;
                channel.samples = FrameVector<int32_t>(channel.columns * ((height - i + 1) / 2));
            }
            int32_t* const row = channel.samples.data() + i / 2 * channel.columns;
            for (std::size_t k = 0; k < channel.columns; ++k) {
                row[k] = static_cast<int32_t>(samples[2 * k + first]);
            }
        }
    }
    Channels<ChannelStatistics> result;
    std::ranges::transform(channels, result.begin(), statistics_of);
    return result;
}

double beyond_noise(double value, double noise) { return std::sqrt(std::max(value * value - noise * noise, 0.0)); }

}  // namespace cali::host
