#include "checks/window_statistics.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "captures/geometry.h"
#include "core/channel.h"

namespace cali::host {
namespace {

constexpr double kIsolated = 6;  ///< deviations of a difference between neighbours

/// The rows of one channel, one after the other.
struct ChannelRows {
    std::size_t columns = 0;
    std::vector<int32_t> samples;
};

/// By the smallest three quarters of the differences, so that edges do not count; a Gaussian of deviation 1 has the
/// mean square 0.3685 there.
double noise_of(const ChannelRows& rows) {
    std::vector<uint32_t> counts;  // of differences, by their size
    std::size_t total = 0;
    for (std::size_t row = 0; row < rows.samples.size(); row += rows.columns) {
        for (std::size_t i = row + 1; i < row + rows.columns; ++i, ++total) {
            const auto difference = static_cast<std::size_t>(std::abs(rows.samples[i] - rows.samples[i - 1]));
            if (difference >= counts.size()) {
                counts.resize(difference + 1);
            }
            ++counts[difference];
        }
    }
    const std::size_t kept = total * 3 / 4;
    if (kept == 0) {
        return 0;
    }
    double sum = 0;  // of squares; whole
    std::size_t left = kept;
    for (std::size_t difference = 0; left > 0; ++difference) {
        const std::size_t count = std::min<std::size_t>(counts[difference], left);
        sum += static_cast<double>(count * difference * difference);
        left -= count;
    }
    constexpr double kMeanSquare = 0.3685;
    return std::sqrt(sum / static_cast<double>(kept) / kMeanSquare / 2);
}

ChannelStatistics statistics_of(const ChannelRows& rows) {
    ChannelStatistics result;
    result.noise = noise_of(rows);
    const double limit = kIsolated * std::sqrt(2.0) * result.noise;
    // Of whole numbers the first at or above it.
    const auto least = static_cast<int32_t>(std::min(std::floor(limit) + 1, 1e9));
    int64_t count = 0;
    int64_t sum = 0;
    int64_t squares = 0;
    const auto add = [&](int64_t sample) {
        ++count;
        sum += sample;
        squares += sample * sample;
    };
    for (std::size_t row = 0; row < rows.samples.size(); row += rows.columns) {
        const int32_t* const samples = rows.samples.data() + row;
        for (std::size_t i = 0; i < rows.columns; ++i) {
            if (limit > 0 && i > 0 && i + 1 < rows.columns) {
                const int32_t before = samples[i] - samples[i - 1];
                const int32_t after = samples[i] - samples[i + 1];
                if (std::min(before, after) >= least || std::max(before, after) <= -least) {
                    continue;
                }
            }
            add(samples[i]);
        }
    }
    result.samples = static_cast<double>(count);
    if (count > 0) {
        result.mean = static_cast<double>(sum) / result.samples;
        result.deviation =
            std::sqrt(std::max(static_cast<double>(squares) / result.samples - result.mean * result.mean, 0.0));
    }
    return result;
}

}  // namespace

Channels<ChannelStatistics> measure_window(const ConstRawFrame& frame, FrontEndRows& rows, const RoiRect& window) {
    rows.set_columns(window.x, window.w);
    const auto width = static_cast<std::size_t>(window.w);
    std::vector<uint32_t> samples(width);
    Channels<ChannelRows> channels;
    for (int32_t y = window.y; y < window.y + window.h; ++y) {
        rows.row(y, frame.row(y) + window.x, samples.data());
        for (std::size_t first = 0; first < std::min<std::size_t>(2, width); ++first) {
            ChannelRows& channel =
                channels[RR - bayer_channel(frame.pattern, static_cast<uint32_t>(y),
                                            static_cast<uint32_t>(window.x) + static_cast<uint32_t>(first))];
            channel.columns = (width - first + 1) / 2;
            channel.samples.reserve(channel.columns * ((static_cast<std::size_t>(window.h) + 1) / 2));
            for (std::size_t i = first; i < width; i += 2) {
                channel.samples.push_back(static_cast<int32_t>(samples[i]));
            }
        }
    }
    Channels<ChannelStatistics> result;
    std::ranges::transform(channels, result.begin(), statistics_of);
    return result;
}

double beyond_noise(double value, double noise) { return std::sqrt(std::max(value * value - noise * noise, 0.0)); }

}  // namespace cali::host
