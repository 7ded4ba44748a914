#include "math/matrix.h"

#include <algorithm>

#include "support/recorded_calls.h"

namespace cali::test {
namespace {

template <typename Run>
std::string said(Run&& run) {
    ::testing::internal::CaptureStderr();
    run();
    return ::testing::internal::GetCapturedStderr();
}

TEST(Matrix, MisuseIsReportedAndNamed) {
    const Matrix square(3, std::vector<float>(3, 1.0F));
    const Matrix tall(4, std::vector<float>(3, 1.0F));
    Matrix out;
    const char* dimensions = "mat dimension dismatch\n";
    EXPECT_EQ(said([&] { EXPECT_TRUE(mat_mul(square, tall).empty()); }), dimensions);
    EXPECT_EQ(said([&] { EXPECT_TRUE(mat_add(square, tall).empty()); }), dimensions);
    EXPECT_EQ(said([&] { EXPECT_TRUE(mat_sub(tall, square).empty()); }), dimensions);
    const char* not_square = "mat must be square matrix\n";
    const Matrix ragged = {{1, 2, 3}, {4, 5}, {6, 7, 8}};
    EXPECT_EQ(said([&] { EXPECT_EQ(mat_det(tall, 3), -1.0F); }), not_square);
    EXPECT_EQ(said([&] { EXPECT_EQ(mat_det(ragged, 3), -1.0F); }), not_square);
    EXPECT_EQ(said([&] { EXPECT_EQ(mat_adjugate(square, out, 2), -1); }), not_square);
    EXPECT_EQ(said([&] { EXPECT_EQ(mat_inverse(square, out, -1), -1); }), not_square);
    EXPECT_EQ(said([&] { EXPECT_EQ(mat_inverse({{5e-6F}}, out, 1), -1); }), "mat's determinant is equal 0\n");
    EXPECT_EQ(said([&] { EXPECT_EQ(mat_inverse({{2e-5F}}, out, 1), 0); }), "");
    EXPECT_EQ(out, (Matrix{{0.0F}}));  // the adjugate of 1 x 1 is 0
}

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
        const Matrix square = matrix(n, n);
        const Matrix a = matrix(n, m);
        Matrix out;
        digest << mat_inverse(square, out, n) << out << mat_det(square, n);
        digest << mat_mul(square, a) << mat_add(a, mat_mul(square, a)) << mat_sub(a, mat_mul(square, a));
        digest << mat_adjugate(square, out, n) << out << mat_transpose(a, out) << out;
        mat_column(a, out, m - 1);
        digest << out;
    });
}

TEST(Matrix, InverseAndTranspose) {
    const Matrix a = {{2, 0, 1, 0}, {0, 3, 0, 1}, {1, 0, 4, 0}, {0, 2, 0, 5}};
    Matrix inverse;
    ASSERT_EQ(mat_inverse(a, inverse, 4), 0);
    const Matrix product = mat_mul(a, inverse);
    for (std::size_t i = 0; i < 4; ++i) {
        for (std::size_t j = 0; j < 4; ++j) {
            EXPECT_NEAR(product[i][j], i == j ? 1 : 0, 1e-5);
        }
    }
    EXPECT_EQ(mat_det(a, 4), 91.0F);
    Matrix used(30, std::vector<float>(7, 9.0F));
    mat_transpose(Matrix(3, std::vector<float>(24, 2.0F)), used);
    EXPECT_EQ(used, Matrix(24, std::vector<float>(3, 2.0F)));
    mat_column({{1, 2}, {3, 4}}, used, 1);
    EXPECT_EQ(used, (Matrix{{2}, {4}}));
}

}  // namespace
}  // namespace cali::test
