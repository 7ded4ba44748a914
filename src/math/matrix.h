/// Small dense matrices. Plain on purpose: the rounding of the recursive expansion is part of the results, and the
/// matrices are tiny. Misuse is reported on standard error and by the results; nothing is thrown but for want of
/// memory.
#pragma once

#include <cstdint>
#include <cstdio>
#include <vector>

namespace cali {

/// Rows of elements. An empty one stands for a failed operation.
template <typename T>
using Rows = std::vector<std::vector<T>>;

using Matrix = Rows<float>;

template <typename T>
[[nodiscard]] std::size_t columns_of(const Rows<T>& a) {
    return a.empty() ? 0 : a.front().size();
}

/// "mat dimension dismatch\n" on standard error.
void report_dimensions();

/// A * B; each element is a running sum in ascending order. Empty where A's columns are not as many as B's rows.
template <typename T>
[[nodiscard]] Rows<T> mat_mul(const Rows<T>& a, const Rows<T>& b) {
    if (columns_of(a) != b.size()) {
        report_dimensions();
        return {};
    }
    Rows<T> product(a.size(), std::vector<T>(columns_of(b)));
    for (std::size_t i = 0; i < a.size(); ++i) {
        for (std::size_t j = 0; j < columns_of(b); ++j) {
            for (std::size_t p = 0; p < b.size(); ++p) {
                product[i][j] += a[i][p] * b[p][j];
            }
        }
    }
    return product;
}

/// Always 0.
int32_t mat_transpose(const Matrix& a, Matrix& transposed);

/// Through determinant and adjugate. 0, or -1 where A is not n x n or its determinant is below 1e-5 in magnitude. The
/// inverse of a 1 x 1 matrix is [0], as its adjugate is.
int32_t mat_inverse(const Matrix& a, Matrix& inverse, int32_t n);

void mat_column(const Matrix& a, Matrix& column, int32_t j);

/// Empty where the sizes differ.
[[nodiscard]] Matrix mat_sub(const Matrix& a, const Matrix& b);
[[nodiscard]] Matrix mat_add(const Matrix& a, const Matrix& b);

/// Laplace expansion along the first column. -1 where A is not n x n.
[[nodiscard]] float mat_det(const Matrix& a, int32_t n);

/// 0, or -1 where A is not n x n.
int32_t mat_adjugate(const Matrix& a, Matrix& adjugate, int32_t n);

}  // namespace cali
