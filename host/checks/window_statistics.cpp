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
    std::vector<double> samples;
};

/// By the smallest three quarters of the differences, so that edges do not count; a Gaussian of deviation 1 has the
/// mean square 0.3685 there.
double noise_of(const ChannelRows& rows) {
    std::vector<double> squares;
    squares.reserve(rows.samples.size());
    for (std::size_t i = 1; i < rows.samples.size(); ++i) {
        if (i % rows.columns != 0) {
            const double difference = rows.samples[i] - rows.samples[i - 1];
            squares.push_back(difference * difference);
        }
    }
    const std::size_t kept = squares.size() * 3 / 4;
    if (kept == 0) {
        return 0;
    }
    std::ranges::nth_element(squares, squares.begin() + static_cast<std::ptrdiff_t>(kept));
    double sum = 0;
    for (std::size_t i = 0; i < kept; ++i) {
        sum += squares[i];
    }
    constexpr double kMeanSquare = 0.3685;
    return std::sqrt(sum / static_cast<double>(kept) / kMeanSquare / 2);
}

ChannelStatistics statistics_of(const ChannelRows& rows) {
    ChannelStatistics result;
    result.noise = noise_of(rows);
    const double limit = kIsolated * std::sqrt(2.0) * result.noise;
    const std::vector<double>& samples = rows.samples;
    double squares = 0;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const std::size_t column = i % rows.columns;
        if (limit > 0 && column > 0 && column + 1 < rows.columns) {
            const double before = samples[i] - samples[i - 1];
            const double after = samples[i] - samples[i + 1];
            if (std::min(before, after) > limit || std::max(before, after) < -limit) {
                continue;
            }
        }
        result.samples += 1;
        result.mean += samples[i];
        squares += samples[i] * samples[i];
    }
    if (result.samples > 0) {
        result.mean /= result.samples;
        result.deviation = std::sqrt(std::max(squares / result.samples - result.mean * result.mean, 0.0));
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
            for (std::size_t i = first; i < width; i += 2) {
                channel.samples.push_back(samples[i]);
            }
        }
    }
    Channels<ChannelStatistics> result;
    std::ranges::transform(channels, result.begin(), statistics_of);
    return result;
}

double beyond_noise(double value, double noise) { return std::sqrt(std::max(value * value - noise * noise, 0.0)); }

}  // namespace cali::host
