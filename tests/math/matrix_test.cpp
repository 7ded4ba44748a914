#include "math/matrix.h"

#include <algorithm>

#include "support/recorded_calls.h"

namespace cali::test {
namespace {

/// Sizes that do not fit are among them, and what is said of them on standard error.
TEST(RecordedCalls, Matrices) {
    expect_recorded("math.matrix", 1000, [](Random& random, int turn, Digest& digest) {
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
        digest << mat_inverse(square, out, n) << out << mat_det(square, turn % 13 == 0 ? -1 : n);
        digest << mat_adjugate(square, out, n) << out << mat_transpose(a, out) << out;
        digest << mat_add(a, matrix(n, m)) << mat_sub(a, matrix(n, m));
        if (turn % 11 != 0) {
            digest << mat_mul(square, a);
        }
        mat_column(a, out, m - 1);
        digest << out;
    });
}

}  // namespace
}  // namespace cali::test
