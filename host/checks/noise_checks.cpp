#include "checks/noise_checks.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "checks/window_statistics.h"
#include "core/channel.h"

namespace cali::host {
namespace {

/// A channel of a level over its frames.
double mean_of(const MeasuredLevel& level, std::size_t channel) {
    double mean = 0;
    for (const SeriesFrame& frame : level.frames) {
        mean += frame.mean[channel] / static_cast<double>(level.frames.size());
    }
    return mean;
}

double clipped_of(const MeasuredLevel& level) {
    double clipped = 0;
    for (const SeriesFrame& frame : level.frames) {
        clipped += frame.clipped / static_cast<double>(level.frames.size());
    }
    return clipped;
}

/// Range of the frames' brightness over all channels beyond what noise makes, over its mean.
double flicker_of(const MeasuredLevel& level) {
    double least = std::numeric_limits<double>::infinity();
    double most = 0;
    double noise = 0;  ///< of a frame's mean, squared
    double mean = 0;
    const auto frames = static_cast<double>(level.frames.size());
    for (const SeriesFrame& frame : level.frames) {
        double brightness = 0;
        for (std::size_t c = 0; c < frame.mean.size(); ++c) {
            brightness += frame.mean[c] / 4;
            noise += frame.deviation[c] * frame.deviation[c] / frame.samples / 16 / frames;
        }
        least = std::min(least, brightness);
        most = std::max(most, brightness);
        mean += brightness / frames;
    }
    constexpr double kRangeDeviations = 5;  // the range of a few frames by noise alone
    return mean > 0 ? beyond_noise(most - least, kRangeDeviations * std::sqrt(noise)) / mean : 0;
}

void check_order(std::span<const MeasuredLevel> levels, Judge& judge) {
    double least = std::numeric_limits<double>::infinity();
    std::string place;
    for (std::size_t k = 1; k < levels.size(); ++k) {
        for (std::size_t c = 0; c < kChannelKeys.size(); ++c) {
            if (const double step = mean_of(levels[k], c) - mean_of(levels[k - 1], c); step < least) {
                least = step;
                place = levels[k].name + ", " + kChannelKeys[c];
            }
        }
    }
    if (levels.size() > 1) {
        judge.hold(Check::noise_order, least, place);
    }
}

/// Share of the range above black that the levels cover in the channel that covers most of it.
double spread_of(std::span<const MeasuredLevel> levels, double full_scale, const BlackLevels& black_level) {
    double spread = 0;
    for (std::size_t c = 0; c < kChannelKeys.size(); ++c) {
        double least = std::numeric_limits<double>::infinity();
        double most = 0;
        for (const MeasuredLevel& level : levels) {
            least = std::min(least, mean_of(level, c));
            most = std::max(most, mean_of(level, c));
        }
        spread = std::max(spread, (most - least) / (full_scale - black_level.offset[c]));
    }
    return spread;
}

/// Within twice its uncertainty: far from zero light, the line's end is not well known.
double largest_read_noise(const NoiseResults& noise, std::size_t channel) {
    const auto& [value, uncertainty] = noise.weighted[channel].intercept;
    const double squared =
        uncertainty > 0 ? value + 2 * uncertainty : static_cast<double>(noise.variance[channel].intercept);
    return std::sqrt(std::max(squared, 0.0));
}

}  // namespace

SeriesFrame measure_series_frame(const Capture& frame, const Window& window, const BlackLevels& black_level) {
    SeriesFrame result;
    const uint32_t full_scale = full_scale_code(frame.sensor);
    Channels<double> squares{};
    for (int y = window.y; y < window.y + window.height; ++y) {
        const uint32_t* const row = frame.view().row(y);
        for (int x = window.x; x < window.x + window.width; ++x) {
            const auto channel = static_cast<std::size_t>(
                RR - bayer_channel(frame.sensor.pattern, static_cast<uint32_t>(y), static_cast<uint32_t>(x)));
            const uint32_t black = black_level.offset[channel];
            const double sample = static_cast<double>(row[x]) - black;
            result.mean[channel] += sample;
            squares[channel] += sample * sample;
            result.clipped += row[x] <= black || row[x] >= full_scale ? 1 : 0;
        }
    }
    result.samples = static_cast<double>(window.width) * window.height / 4;
    result.clipped /= 4 * result.samples;
    for (std::size_t c = 0; c < squares.size(); ++c) {
        result.mean[c] /= result.samples;
        result.deviation[c] = std::sqrt(std::max(squares[c] / result.samples - result.mean[c] * result.mean[c], 0.0));
    }
    return result;
}

void check_series(std::span<const MeasuredLevel> levels, const SensorGeometry& sensor, const BlackLevels& black_level,
                  Judge& judge) {
    if (levels.empty()) {
        return;
    }
    const MeasuredLevel& clipped = *std::ranges::max_element(levels, {}, clipped_of);
    judge.hold(Check::noise_clipped, clipped_of(clipped) * 100, clipped.name);
    const MeasuredLevel& flickering = *std::ranges::max_element(levels, {}, flicker_of);
    judge.hold(Check::noise_flicker, flicker_of(flickering) * 100, flickering.name);
    check_order(levels, judge);
    judge.hold(Check::noise_spread, spread_of(levels, full_scale_code(sensor), black_level) * 100);
}

void check_noise(const NoiseResults& noise, const SensorGeometry& sensor, Judge& judge) {
    const auto worst = std::ranges::max_element(noise.variance, {}, &NoiseLine::residual);
    judge.hold(Check::noise_residual, worst->residual * 100,
               channel_key(static_cast<std::size_t>(worst - noise.variance.begin()), sensor.mono));
    Channels<double> read_noise{};
    for (std::size_t c = 0; c < read_noise.size(); ++c) {
        read_noise[c] = largest_read_noise(noise, c) / code_step(sensor.bits);
    }
    const auto least = std::ranges::min_element(read_noise);
    judge.hold(Check::noise_read_noise, *least,
               channel_key(static_cast<std::size_t>(least - read_noise.begin()), sensor.mono));
    const auto rounding = [&](const NoiseLevel& level) { return sum_rounding(level, noise.window); };
    if (!noise.levels.empty()) {
        const NoiseLevel& level = *std::ranges::max_element(noise.levels, {}, rounding);
        judge.hold(Check::noise_rounding, rounding(level), level.name);
    }
}

}  // namespace cali::host
