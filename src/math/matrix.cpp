#include "math/matrix.h"

#include <algorithm>
#include <cmath>

namespace cali {
namespace {

constexpr double kLeastDeterminant = 1e-5;

bool is_square(const Matrix& a, int32_t n) {
    const auto size = static_cast<std::size_t>(n);
    const bool square =
        n >= 0 && a.size() == size && std::ranges::all_of(a, [&](const auto& row) { return row.size() == size; });
    if (!square) {
        (void)std::fputs("mat must be square matrix\n", stderr);
    }
    return square;
}

void resize(Matrix& a, std::size_t rows, std::size_t columns) {
    a.resize(rows);
    for (std::vector<float>& row : a) {
        row.resize(columns);
    }
}

/// Without row `r` and column `c`.
Matrix minor_of(const Matrix& a, std::size_t r, std::size_t c) {
    Matrix minor;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (i != r) {
            std::vector<float> row = a[i];
            row.erase(row.begin() + static_cast<std::ptrdiff_t>(c));
            minor.push_back(std::move(row));
        }
    }
    return minor;
}

float sign(std::size_t exponent) { return exponent % 2 == 0 ? 1.0F : -1.0F; }

template <typename Operation>
Matrix element_wise(const Matrix& a, const Matrix& b, Operation operation) {
    if (a.size() != b.size() || columns_of(a) != columns_of(b)) {
        report_dimensions();
        return {};
    }
    Matrix result(a.size(), std::vector<float>(columns_of(a)));
    for (std::size_t i = 0; i < a.size(); ++i) {
        for (std::size_t j = 0; j < columns_of(a); ++j) {
            result[i][j] = operation(a[i][j], b[i][j]);
        }
    }
    return result;
}

}  // namespace

void report_dimensions() { (void)std::fputs("mat dimension dismatch\n", stderr); }

int32_t mat_transpose(const Matrix& a, Matrix& transposed) {
    resize(transposed, columns_of(a), a.size());
    for (std::size_t i = 0; i < a.size(); ++i) {
        for (std::size_t j = 0; j < columns_of(a); ++j) {
            transposed[j][i] = a[i][j];
        }
    }
    return 0;
}

int32_t mat_inverse(const Matrix& a, Matrix& inverse, int32_t n) {
    if (!is_square(a, n)) {
        return -1;
    }
    const float determinant = mat_det(a, n);
    if (kLeastDeterminant > std::abs(static_cast<double>(determinant))) {
        (void)std::fputs("mat's determinant is equal 0\n", stderr);
        return -1;
    }
    resize(inverse, a.size(), a.size());
    Matrix adjugate;
    (void)mat_adjugate(a, adjugate, n);
    const auto factor = static_cast<double>(1.0F / determinant);
    for (std::size_t i = 0; i < a.size(); ++i) {
        for (std::size_t j = 0; j < a.size(); ++j) {
            inverse[i][j] = static_cast<float>(static_cast<double>(adjugate[i][j]) * factor);
        }
    }
    return 0;
}

void mat_column(const Matrix& a, Matrix& column, int32_t j) {
    resize(column, a.size(), 1);
    for (std::size_t i = 0; i < a.size(); ++i) {
        column[i][0] = a[i][static_cast<std::size_t>(j)];
    }
}

Matrix mat_sub(const Matrix& a, const Matrix& b) {
    return element_wise(a, b, [](float x, float y) { return x - y; });
}

Matrix mat_add(const Matrix& a, const Matrix& b) {
    return element_wise(a, b, [](float x, float y) { return x + y; });
}

float mat_det(const Matrix& a, int32_t n) {
    if (!is_square(a, n)) {
        return -1.0F;
    }
    switch (n) {
        case 0: return 0.0F;
        case 1: return a[0][0];
        case 2: return a[1][1] * a[0][0] - a[0][1] * a[1][0];
        default: break;
    }
    float sum = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        sum += sign(i) * a[i][0] * mat_det(minor_of(a, i, 0), n - 1);
    }
    return sum;
}

int32_t mat_adjugate(const Matrix& a, Matrix& adjugate, int32_t n) {
    if (!is_square(a, n)) {
        return -1;
    }
    resize(adjugate, a.size(), a.size());
    for (std::size_t r = 0; r < a.size(); ++r) {
        for (std::size_t c = 0; c < a.size(); ++c) {
            adjugate[r][c] = mat_det(minor_of(a, c, r), n - 1) * sign(r + c);
        }
    }
    return 0;
}

}  // namespace cali
