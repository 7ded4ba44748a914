#include "awb/curve.h"

#include <algorithm>
#include <cmath>

#include "core/arithmetic.h"

namespace cali::awb {
namespace {

constexpr int kMostAnchors = 101;
constexpr double kRowScale = 5e-6;

using Row = std::array<double, 4>;
using System = std::array<Row, 3>;

/// Power sums of the points, running in single precision.
class PowerSums {
public:
    void add(float x_value, float y_value) {
        const auto x = static_cast<double>(x_value);
        const auto y = static_cast<double>(y_value);
        accumulate(x4_, x * x * x * x);
        accumulate(x3_, x * x * x);
        accumulate(x2_, x * x);
        accumulate(x1_, x);
        accumulate(x0_, 1.0);
        accumulate(x2y_, x * x * y);
        accumulate(xy_, x * y);
        accumulate(y_, y);
    }

    [[nodiscard]] System normal_equations() const {
        const auto row = [](float a, float b, float c, float d) {
            return Row{static_cast<double>(a), static_cast<double>(b), static_cast<double>(c), static_cast<double>(d)};
        };
        return {row(x4_, x3_, x2_, x2y_), row(x3_, x2_, x1_, xy_), row(x2_, x1_, x0_, y_)};
    }

private:
    static void accumulate(float& sum, double term) { sum = static_cast<float>(static_cast<double>(sum) + term); }

    float x4_ = 0;
    float x3_ = 0;
    float x2_ = 0;
    float x1_ = 0;
    float x0_ = 0;
    float x2y_ = 0;
    float xy_ = 0;
    float y_ = 0;
};

/// Keeps a row's magnitudes near 1 between eliminations.
void rescale(Row& row) {
    double smallest = std::abs(row[0]);
    double largest = smallest;
    for (const double entry : row) {
        smallest = std::min(smallest, std::abs(entry));
        largest = std::max(largest, std::abs(entry));
    }
    const double scale = (smallest + largest) * kRowScale;
    if (scale != 0) {
        for (double& entry : row) {
            entry /= scale;
        }
    }
}

void eliminate(System& system, std::size_t row, std::size_t pivot) {
    const double factor = system[row][pivot] / system[pivot][pivot];
    for (std::size_t k = 0; k < system[row].size(); ++k) {
        system[row][k] -= factor * system[pivot][k];
    }
    rescale(system[row]);
}

/// Without pivoting; a singular system gives NaN.
AwbCurve solve(System system) {
    std::ranges::for_each(system, rescale);
    for (std::size_t pivot = 0; pivot < system.size(); ++pivot) {
        for (std::size_t row = pivot + 1; row < system.size(); ++row) {
            eliminate(system, row, pivot);
        }
    }
    for (std::size_t pivot = system.size(); pivot-- > 0;) {
        for (std::size_t row = pivot; row-- > 0;) {
            eliminate(system, row, pivot);
        }
    }
    const auto coefficient = [&](std::size_t i) { return static_cast<float>(system[i][3] / system[i][i]); };
    return {coefficient(0), coefficient(1), coefficient(2)};
}

/// Opens upward without dipping below 0.
bool is_usable(const AwbCurve& curve) {
    const auto& [a, b, c] = curve;
    return a > 0 && !(-(b * b - 4.0F * a * c) / (4.0F * a) < 0);
}

/// Nearest code of 4 bits; NaN gives 0.
uint32_t code4(double value) {
    const double nearest = value + 0.5;
    return nearest >= 15 ? 15U : nearest >= 1 ? static_cast<uint32_t>(nearest) : 0U;
}

}  // namespace

std::array<uint32_t, 3> pack_lights(std::span<const LightSource> lights) {
    std::array<uint32_t, 3> words{static_cast<uint32_t>(lights.size()), 0, 0};
    uint32_t shift = 4;
    for (const LightSource& light : lights) {
        words[0] |= code4((static_cast<double>(light.temp_k) - 1500.0) / 500.0) << shift;
        words[1] |= code4(static_cast<double>(light.ratio_a) * 8.0) << shift;
        words[2] |= code4(static_cast<double>(light.ratio_b) * 8.0) << shift;
        shift += 4;
    }
    return words;
}

AwbCurve fit_curve(float norm_a, float norm_b, std::span<const LightSource> lights) {
    PowerSums sums;
    float largest_y = 0;
    for (const LightSource& light : lights) {
        const auto x = static_cast<float>(1.0 / static_cast<double>(light.ratio_a / norm_a));
        const auto y = static_cast<float>(1.0 / static_cast<double>(light.ratio_b / norm_b));
        for (int i = 0; i < light.weight; ++i) {
            sums.add(x, y);
        }
        if (light.weight != 0) {
            largest_y = y > largest_y ? y : largest_y;
        }
    }
    AwbCurve curve = solve(sums.normal_equations());
    for (int anchor = 1; anchor <= kMostAnchors && !is_usable(curve); ++anchor) {
        PowerSums anchored = sums;
        anchored.add(0.0F, static_cast<float>(anchor * 0.1 + static_cast<double>(largest_y)));
        curve = solve(anchored.normal_equations());
    }
    return curve;
}

void sample_curve(const AwbCurve& curve, float ref_a, float ref_b, std::span<float, kCurveSamples> table) {
    float least = 1024.0F;
    for (std::size_t i = 0; i < kCurveSamples; ++i) {
        const auto t = static_cast<float>(static_cast<double>(i) / 100.0);
        const float x = t * ref_a * 0.0009765625F;
        const float y = curve.a * x * x + curve.b * x + curve.c;
        const float gain = y * 1024.0F / ref_b;
        least = gain < least ? gain : least;
        table[i] = std::clamp(least, 0.0F, 8.0F);
    }
}

}  // namespace cali::awb
