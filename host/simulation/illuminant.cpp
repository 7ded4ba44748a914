#include "simulation/illuminant.h"

#include <cmath>

#include "math/colour_space.h"

namespace cali::host {
namespace {

constexpr Vector3 kWhiteD65 = {0.95047, 1.0, 1.08883};

constexpr Matrix3 kXyzOfSrgb = {
    {{0.4124564, 0.3575761, 0.1804375}, {0.2126729, 0.7151522, 0.0721750}, {0.0193339, 0.1191920, 0.9503041}}};

/// ((c3 t + c2) t + c1) t + c0
double cubic(const std::array<double, 4>& c, double t) { return ((c[0] * t + c[1]) * t + c[2]) * t + c[3]; }

Vector3 from_chromaticity(double x, double y) { return {x / y, 1.0, (1.0 - x - y) / y}; }

Vector3 daylight(double kelvin) {
    const double t = 1000.0 / kelvin;
    const double x = kelvin <= 7000.0 ? cubic({-4.6070, 2.9678, 0.09911, 0.244063}, t)
                                      : cubic({-2.0064, 1.9018, 0.24748, 0.237040}, t);
    return from_chromaticity(x, cubic({0.0, -3.000, 2.870, -0.275}, x));
}

Vector3 planckian(double kelvin) {
    const double x = cubic({-0.2661239, -0.2343589, 0.8776956, 0.179910}, 1000.0 / kelvin);
    const double y = kelvin <= 2222.0 ? cubic({-1.1063814, -1.34811020, 2.18555832, -0.20219683}, x)
                                      : cubic({-0.9549476, -1.37418593, 2.09137015, -0.16748867}, x);
    return from_chromaticity(x, y);
}

}  // namespace

Vector3 multiply(const Matrix3& matrix, const Vector3& vector) {
    Vector3 result{};
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; column < 3; ++column) {
            result[row] += matrix[row][column] * vector[column];
        }
    }
    return result;
}

Vector3 illuminant_white(double kelvin) { return kelvin >= 4000.0 ? daylight(kelvin) : planckian(kelvin); }

Vector3 xyz_of_linear_srgb(const Vector3& rgb) { return multiply(kXyzOfSrgb, rgb); }

double linear_of_srgb(double encoded) {
    return encoded <= 0.04045 ? encoded / 12.92 : std::pow((encoded + 0.055) / 1.055, 2.4);
}

Vector3 adapt_from_d65(const Vector3& xyz, const Vector3& white) { return adapt_bradford(xyz, kWhiteD65, white); }

}  // namespace cali::host
