/// What the plots of several calibrations have in common.
#pragma once

#include <cmath>

#include "base/section.h"
#include "captures/channels.h"

namespace cali::host {

[[nodiscard]] inline Tint channel_tint(std::size_t channel, bool mono) {
    constexpr Channels<Tint> kTints = {Tint::red, Tint::green_red, Tint::green_blue, Tint::blue};
    return mono ? Tint::plain : kTints[channel];
}

/// A function on evenly spaced places; on a logarithmic axis, whose ends are above 0, evenly spaced there.
template <typename Function>
[[nodiscard]] std::vector<std::array<double, 2>> sampled(double low, double high, bool logarithmic, Function value) {
    constexpr int kSteps = 60;
    std::vector<std::array<double, 2>> points;
    for (int i = 0; i <= kSteps; ++i) {
        const double share = static_cast<double>(i) / kSteps;
        const double x = logarithmic ? low * std::pow(high / low, share) : low + (high - low) * share;
        points.push_back({x, value(x)});
    }
    return points;
}

/// Bars side by side: `value(i)` of 1 to `count`.
template <typename Function>
[[nodiscard]] Series bars(const char* name, Tint tint, std::size_t count, Function value) {
    Series series{name, Series::Kind::bars, tint, {}};
    for (std::size_t i = 0; i < count; ++i) {
        series.points.push_back({static_cast<double>(i + 1), value(i)});
    }
    return series;
}

}  // namespace cali::host
