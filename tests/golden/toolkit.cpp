#include <algorithm>

#include "blc/estimators.h"
#include "golden/golden.h"
#include "lut/apply.h"
#include "math/colour_difference.h"
#include "math/colour_space.h"
#include "math/matrix.h"
#include "stages/black_level.h"

namespace cali::test {
namespace {

/// Sizes that do not fit are among them, and what is said of them on standard error.
void matrices(Golden& golden, Random& random, int turn) {
    const auto matrix = [&](int rows, int columns) {
        Matrix result(static_cast<std::size_t>(rows), std::vector<float>(static_cast<std::size_t>(columns)));
        for (auto& row : result) {
            std::ranges::generate(row, [&] { return static_cast<float>(random.within(-9, 9)) / 3.0F; });
        }
        return result;
    };
    const int n = 1 + turn % 5;
    const int m = 1 + turn % 3;
    Matrix square = matrix(n, n);
    square[0][0] = turn % 10 == 0 ? 1e-5F * static_cast<float>(random.within(0, 2)) : square[0][0];
    square.back().resize(static_cast<std::size_t>(turn % 11 == 0 ? n - 1 : n));
    const Matrix a = matrix(turn % 7 == 0 ? n + 1 : n, m);
    Matrix out(9, std::vector<float>(9, 1));
    Digest& digest = golden["math_matrix"];
    digest << mat_inverse(square, out, n) << out << mat_det(square, turn % 13 == 0 ? -1 : n);
    digest << mat_adjugate(square, out, n) << out << mat_transpose(a, out) << out;
    digest << mat_add(a, matrix(n, m)) << mat_sub(a, matrix(n, m));
    if (turn % 11 != 0) {
        digest << mat_mul(square, a);
    }
    mat_column(a, out, m - 1);
    digest << out;
}

void colour_spaces(Golden& golden, Random& random, int turn) {
    const auto colour = [&] {
        const double scale = turn % 3 == 0 ? 0.05 : 1;  // around the linear ends of the curves
        return Colour{scale * random.unit(), scale * random.unit(), scale * random.unit()};
    };
    const Colour encoded = colour();
    const Colour own = srgb_to_lab(encoded, turn % 2 == 0 ? 65 : 50);
    const Colour other = srgb_to_lab(colour(), turn % 5 == 0 ? 65 : 50);
    golden["libm/math_colour"] << srgb_decode(encoded[0]) << srgb_encode(encoded[0] / 12) << own
                               << delta_e_1976(own, other) << delta_e_2000(own, other)
                               << adapt_bradford(encoded, {0.96422, 1, 0.82521}, {0.95047, 1, 1.08883});
}

void colours_through_tables(Golden& golden, Random& random, int turn) {
    const std::array<int32_t, 3> nodes = {random.within(2, 6), random.within(2, 6), random.within(2, 6)};
    const lut::Lattice rgb = lut::lattice_of(lut::Domain::rgb, nodes);
    std::vector<int32_t> table(rgb.size() * 3);
    for (int32_t& value : table) {
        value = random.within(turn % 2 == 0 ? 0 : -2000, 4095);
    }
    for (int i = 0; i < 8; ++i) {
        const auto component = [&] { return static_cast<float>(random.within(-1, 17)) / 16.0F; };
        std::array<float, 3> one = {component(), component(), component()};
        std::array<float, 3> other = one;
        lut::apply_rgb_table({rgb, table.data()}, lut::Interpolation::trilinear, {&one, 1});
        lut::apply_rgb_table({rgb, table.data()}, lut::Interpolation::tetrahedral, {&other, 1});
        const lut::Vector3 colour = {random.unit(), random.unit(), i == 0 ? 1.0 : random.unit()};
        golden["lut_apply"] << one << other
                            << lut::apply_hsv_table(lut::lattice_of(lut::Domain::hsv, nodes), table.data(), colour);
    }
}

/// Of 4 x 4 and channels of unequal numbers, which no export takes.
void mosaics(Golden& golden, Random& random, int turn) {
    const int32_t width = random.within(0, 20);
    OwnedFrame frame = random_frame(random, width, random.within(0, 20), 4 + turn % 16, 4200);
    const Histogram histogram(frame.view());
    Digest& digest = golden["blc_mosaics"];
    digest << blc::channel_medians(histogram, frame.samples.size(), frame.pattern).value
           << blc::channel_means(frame.view()).value << blc::means_plus_deviation(frame.view()).value;
    apply_black_level(frame.view(), {{{60, 61, 62, 63}}, {{1.01F, 1.02F, 1.03F, 1.04F}}});
    digest << frame.samples;
}

}  // namespace

void call_toolkit(Golden& golden) {
    repeat(320, golden, mosaics);
    repeat(1000, golden, matrices);
    repeat(1000, golden, colour_spaces);
    repeat(1000, golden, colours_through_tables);
}

}  // namespace cali::test
