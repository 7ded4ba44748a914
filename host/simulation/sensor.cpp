#include "simulation/sensor.h"

#include <algorithm>
#include <cmath>
#include <random>

#include "chart/chart_table.h"
#include "core/channel.h"

namespace cali::host {
namespace {

constexpr double kBorderReflectance = 0.03;
constexpr double kPatchShare = 0.8;  ///< of a cell, either way

/// Index into the exports' channel order.
std::size_t channel_index(Channel channel) { return static_cast<std::size_t>(RR - channel); }

/// Index into camera colours.
std::size_t colour_index(Channel channel) { return channel == RR ? 0 : channel == BB ? 2 : 1; }

Vector3 scaled(const Vector3& colour, double factor) {
    return {std::max(colour[0] * factor, 0.0), std::max(colour[1] * factor, 0.0), std::max(colour[2] * factor, 0.0)};
}

Vector3 bent(const Vector3& colour, const Vector3& white, double bend) {
    Vector3 relative{};
    for (std::size_t c = 0; c < relative.size(); ++c) {
        relative[c] = colour[c] / white[c];
    }
    const auto [least, most] = std::ranges::minmax(relative);
    const double mean = (relative[0] + relative[1] + relative[2]) / 3;
    Vector3 result{};
    for (std::size_t c = 0; c < result.size(); ++c) {
        result[c] = white[c] * (relative[c] + bend * (relative[c] - mean) * (most - least));
    }
    return result;
}

double exposure_for(const Vector3& white, double level) { return level / *std::ranges::max_element(white); }

/// Which entry of a chart scene a position shows.
std::size_t chart_entry(double x, double y, const SensorModel& sensor) {
    const double column = x * kChartColumns / sensor.width;
    const double row = y * kChartRows / sensor.height;
    const auto inside = [](double position, double cells) {
        return position >= 0 && position < cells && std::abs(position - std::floor(position) - 0.5) < kPatchShare / 2;
    };
    if (!inside(column, kChartColumns) || !inside(row, kChartRows)) {
        return kChartPatches;
    }
    return static_cast<std::size_t>(row) * kChartColumns + static_cast<std::size_t>(column);
}

/// The same of a scene of any kind.
std::size_t entry_at(const Scene& scene, int x, int y, const SensorModel& sensor) {
    if (scene.colours.size() == 1) {
        return 0;
    }
    if (!scene.seen) {
        return chart_entry(x, y, sensor);
    }
    const auto [column, row] =
        scene.seen(static_cast<double>(x) / sensor.width, static_cast<double>(y) / sensor.height);
    return chart_entry(column * sensor.width, row * sensor.height, sensor);
}

}  // namespace

void SensorModel::round_pedestals() {
    const double step = std::ldexp(1.0, kLibraryBits - bits);
    for (double& level : pedestal) {
        level = std::round(level / step) * step;
    }
}

void SensorModel::take_colours_away() {
    mono = true;
    pattern = SensorModel{}.pattern;
    pedestal.fill(pedestal[kGR]);
    falloff_k2.fill(falloff_k2[kGR]);
    camera_of_xyz.fill(camera_of_xyz[1]);
}

SensorModel SensorModel::at(double analogue_gain) const {
    SensorModel sensor = *this;
    sensor.gain = analogue_gain;
    sensor.conversion_gain *= analogue_gain;
    sensor.read_noise *= std::sqrt(kReadNoiseBeforeGain * analogue_gain * analogue_gain + 1 - kReadNoiseBeforeGain);
    for (double& level : sensor.pedestal) {
        level += kPedestalPerGain * (analogue_gain - 1);
    }
    sensor.round_pedestals();
    return sensor;
}

const char* pattern_text(const SensorModel& sensor) { return sensor.mono ? "MONO" : pattern_name(sensor.pattern); }

Scene dark_scene() { return {false, {{0.0, 0.0, 0.0}}}; }

Vector3 camera_white(const SensorModel& sensor, double illuminant_k) {
    return multiply(sensor.camera_of_xyz, illuminant_white(illuminant_k));
}

Scene uniform_scene(const SensorModel& sensor, double illuminant_k, double level) {
    const Vector3 white = camera_white(sensor, illuminant_k);
    return {true, {scaled(white, exposure_for(white, level))}};
}

Vector3 surface_colour(const SensorModel& sensor, double illuminant_k, double level, const Vector3& srgb) {
    const Vector3 white_xyz = illuminant_white(illuminant_k);
    const Vector3 white = camera_white(sensor, illuminant_k);
    const Vector3 linear = {linear_of_srgb(srgb[0]), linear_of_srgb(srgb[1]), linear_of_srgb(srgb[2])};
    const Vector3 xyz = adapt_from_d65(xyz_of_linear_srgb(linear), white_xyz);
    return scaled(bent(multiply(sensor.camera_of_xyz, xyz), white, sensor.bend), exposure_for(white, level));
}

Scene chart_scene(const SensorModel& sensor, double illuminant_k, double level) {
    const Vector3 white = camera_white(sensor, illuminant_k);
    Scene scene;
    for (const auto& encoded : kChartSrgb24) {
        scene.colours.push_back(surface_colour(sensor, illuminant_k, level, encoded));
    }
    scene.colours.push_back(scaled(white, exposure_for(white, level) * kBorderReflectance));
    return scene;
}

std::vector<uint16_t> expose(const SensorModel& sensor, const Scene& scene, uint64_t seed, uint32_t stream) {
    std::seed_seq seeds{static_cast<uint32_t>(seed), static_cast<uint32_t>(seed >> 32U), stream};
    std::mt19937_64 random(seeds);
    std::normal_distribution<double> noise;

    const double to_file = std::ldexp(1.0, sensor.bits - kLibraryBits);
    const double most = std::ldexp(1.0, sensor.bits) - 1.0;
    const double axis_x = (sensor.width - 1) / 2.0 + sensor.axis_x;
    const double axis_y = (sensor.height - 1) / 2.0 + sensor.axis_y;
    const double per_half_diagonal =
        4.0 / (static_cast<double>(sensor.width) * sensor.width + static_cast<double>(sensor.height) * sensor.height);
    const double read_variance = sensor.read_noise * sensor.read_noise;

    std::vector<uint16_t> frame;
    frame.reserve(static_cast<std::size_t>(sensor.width) * static_cast<std::size_t>(sensor.height));
    for (int y = 0; y < sensor.height; ++y) {
        for (int x = 0; x < sensor.width; ++x) {
            const Channel channel = bayer_channel(sensor.pattern, static_cast<uint32_t>(y), static_cast<uint32_t>(x));
            const std::size_t c = channel_index(channel);
            const Vector3& colour =
                scene.picture.empty() ? scene.colours[entry_at(scene, x, y, sensor)] : scene.picture[frame.size()];
            double signal = colour[colour_index(channel)] * (kLibraryFullScale - sensor.pedestal[c]);
            if (scene.light) {
                signal *= scene.light(static_cast<double>(x) / sensor.width, static_cast<double>(y) / sensor.height);
            }
            if (scene.shaded) {
                const double r2 = ((x - axis_x) * (x - axis_x) + (y - axis_y) * (y - axis_y)) * per_half_diagonal;
                signal *= std::max(1.0 - sensor.falloff_k2[c] * r2 - sensor.falloff_k4 * r2 * r2, 0.0);
            }
            const double deviation = std::sqrt(read_variance + sensor.conversion_gain * signal);
            const double code = (sensor.pedestal[c] + signal + deviation * noise(random)) * to_file;
            frame.push_back(static_cast<uint16_t>(std::clamp(std::round(code), 0.0, most)));
        }
    }
    return frame;
}

}  // namespace cali::host
