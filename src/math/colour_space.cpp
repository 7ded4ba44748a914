#include "math/colour_space.h"

namespace cali {
namespace {

using Matrix3 = std::array<Colour, 3>;

constexpr Matrix3 kBradford = {{{0.8951, 0.2664, -0.1614}, {-0.7502, 1.7135, 0.0367}, {0.0389, -0.0685, 1.0296}}};
constexpr Matrix3 kBradfordInverse = {
    {{0.9869929, -0.1470543, 0.1599627}, {0.4323053, 0.5183603, 0.0492912}, {-0.0085287, 0.0400428, 0.9684867}}};

Colour multiply(const Matrix3& matrix, const Colour& colour) {
    Colour product{};
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; column < 3; ++column) {
            product[row] += matrix[row][column] * colour[column];
        }
    }
    return product;
}

}  // namespace

float srgb_decode(double encoded) {
    // Narrowed before it is compared, so that 0.04045 meets itself.
    const auto narrow = static_cast<float>(encoded);
    const auto v = static_cast<double>(narrow);
    return static_cast<float>(narrow < 0.04045F ? v / 12.92 : std::exp(std::log((v + 0.055) / 1.055) * 2.4));
}

double srgb_encode(double linear) {
    return linear <= 0.0031308 ? linear * 12.92 : 1.055 * std::pow(linear, 1 / 2.4) - 0.055;
}

const WhitePoint& white_point(int32_t selector) {
    static constexpr WhitePoint kWhite65 = {
        {{{0.4124564, 0.3575761, 0.1804375}, {0.2126729, 0.7151522, 0.072175}, {0.0193339, 0.119192, 0.9503041}}},
        0.95047,
        1.08883};
    static constexpr WhitePoint kWhite50 = {
        {{{0.4360747, 0.3850649, 0.1430804}, {0.2225045, 0.7168786, 0.0606169}, {0.0139322, 0.0971045, 0.7141733}}},
        0.96422,
        0.82521};
    return selector == kD65 ? kWhite65 : kWhite50;
}

Colour srgb_to_lab(const Colour& encoded, int32_t selector) {
    const auto linear = [&](std::size_t c) { return static_cast<double>(srgb_decode(encoded[c])); };
    return lab_of_linear_rgb({linear(0), linear(1), linear(2)}, white_point(selector));
}

Colour adapt_bradford(const Colour& xyz, const Colour& from, const Colour& to) {
    Colour cone = multiply(kBradford, xyz);
    const Colour cone_from = multiply(kBradford, from);
    const Colour cone_to = multiply(kBradford, to);
    for (std::size_t k = 0; k < cone.size(); ++k) {
        cone[k] *= cone_to[k] / cone_from[k];
    }
    return multiply(kBradfordInverse, cone);
}

}  // namespace cali
