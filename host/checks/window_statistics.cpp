#include "checks/window_statistics.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "captures/geometry.h"
#include "core/channel.h"

namespace cali::host {
namespace {

struct Sums {
    double samples = 0;
    double sum = 0;
    double squares = 0;
    double pairs = 0;
    double differences = 0;  ///< squared
};

ChannelStatistics statistics_of(const Sums& sums) {
    ChannelStatistics result;
    result.samples = sums.samples;
    if (sums.samples > 0) {
        result.mean = sums.sum / sums.samples;
        result.deviation = std::sqrt(std::max(sums.squares / sums.samples - result.mean * result.mean, 0.0));
    }
    if (sums.pairs > 0) {
        result.noise = std::sqrt(sums.differences / (2 * sums.pairs));
    }
    return result;
}

}  // namespace

Channels<ChannelStatistics> measure_window(const ConstRawFrame& frame, FrontEndRows& rows, const RoiRect& window) {
    rows.set_columns(window.x, window.w);
    std::vector<uint32_t> samples(static_cast<std::size_t>(window.w));
    Channels<Sums> sums{};
    for (int32_t y = window.y; y < window.y + window.h; ++y) {
        rows.row(y, frame.row(y) + window.x, samples.data());
        for (std::size_t first = 0; first < std::min<std::size_t>(2, samples.size()); ++first) {
            Sums& channel = sums[RR - bayer_channel(frame.pattern, static_cast<uint32_t>(y),
                                                    static_cast<uint32_t>(window.x) + static_cast<uint32_t>(first))];
            double before = samples[first];
            for (std::size_t i = first; i < samples.size(); i += 2) {
                const double sample = samples[i];
                channel.samples += 1;
                channel.sum += sample;
                channel.squares += sample * sample;
                channel.differences += (sample - before) * (sample - before);
                before = sample;
            }
            channel.pairs += static_cast<double>((samples.size() - first + 1) / 2 - 1);
        }
    }
    Channels<ChannelStatistics> result;
    std::ranges::transform(sums, result.begin(), statistics_of);
    return result;
}

double code_step(int bits) { return std::ldexp(1.0, std::max(kLibraryBits - bits, 0)); }

double beyond_noise(double value, double noise) { return std::sqrt(std::max(value * value - noise * noise, 0.0)); }

}  // namespace cali::host
