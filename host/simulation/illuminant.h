/// Lights by colour temperature, and colours under them.
#pragma once

#include <array>

namespace cali::host {

using Vector3 = std::array<double, 3>;
using Matrix3 = std::array<Vector3, 3>;

inline constexpr double kMinIlluminantK = 1667;
inline constexpr double kMaxIlluminantK = 25000;

[[nodiscard]] Vector3 multiply(const Matrix3& matrix, const Vector3& vector);

/// CIE XYZ of the light with Y = 1: from 4000 K the daylight locus (CIE 15:2004, 3.1), below it the Planckian locus
/// (cubic approximation of Kim et al., US patent 7024034, 2006).
[[nodiscard]] Vector3 illuminant_white(double kelvin);

/// Linear sRGB (white 1, 1, 1) to CIE XYZ under D65 (IEC 61966-2-1).
[[nodiscard]] Vector3 xyz_of_linear_srgb(const Vector3& rgb);

/// Inverse of the sRGB transfer curve (IEC 61966-2-1).
[[nodiscard]] double linear_of_srgb(double encoded);

/// What a surface that has the colour `xyz` under D65 has under another light: the Bradford transform.
[[nodiscard]] Vector3 adapt_from_d65(const Vector3& xyz, const Vector3& white);

}  // namespace cali::host
