/// Colour spaces: encoded sRGB, linear RGB, CIE XYZ, CIELAB.
#pragma once

#include <array>
#include <cmath>
#include <cstdint>

#include "cali/cali.h"

namespace cali {

using Colour = std::array<double, 3>;

/// Selects the white of XYZ and CIELAB; any other value is D50.
inline constexpr int32_t kD65 = CALI_WHITE_D65;

/// Linear value of an encoded component (IEC 61966-2-1), in single precision at both ends. The threshold is that of
/// the encoded side; 0.04045 itself takes the power branch.
[[nodiscard]] float srgb_decode(double encoded);

/// The inverse, in double.
[[nodiscard]] double srgb_encode(double linear);

/// Colours of one white point.
struct WhitePoint {
    std::array<Colour, 3> xyz_of_rgb;  ///< rows X, Y, Z
    double x;                          ///< of the reference white with Y = 1
    double z;
};

[[nodiscard]] const WhitePoint& white_point(int32_t selector);

/// CIE 15: f(t) = t^(1/3), continued linearly below (6/29)^3.
[[nodiscard]] inline double lab_f(double t) {
    constexpr double kLimit = 6.0 / 29.0;
    constexpr double kSlope = (29.0 / 6.0) * (29.0 / 6.0) / 3.0;
    constexpr double kOffset = 4.0 / 29.0;
    return t > kLimit * kLimit * kLimit ? std::pow(t, 1.0 / 3.0) : kSlope * t + kOffset;
}

/// The t that has this f(t).
[[nodiscard]] inline double lab_f_inverse(double f) {
    constexpr double kLimit = 6.0 / 29.0;
    return f > kLimit ? f * f * f : 3.0 * kLimit * kLimit * (f - 4.0 / 29.0);
}

/// L*, a*, b* of XYZ; Y of the white is 1.
[[nodiscard]] inline Colour lab_of_xyz(const Colour& xyz, double white_x, double white_z) {
    const double fx = lab_f(xyz[0] / white_x);
    const double fy = lab_f(xyz[1]);
    const double fz = lab_f(xyz[2] / white_z);
    return {116.0 * fy - 16.0, 500.0 * (fx - fy), 200.0 * (fy - fz)};
}

/// The same of linear RGB.
[[nodiscard]] inline Colour lab_of_linear_rgb(const Colour& rgb, const WhitePoint& white) {
    const auto row = [&](const Colour& weights) {
        return weights[0] * rgb[0] + weights[1] * rgb[1] + weights[2] * rgb[2];
    };
    return lab_of_xyz({row(white.xyz_of_rgb[0]), row(white.xyz_of_rgb[1]), row(white.xyz_of_rgb[2])}, white.x, white.z);
}

/// The same of encoded sRGB.
[[nodiscard]] Colour srgb_to_lab(const Colour& encoded, int32_t selector);

/// XYZ under the white `to` of a surface that has `xyz` under the white `from`: the linear Bradford transform (K. M.
/// Lam, Metamerism and Colour Constancy, University of Bradford, 1985). Whites are XYZ of one Y.
[[nodiscard]] Colour adapt_bradford(const Colour& xyz, const Colour& from, const Colour& to);

}  // namespace cali
