#include "detection/chart_colours.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "base/least_squares.h"

namespace cali::host {
namespace {

constexpr int kFitRounds = 4;
constexpr double kDark = 0.03;       // of the mean: differences in the dark count relative to this much more
constexpr double kStiffLight = 0.3;  // patches' weight of an even light
constexpr double kStiffMatrix = 1e-3;
constexpr double kLeastRatio = 0.05;  // of measured to expected, for the light

const PatchColours& reference() {
    static const PatchColours kLinear = [] {
        PatchColours colours{};
        for (std::size_t patch = 0; patch < kChartPatches; ++patch) {
            for (std::size_t c = 0; c < 3; ++c) {
                colours[patch][c] = srgb_decode(kChartSrgb24[patch][c]);
            }
        }
        return colours;
    }();
    return kLinear;
}

/// Even, sloping and curved light.
std::array<double, 6> light_terms(std::size_t patch) {
    const double u = (static_cast<double>(patch % kChartColumns) - 2.5) / 2.5;
    const double v = (static_cast<double>(patch / kChartColumns) - 1.5) / 1.5;
    return {1, u, v, u * u, u * v, v * v};
}

double sum(const Colour& colour) { return colour[0] + colour[1] + colour[2]; }

}  // namespace

ColourFit fit_colours(const PatchColours& measured) {
    // Every channel has mean 1, so that none counts more for the light's colour.
    PatchColours balanced = measured;
    for (std::size_t c = 0; c < 3; ++c) {
        double mean = 0;
        for (const Colour& colour : measured) {
            mean += colour[c] / kChartPatches;
        }
        if (!(mean > 0)) {
            return {};
        }
        for (Colour& colour : balanced) {
            colour[c] /= mean;
        }
    }

    std::array<double, kChartPatches> light{};
    light.fill(1);
    PatchColours expected{};
    for (int round = 0; round < kFitRounds; ++round) {
        for (std::size_t c = 0; c < 3; ++c) {
            LeastSquares<4> channel(kStiffMatrix);
            const auto terms = [&](std::size_t patch) -> std::array<double, 4> {
                const Colour& rgb = reference()[patch];
                return {light[patch] * rgb[0], light[patch] * rgb[1], light[patch] * rgb[2], 1};
            };
            for (std::size_t patch = 0; patch < kChartPatches; ++patch) {
                const double scale = sum(balanced[patch]) / 3 + kDark;
                channel.add(terms(patch), balanced[patch][c], 1 / (scale * scale));
            }
            const auto row = channel.solution();
            for (std::size_t patch = 0; patch < kChartPatches; ++patch) {
                const auto t = terms(patch);
                expected[patch][c] = row[0] * t[0] + row[1] * t[1] + row[2] * t[2] + row[3];
            }
        }
        if (round + 1 == kFitRounds) {
            break;
        }
        LeastSquares<6> field(kStiffLight);
        for (std::size_t patch = 0; patch < kChartPatches; ++patch) {
            const double ratio = sum(balanced[patch]) / std::max(sum(expected[patch]), kDark);
            const double even = std::log(light[patch]);
            field.add(light_terms(patch), std::log(std::clamp(ratio, kLeastRatio, 1 / kLeastRatio)) + even, 1);
        }
        const auto shape = field.solution();
        for (std::size_t patch = 0; patch < kChartPatches; ++patch) {
            const auto terms = light_terms(patch);
            double log_light = 0;
            for (std::size_t i = 0; i < terms.size(); ++i) {
                log_light += shape[i] * terms[i];
            }
            light[patch] = std::exp(std::clamp(log_light, -1.5, 1.5));
        }
    }

    ColourFit fit;
    double variation = 0;  // what is there to be explained
    for (std::size_t patch = 0; patch < kChartPatches; ++patch) {
        const double scale = (sum(balanced[patch]) + sum(expected[patch])) / 6 + kDark;
        double square = 0;
        for (std::size_t c = 0; c < 3; ++c) {
            const double difference = (balanced[patch][c] - expected[patch][c]) / scale;
            square += difference * difference / 3;
            const double from_mean = (balanced[patch][c] - 1) / scale;
            variation += from_mean * from_mean / (3 * kChartPatches);
        }
        fit.residual += square / kChartPatches;
        if (square > fit.worst) {
            fit.worst = square;
            fit.worst_patch = patch;
        }
    }
    // A chart varies by about 1; what is all of one colour is explained by anything.
    const double scale = std::max(1.0, 1 / variation);
    fit.residual = std::sqrt(fit.residual * scale);
    fit.worst = std::sqrt(fit.worst * scale);
    return fit;
}

}  // namespace cali::host
