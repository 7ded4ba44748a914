/// Linear least squares in a few unknowns.
#pragma once

#include <array>
#include <cstddef>

namespace cali::host {

/// Symmetric positive definite.
template <std::size_t N>
std::array<double, N> solve_symmetric(std::array<std::array<double, N>, N> rows, std::array<double, N> right) {
    for (std::size_t k = 0; k < N; ++k) {
        for (std::size_t i = k + 1; i < N; ++i) {
            const double factor = rows[i][k] / rows[k][k];
            for (std::size_t j = k; j < N; ++j) {
                rows[i][j] -= factor * rows[k][j];
            }
            right[i] -= factor * right[k];
        }
    }
    for (std::size_t k = N; k-- > 0;) {
        for (std::size_t j = k + 1; j < N; ++j) {
            right[k] -= rows[k][j] * right[j];
        }
        right[k] /= rows[k][k];
    }
    return right;
}

/// Least squares with `stiff` pulling to zero.
template <std::size_t N>
class LeastSquares {
public:
    explicit LeastSquares(double stiff) {
        for (std::size_t i = 0; i < N; ++i) {
            rows_[i][i] = stiff;
        }
    }
    void add(const std::array<double, N>& terms, double value, double weight) {
        for (std::size_t i = 0; i < N; ++i) {
            for (std::size_t j = 0; j < N; ++j) {
                rows_[i][j] += weight * terms[i] * terms[j];
            }
            right_[i] += weight * terms[i] * value;
        }
    }
    [[nodiscard]] std::array<double, N> solution() const { return solve_symmetric(rows_, right_); }

private:
    std::array<std::array<double, N>, N> rows_{};
    std::array<double, N> right_{};
};

}  // namespace cali::host
