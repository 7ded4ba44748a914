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

/// How often neighbours differ by so much.
std::vector<uint32_t> count_differences(const ChannelRows& rows) {
    int32_t most = 0;
    const auto of_row = [&](auto&& told) {
        for (std::size_t row = 0; row < rows.samples.size(); row += rows.columns) {
            const int32_t* const samples = rows.samples.data() + row;
            for (std::size_t i = 1; i < rows.columns; ++i) {
                told(std::abs(samples[i] - samples[i - 1]));
            }
        }
    };
    of_row([&](int32_t difference) { most = std::max(most, difference); });
    std::vector<uint32_t> counts(static_cast<std::size_t>(most) + 1);
    of_row([&](int32_t difference) { ++counts[static_cast<std::size_t>(difference)]; });
    return counts;
}

/// By the smallest three quarters of the differences, so that edges do not count; a Gaussian of deviation 1 has the
/// mean square 0.3685 there.
double noise_of(const ChannelRows& rows) {
    const std::size_t total =
        rows.columns > 1 ? rows.samples.size() / rows.columns * (rows.columns - 1) : 0;  // differences
    const std::size_t kept = total * 3 / 4;
    if (kept == 0) {
        return 0;
    }
    const std::vector<uint32_t> counts = count_differences(rows);
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
    uint64_t count = rows.samples.size();
    uint64_t sum = 0;
    uint64_t squares = 0;
    for (const int32_t each : rows.samples) {
        const auto sample = static_cast<uint32_t>(each);
        sum += sample;
        squares += uint64_t{sample} * sample;
    }
    for (std::size_t row = 0; limit > 0 && row < rows.samples.size(); row += rows.columns) {
        const int32_t* const samples = rows.samples.data() + row;
        for (std::size_t i = 1; i + 1 < rows.columns; ++i) {
            const int32_t before = samples[i] - samples[i - 1];
            const int32_t after = samples[i] - samples[i + 1];
            if (std::min(before, after) >= least || std::max(before, after) <= -least) {  // rare
                const auto sample = static_cast<uint32_t>(samples[i]);
                --count;
                sum -= sample;
                squares -= uint64_t{sample} * sample;
            }
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
