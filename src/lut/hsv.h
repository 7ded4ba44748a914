/// Hue, saturation and value of encoded colours (A. R. Smith, "Color gamut transform pairs", 1978). All within 0..1;
/// hue in turns.
#pragma once

#include <algorithm>
#include <cmath>

#include "lut/lattice.h"

namespace cali::lut {

[[nodiscard]] inline Vector3 hsv_of_rgb(const Vector3& rgb) {
    const double value = std::max({rgb[0], rgb[1], rgb[2]});
    const double chroma = value - std::min({rgb[0], rgb[1], rgb[2]});
    if (chroma <= 0) {
        return {0, 0, value};
    }
    const double sector = value == rgb[0]   ? (rgb[1] - rgb[2]) / chroma
                          : value == rgb[1] ? 2 + (rgb[2] - rgb[0]) / chroma
                                            : 4 + (rgb[0] - rgb[1]) / chroma;
    const double hue = sector / 6;
    return {hue - std::floor(hue), chroma / value, value};
}

[[nodiscard]] inline Vector3 rgb_of_hsv(const Vector3& hsv) {
    const double sector = (hsv[0] - std::floor(hsv[0])) * 6;
    const auto component = [&](double offset) {
        const double k = std::fmod(offset + sector, 6.0);
        return hsv[2] * (1 - hsv[1] * std::clamp(std::min(k, 4 - k), 0.0, 1.0));
    };
    return {component(5), component(3), component(1)};
}

}  // namespace cali::lut
