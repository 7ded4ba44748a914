#include "reference/colour.h"

#include <nlopt.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <sstream>
#include <utility>

#include "reference/raw_stages.h"

namespace cali::reference {
namespace {

double wide(float value) { return static_cast<double>(value); }
float narrow(double value) { return static_cast<float>(value); }

// White-balance curve.

using Augmented = std::array<std::array<double, 4>, 3>;

void scale_row(std::array<double, 4>& row) {
    double smallest = std::fabs(row[0]);
    double largest = std::fabs(row[0]);
    for (const double entry : row) {
        smallest = std::min(smallest, std::fabs(entry));
        largest = std::max(largest, std::fabs(entry));
    }
    const double divisor = (smallest + largest) * 5e-6;
    if (divisor == 0.0) {
        return;
    }
    for (double& entry : row) {
        entry = entry / divisor;
    }
}

/// Clears column i of row j.
void eliminate(Augmented& m, std::size_t i, std::size_t j) {
    const double factor = m[j][i] / m[i][i];
    for (std::size_t k = 0; k < 4; ++k) {
        m[j][k] -= factor * m[i][k];
    }
    scale_row(m[j]);
}

std::array<float, 3> fit_parabola(const std::vector<float>& xs, const std::vector<float>& ys) {
    std::array<float, 8> sums{};
    for (std::size_t i = 0; i < xs.size(); ++i) {
        const double x = wide(xs[i]);
        const double y = wide(ys[i]);
        const std::array<double, 8> terms = {x * x * x * x, x * x * x, x * x, x, 1.0, x * x * y, x * y, y};
        for (std::size_t k = 0; k < 8; ++k) {
            sums[k] = narrow(wide(sums[k]) + terms[k]);
        }
    }
    Augmented m{};
    for (std::size_t i = 0; i < 3; ++i) {
        m[i] = {wide(sums[i]), wide(sums[i + 1]), wide(sums[i + 2]), wide(sums[i + 5])};
    }
    for (auto& row : m) {
        scale_row(row);
    }
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t j = i + 1; j < 3; ++j) {
            eliminate(m, i, j);
        }
    }
    for (std::size_t i = 3; i-- > 0;) {
        for (std::size_t j = i; j-- > 0;) {
            eliminate(m, i, j);
        }
    }
    return {narrow(m[0][3] / m[0][0]), narrow(m[1][3] / m[1][1]), narrow(m[2][3] / m[2][2])};
}

/// Nearest code of four bits; 0 for NaN.
uint32_t code(double value) {
    const double rounded = value + 0.5;
    return rounded >= 15.0 ? 15U : rounded > 0.0 ? static_cast<uint32_t>(rounded) : 0U;
}

// Matrix toolkit. Callers pass sizes that fit.

template <typename T>
using Rows = std::vector<std::vector<T>>;
using Matrix = Rows<float>;

template <typename T>
Rows<T> mat_mul(const Rows<T>& a, const Rows<T>& b) {
    Rows<T> m(a.size(), std::vector<T>(b[0].size()));
    for (std::size_t i = 0; i < a.size(); ++i) {
        for (std::size_t j = 0; j < b[0].size(); ++j) {
            for (std::size_t p = 0; p < b.size(); ++p) {
                m[i][j] += a[i][p] * b[p][j];
            }
        }
    }
    return m;
}

Matrix mat_transpose(const Matrix& a) {
    Matrix t(a[0].size(), std::vector<float>(a.size()));
    for (std::size_t i = 0; i < a.size(); ++i) {
        for (std::size_t j = 0; j < a[0].size(); ++j) {
            t[j][i] = a[i][j];
        }
    }
    return t;
}

float sign(int exponent) { return static_cast<float>(static_cast<int>(std::pow(-1.0, exponent))); }

Matrix without(Matrix a, int row, int column) {
    a.erase(a.begin() + row);
    for (auto& entries : a) {
        entries.erase(entries.begin() + column);
    }
    return a;
}

float mat_det(const Matrix& a) {
    if (a.size() == 2) {
        return a[1][1] * a[0][0] - a[0][1] * a[1][0];
    }
    float sum = 0;
    for (int i = 0; i < 3; ++i) {
        sum += sign(i + 2) * a[static_cast<std::size_t>(i)][0] * mat_det(without(a, i, 0));
    }
    return sum;
}

/// Of 3 x 3; empty where there is none.
Matrix mat_inverse(const Matrix& a, std::string& errors) {
    const float determinant = mat_det(a);
    if (1e-5 > std::fabs(wide(determinant))) {
        errors += "mat's determinant is equal 0\n";
        return {};
    }
    const float inv = 1.0F / determinant;
    Matrix inverse(3);
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c) {
            const float adjugate = sign(r + c) * mat_det(without(a, c, r));
            inverse[static_cast<std::size_t>(r)].push_back(narrow(wide(adjugate) * wide(inv)));
        }
    }
    return inverse;
}

// Chart matrix.

float linear(double encoded) {
    const double v = wide(narrow(encoded));
    return narrow(v < wide(narrow(0.04045)) ? v / 12.92 : std::exp(std::log((v + 0.055) / 1.055) * 2.4));
}

constexpr std::array<float, 9> kIdentity = {1, 0, 0, 0, 1, 0, 0, 0, 1};

void floor_and_normalise(std::array<float, 9>& ccm) {
    for (const std::size_t k : {0U, 4U, 8U}) {
        if (ccm[k] < 1.0F) {
            ccm[k] = 1.0F;
        }
    }
    for (std::size_t r = 0; r < 3; ++r) {
        float sum = 0;
        for (std::size_t c = 0; c < 3; ++c) {
            sum += ccm[3 * r + c];
        }
        if (!(sum > 0)) {
            ccm = kIdentity;
            continue;
        }
        for (std::size_t c = 0; c < 3; ++c) {
            ccm[3 * r + c] = ccm[3 * r + c] / sum;
        }
    }
}

std::array<int32_t, 9> fixed_point(const std::array<float, 9>& ccm) {
    std::array<int32_t, 9> q10{};
    for (std::size_t r = 0; r < 9; r += 3) {
        q10[r] = x86_int32(wide(ccm[r] * 1024.0F) + 0.5);
        q10[r + 1] = x86_int32(wide(ccm[r + 1] * 1024.0F) + 0.5);
        q10[r + 2] =
            static_cast<int32_t>(1024U - static_cast<uint32_t>(q10[r + 1]) - static_cast<uint32_t>(q10[r]));  // wraps
    }
    return q10;
}

// Chart colours.

using Channel = double RoiRgbMean::*;
constexpr std::array<Channel, 3> kChannels = {&RoiRgbMean::b, &RoiRgbMean::g, &RoiRgbMean::r};

void fit_lines(const std::vector<RoiRgbMean>& measured, const std::vector<RoiRgbMean>& reference,
               std::vector<RoiRgbMean>& adjusted, std::size_t begin, std::size_t end) {
    const auto n = static_cast<double>(end - begin);
    for (const Channel channel : kChannels) {
        double sum_x = 0, sum_y = 0, sum_xy = 0, sum_xx = 0;
        for (std::size_t k = begin; k < end; ++k) {
            const double x = measured[k].*channel / 255.0;
            const double y = reference[k].*channel / 255.0;
            sum_x += x;
            sum_y += y;
            sum_xy += x * y;
            sum_xx += x * x;
        }
        const double mean_x = sum_x / n;
        const double mean_y = sum_y / n;
        const double slope = (sum_xy - n * mean_x * mean_y) / (sum_xx - n * mean_x * mean_x);
        const double intercept = mean_y - slope * mean_x;
        for (std::size_t k = begin; k < end; ++k) {
            adjusted[k].*channel = std::clamp(slope * (measured[k].*channel) + intercept * 255.0, 0.0, 255.0);
        }
    }
}

/// The white is that of the way back below.
std::array<double, 3> record_lab(const RoiRgbMean& colour) {
    const double r = colour.r / 255.0, g = colour.g / 255.0, b = colour.b / 255.0;
    const auto f = [](double t) { return t > 0.008856 ? std::pow(t, 0.3333333333333333) : (903.3 * t + 16.0) / 116.0; };
    const double fx = f((0.4124564 * r + 0.3575761 * g + 0.1804375 * b) / 0.9515);
    const double fy = f(0.2126729 * r + 0.7151522 * g + 0.072175 * b);
    const double fz = f((0.0193339 * r + 0.119192 * g + 0.9503041 * b) / 1.0886);
    return {116.0 * fy - 16.0, 500.0 * (fx - fy), 200.0 * (fy - fz)};
}

void transfer_lightness(const RoiRgbMean& measured, const RoiRgbMean& reference, RoiRgbMean& adjusted) {
    const double lightness = record_lab(reference)[0];
    const std::array<double, 3> chroma = record_lab(measured);
    const double fy = (lightness + 16.0) / 116.0;
    const double fx = chroma[1] / 500.0 + fy;
    const double fz = fy - chroma[2] / 200.0;
    const auto cube = [](double f) { return f * f * f; };
    const auto back = [&](double f) { return cube(f) > 0.008856 ? cube(f) : (116.0 * f - 16.0) / 903.3; };
    const double x = back(fx) * 0.9515;
    const double y = lightness / 903.3 > 0.008856 ? cube(fy) : lightness / 903.3;
    const double z = back(fz) * 1.0886;
    adjusted.b = std::clamp((0.0556434 * x - 0.2040259 * y + 1.0572252 * z) * 255.0, 0.0, 255.0);
    adjusted.g = std::clamp((-0.969266 * x + 1.8760108 * y + 0.041556 * z) * 255.0, 0.0, 255.0);
    adjusted.r = std::clamp((3.2404542 * x - 1.5371385 * y - 0.4985314 * z) * 255.0, 0.0, 255.0);
}

struct Entry {
    RoiRgbMean measured{}, reference{};
    float measured_mean = 0, measured_deviation = 0, reference_mean = 0, reference_deviation = 0, gap = 0;
};

void mean_and_deviation(const RoiRgbMean& colour, float& mean, float& deviation) {
    mean = (narrow(colour.b) + narrow(colour.g) + narrow(colour.r)) / 3.0F;
    const float squares = narrow(colour.b * colour.b) + narrow(colour.g * colour.g) + narrow(colour.r * colour.r);
    deviation = std::sqrt(squares / 3.0F - mean * mean);
}

Entry make_entry(const RoiRgbMean& measured, const RoiRgbMean& reference) {
    Entry entry;
    entry.measured = measured;
    entry.reference = reference;
    mean_and_deviation(measured, entry.measured_mean, entry.measured_deviation);
    mean_and_deviation(reference, entry.reference_mean, entry.reference_deviation);
    return entry;
}

RoiRgbMean between(const RoiRgbMean& lower, const RoiRgbMean& upper, int64_t j, int64_t k) {
    RoiRgbMean colour{};
    for (const Channel channel : kChannels) {
        colour.*channel =
            lower.*channel + (upper.*channel - lower.*channel) * static_cast<double>(j) / static_cast<double>(k + 1);
    }
    return colour;
}

// Optimised matrix.

std::vector<double> linear_rgb_to_xyz(double r, double g, double b, int32_t selector) {
    if (selector == 65) {
        return {0.4124564 * r + 0.3575761 * g + 0.1804375 * b, 0.2126729 * r + 0.7151522 * g + 0.072175 * b,
                0.0193339 * r + 0.119192 * g + 0.9503041 * b};
    }
    return {0.4360747 * r + 0.3850649 * g + 0.1430804 * b, 0.2225045 * r + 0.7168786 * g + 0.0606169 * b,
            0.0139322 * r + 0.0971045 * g + 0.7141733 * b};
}

double lab_curve(double t) {
    const double limit = std::pow(6.0 / 29.0, 3.0);
    const double slope = (29.0 / 6.0) * (29.0 / 6.0) / 3.0;
    return t > limit ? std::pow(t, 1.0 / 3.0) : slope * t + 4.0 / 29.0;
}

std::vector<double> xyz_to_lab(double x, double y, double z, int32_t selector) {
    const double white_x = selector == 65 ? 0.95047 : 0.96422;
    const double white_z = selector == 65 ? 1.08883 : 0.82521;
    const double fx = lab_curve(x / white_x);
    const double fy = lab_curve(y);
    const double fz = lab_curve(z / white_z);
    return {116.0 * fy - 16.0, 500.0 * (fx - fy), 200.0 * (fy - fz)};
}

Rows<double> hue_saturation_matrix(double hue, double saturation, double gain) {
    const double theta = hue * 3.1415926 / 180.0;
    const double k = gain;
    const double c = std::cos(theta) * saturation * gain;
    const double s = std::sin(theta) * saturation * gain;
    return {
        {0.299 * k + 0.701 * c + 0.168 * s, 0.587 * k - 0.587 * c + 0.330 * s, 0.114 * k - 0.114 * c - 0.497 * s},
        {0.299 * k - 0.299 * c - 0.328 * s, 0.587 * k + 0.413 * c + 0.330 * s, 0.114 * k - 0.114 * c + 0.292 * s},
        {0.299 * k - 0.299 * c + 1.250 * s, 0.587 * k - 0.587 * c + 1.050 * s, 0.114 * k + 0.886 * c - 0.203 * s},
    };
}

Patches apply_ccm(const Patches& patches, const Rows<double>& matrix) {
    Patches result;
    for (const auto& patch : patches) {
        std::vector<double> out(3);
        for (std::size_t r = 0; r < 3; ++r) {
            for (std::size_t c = 0; c < 3; ++c) {
                out[r] += matrix[r][c] * patch[c];
            }
        }
        result.push_back(out);
    }
    return result;
}

/// The lower bound for NaN.
double limited(double value, double low, double high) {
    const double raised = value > low ? value : low;
    return raised < high ? raised : high;
}

Patches clamp_matrix(Patches values, double low, double high) {
    for (auto& row : values) {
        for (double& value : row) {
            value = limited(value, low, high);
        }
    }
    return values;
}

Patches apply_tone_curve(Patches patches, const std::vector<uint32_t>& curve) {
    const std::size_t last = curve.size() - 1;
    for (auto& patch : patches) {
        for (double& value : patch) {
            const double t = static_cast<double>(last) * value;
            const auto i = static_cast<std::size_t>(std::floor(t));
            const std::size_t j = i == last ? i : i + 1;
            const double frac = t - static_cast<double>(i);
            // The upper entry does get 1 - frac.
            value = (static_cast<double>(curve[j]) * (1.0 - frac) + static_cast<double>(curve[i]) * frac) / 4095.0;
        }
    }
    return patches;
}

struct DistanceBlock {
    std::vector<double> distances;
    double mean = 0, weighted_mean = 0, unused_1 = 0, unused_2 = 0, maximum = 0;
};

struct ColourDifferenceStats {
    DistanceBlock chroma_plane, delta_e;
    std::vector<double> chroma_ratios = std::vector<double>(18);  ///< percent
    double mean_chroma_ratio = 0;
};

DistanceBlock distance_block(const std::vector<double>& distances, const std::vector<float>& weights) {
    DistanceBlock block;
    block.distances = distances;
    double sum = 0;
    double weighted_sum = 0;
    int32_t weight_total = 0;  // fractional weights are partly lost
    for (std::size_t i = 0; i < distances.size(); ++i) {
        sum += distances[i];
        weighted_sum += wide(weights[i]) * distances[i];
        weight_total = x86_int32(wide(static_cast<float>(weight_total) + weights[i]));
        if (distances[i] > block.maximum) {
            block.maximum = distances[i];
        }
    }
    block.mean = sum / static_cast<double>(distances.size());
    block.weighted_mean = weighted_sum / static_cast<double>(weight_total);
    return block;
}

ColourDifferenceStats colour_difference_stats(const Patches& measured, const Patches& reference,
                                              const std::vector<float>& weights) {
    ColourDifferenceStats stats;
    std::vector<double> chroma(measured.size());
    std::vector<double> delta_e(measured.size());
    for (std::size_t i = 0; i < measured.size(); ++i) {
        const double l = measured[i][0] - reference[i][0];
        const double a = measured[i][1] - reference[i][1];
        const double b = measured[i][2] - reference[i][2];
        chroma[i] = std::sqrt(a * a + b * b);
        delta_e[i] = std::sqrt(l * l + a * a + b * b);
    }
    stats.chroma_plane = distance_block(chroma, weights);
    stats.delta_e = distance_block(delta_e, weights);

    double sum = 0;
    for (std::size_t i = 0; i < 18; ++i) {
        const std::vector<double>& m = measured.at(i);
        const std::vector<double>& r = reference.at(i);
        stats.chroma_ratios[i] = std::sqrt(m[1] * m[1] + m[2] * m[2]) / std::sqrt(r[1] * r[1] + r[2] * r[2]) * 100.0;
        sum += stats.chroma_ratios[i];
    }
    stats.mean_chroma_ratio = sum / 18.0;
    return stats;
}

double colour_error(const Problem& problem, const Rows<double>& matrix) {
    const Patches clamped = clamp_matrix(apply_ccm(problem.linear_rgb, matrix), 0.0, 1.0);
    const Patches toned = apply_tone_curve(apply_tone_curve(clamped, problem.first_curve), problem.second_curve);
    const Patches lab = lab_from_linear_rgb(toned, problem.selector);
    return colour_difference_stats(lab, problem.reference_lab, problem.weights).delta_e.weighted_mean;
}

void raise_diagonal(Rows<double>& matrix) {
    for (std::size_t k = 0; k < 3; ++k) {
        if (matrix[k][k] < 1.0) {
            matrix[k][k] = 1.0;
        }
    }
}

void normalise_ccm(Rows<double>& matrix) {
    raise_diagonal(matrix);
    for (auto& row : matrix) {
        double sum = 0.0;
        for (const double entry : row) {
            sum += entry;
        }
        for (double& entry : row) {
            entry = entry / sum;
        }
    }
}

Rows<double> saturation_matrix(double s) {
    return {
        {0.299 + 0.701 * s, 0.587 * (1.0 - s), 0.114 * (1.0 - s)},
        {0.299 * (1.0 - s), 0.587 + 0.413 * s, 0.114 * (1.0 - s)},
        {0.299 * (1.0 - s), 0.587 * (1.0 - s), 0.114 + 0.886 * s},
    };
}

/// False where the optimiser reports an error. No upper bounds and no tolerance where they are empty and 0.
bool minimise(nlopt_func objective, const Problem& problem, const std::vector<double>& lower,
              const std::vector<double>& upper, double tolerance, std::vector<double>& x, double& error) {
    Problem data = problem;
    nlopt_opt optimiser = nlopt_create(NLOPT_LN_NELDERMEAD, static_cast<unsigned>(x.size()));
    const bool ok = optimiser != nullptr && nlopt_set_lower_bounds(optimiser, lower.data()) >= 0 &&
                    (upper.empty() || nlopt_set_upper_bounds(optimiser, upper.data()) >= 0) &&
                    nlopt_set_min_objective(optimiser, objective, &data) >= 0 &&
                    (tolerance == 0.0 || nlopt_set_xtol_rel(optimiser, tolerance) >= 0) &&
                    nlopt_optimize(optimiser, x.data(), &error) >= 0;
    nlopt_destroy(optimiser);
    return ok;
}

bool fit_hue_saturation(const Problem& problem, std::vector<double>& x, std::string& printed) {
    const nlopt_func objective = [](unsigned, const double* at, double*, void* data) {
        return hue_saturation_objective(*static_cast<const Problem*>(data), at[0], at[1]);
    };
    double error = 0;
    const bool ok = minimise(objective, problem, {-std::numeric_limits<double>::infinity(), 0.0}, {}, 1e-5, x, error);
    std::ostringstream line;
    line << "found minimum at f(" << x[0] << "," << x[1] << ") =" << error << '\n';
    printed += line.str();
    return ok;
}

bool fit_ccm(const Problem& problem, Rows<double>& matrix, std::string& printed) {
    const std::vector<double> lower = {1.0, -1.5, -1.5, -1.5, 1.0, -1.5, -1.5, -1.5, 1.0};
    const std::vector<double> upper = {2.5, 1.5, 1.5, 1.5, 2.5, 1.5, 1.5, 1.5, 2.5};
    const nlopt_func objective = [](unsigned, const double* at, double*, void* data) {
        std::array<double, 9> x{};
        std::copy_n(at, 9, x.begin());
        return ccm_objective(*static_cast<const Problem*>(data), x);
    };
    std::vector<double> x(9);
    for (std::size_t k = 0; k < 9; ++k) {
        x[k] = limited(matrix[k / 3][k % 3], lower[k], upper[k]);
    }
    double error = 0;
    const bool ok = minimise(objective, problem, lower, upper, 0.0, x, error);
    printed += "found minimum at f(\n";
    for (std::size_t k = 0; k < 9; ++k) {
        matrix[k / 3][k % 3] = x[k];
        printed += text(k % 3 == 2 ? "%lf,\n" : "%lf,", x[k]);
    }
    printed += text(") = %lf\n", error);
    return ok;
}

}  // namespace

CurveFit build_curve(float norm_a, float norm_b, const std::vector<float>& ratio_a, const std::vector<float>& ratio_b,
                     const std::vector<float>& temp_k, const std::vector<uint8_t>& weight) {
    CurveFit fit;
    fit.pack[0] = static_cast<uint32_t>(weight.size());
    for (std::size_t i = 0; i < weight.size(); ++i) {
        fit.pack[0] |= code((wide(temp_k[i]) - 1500.0) / 500.0) << (4 * i + 4);
        fit.pack[1] |= code(wide(ratio_a[i]) * 8.0) << (4 * i + 4);
        fit.pack[2] |= code(wide(ratio_b[i]) * 8.0) << (4 * i + 4);
    }
    fit.printed = text("out[3~5]:\t%d\t%d\t%d\n", static_cast<int>(fit.pack[0]), static_cast<int>(fit.pack[1]),
                       static_cast<int>(fit.pack[2]));
    for (int byte = 0; byte < 12; ++byte) {
        const uint32_t word = fit.pack[static_cast<std::size_t>(byte / 4)];
        fit.printed += text("%d\n", static_cast<int>((word >> (8 * (byte % 4))) & 255U));
    }

    std::vector<float> xs;
    std::vector<float> ys;
    float y_max = 0;
    for (std::size_t i = 0; i < weight.size(); ++i) {
        const float x = narrow(1.0 / wide(ratio_a[i] / norm_a));
        const float y = narrow(1.0 / wide(ratio_b[i] / norm_b));
        for (int repeat = 0; repeat < weight[i]; ++repeat) {
            xs.push_back(x);
            ys.push_back(y);
            y_max = y > y_max ? y : y_max;
        }
    }
    fit.coefficients = fit_parabola(xs, ys);
    xs.push_back(0.0F);
    ys.push_back(0.0F);
    for (int k = 1; k <= 101; ++k) {
        const auto [a, b, c] = fit.coefficients;
        if (a > 0 && !(-(b * b - 4.0F * a * c) / (4.0F * a) < 0)) {
            break;
        }
        ys.back() = narrow(k * 0.1 + wide(y_max));
        fit.coefficients = fit_parabola(xs, ys);
    }
    return fit;
}

std::vector<float> sample_curve(const std::array<float, 3>& coefficients, float ref_a, float ref_b) {
    const auto [a, b, c] = coefficients;
    std::vector<float> table;
    float m = 1024.0F;
    for (int i = 0; i < 200; ++i) {
        const float t = narrow(i / 100.0);
        const float x = (t * ref_a) * 0.0009765625F;
        const float y = a * x * x + b * x + c;
        const float g = y * 1024.0F / ref_b;
        m = g < m ? g : m;
        table.push_back(std::clamp(m, 0.0F, 8.0F));
    }
    return table;
}

const std::vector<std::array<double, 3>>& chart_srgb() {
    static const std::vector<std::array<double, 3>> chart = {
        {0.45098, 0.321569, 0.266667},  {0.760784, 0.588235, 0.509804}, {0.384314, 0.478431, 0.615686},
        {0.341176, 0.423529, 0.262745}, {0.521569, 0.501961, 0.694118}, {0.403922, 0.741176, 0.666667},
        {0.839216, 0.494118, 0.172549}, {0.313725, 0.356863, 0.65098},  {0.756863, 0.352941, 0.388235},
        {0.368627, 0.235294, 0.423529}, {0.615686, 0.737255, 0.25098},  {0.878431, 0.639216, 0.180392},
        {0.219608, 0.239216, 0.588235}, {0.27451, 0.580392, 0.286275},  {0.686275, 0.211765, 0.235294},
        {0.905882, 0.780392, 0.121569}, {0.733333, 0.337255, 0.584314}, {0.031373, 0.521569, 0.631373},
        {0.952941, 0.952941, 0.94902},  {0.784314, 0.784314, 0.784314}, {0.627451, 0.627451, 0.627451},
        {0.478431, 0.478431, 0.47451},  {0.333333, 0.333333, 0.333333}, {0.203922, 0.203922, 0.203922},
    };
    return chart;
}

PatchMeans patch_means(const std::vector<std::vector<int32_t>>& patches, std::size_t pixels) {
    PatchMeans means;
    for (const auto& patch : patches) {
        std::array<double, 3> sum{};
        for (std::size_t p = 0; p < pixels; ++p) {
            for (std::size_t k = 0; k < 3; ++k) {
                sum[k] += wide(static_cast<float>(patch[3 * p + k]) / 4095.0F);
            }
        }
        const auto count = static_cast<double>(pixels);
        means.push_back({narrow(sum[0] / count), narrow(sum[1] / count), narrow(sum[2] / count)});
    }
    return means;
}

MatrixFit fit_matrix(const PatchMeans& means, const std::vector<float>& weights, float lambda_scale) {
    MatrixFit fit;
    const std::size_t n = means.size();
    Matrix x, w(n, std::vector<float>(n));
    for (std::size_t i = 0; i < n; ++i) {
        x.push_back({means[i][0], means[i][1], means[i][2]});
        w[i][i] = weights[i];
    }
    const Matrix xw = mat_mul(w, x);
    const Matrix xt = mat_transpose(xw);
    Matrix p = mat_mul(xt, xw);
    for (std::size_t i = 0; i < 3; ++i) {
        p[i][i] += 1e-6F;
    }
    const Matrix p_inv = mat_inverse(p, fit.errors);
    if (p_inv.empty()) {
        fit.ccm = kIdentity;
        fit.q10 = fixed_point(fit.ccm);
        return fit;
    }
    const Matrix ones(3, std::vector<float>(1, 1.0F));
    for (std::size_t c = 0; c < 3; ++c) {
        Matrix y;
        for (std::size_t i = 0; i < n; ++i) {
            y.push_back({linear(chart_srgb()[i][c])});
        }
        const Matrix m = mat_mul(p_inv, mat_mul(xt, y));
        const Matrix u = mat_mul(p_inv, ones);
        const Matrix s = mat_mul(mat_transpose(y), mat_mul(xw, u));
        const Matrix q = mat_mul(mat_transpose(ones), u);
        float lambda = (1.0F - s[0][0]) / q[0][0];
        for (std::size_t k = 0; k < 3; ++k) {
            lambda *= lambda_scale;
            fit.ccm[3 * c + k] = m[k][0] + u[k][0] * lambda;
        }
    }
    floor_and_normalise(fit.ccm);
    fit.q10 = fixed_point(fit.ccm);
    return fit;
}

void adjust(const std::vector<RoiRgbMean>& measured, const std::vector<RoiRgbMean>& reference,
            std::vector<RoiRgbMean>& adjusted, uint32_t mode) {
    const bool greys_apart = measured.size() == 24 && (mode == 0 || mode == 2);
    fit_lines(measured, reference, adjusted, 0, greys_apart ? 18 : measured.size());
    if (greys_apart && mode == 2) {
        fit_lines(measured, reference, adjusted, 18, 24);
    }
    for (std::size_t k = 18; greys_apart && mode == 0 && k < 24; ++k) {
        transfer_lightness(measured[k], reference[k], adjusted[k]);
    }
}

Interpolated interpolate(std::vector<RoiRgbMean> measured, std::vector<RoiRgbMean> reference,
                         const GrayInterpSettings& settings) {
    Interpolated out;
    const std::size_t count = measured.size();
    out.out_count = static_cast<uint32_t>(count);
    out.measured = std::move(measured);
    out.reference = std::move(reference);
    if (settings.max_add == 0) {
        return out;
    }
    std::vector<Entry> kept;
    for (std::size_t i = 0; i < count; ++i) {
        const Entry entry = make_entry(out.measured[i], out.reference[i]);
        const float limit = entry.measured_mean / 255.0F * static_cast<float>(settings.gray_tolerance);
        if (!(entry.measured_deviation > std::max(3.0F, limit))) {
            kept.push_back(entry);
        }
    }
    if (kept.size() < 2) {
        out.printed = "No available reference gray point pairs\n";
        out.result = -1;
        return out;
    }
    const std::size_t n = kept.size();
    for (std::size_t pass = 1; pass < n; ++pass) {
        for (std::size_t i = 0; i + pass < n; ++i) {
            if (kept[i].measured_mean > kept[i + 1].measured_mean) {
                std::swap(kept[i], kept[i + 1]);
            }
        }
    }
    for (std::size_t i = 0; i + 1 < n; ++i) {
        kept[i].gap = std::fabs(kept[i].measured_mean - kept[i + 1].measured_mean);
    }

    std::vector<int64_t> inserts(n);
    int64_t step = settings.step;
    int64_t sum = 0;
    for (int widenings = 0; widenings <= 30; ++widenings, step += 2) {
        sum = 0;
        for (std::size_t i = 0; i + 1 < n; ++i) {
            const int64_t gap = x86_int32(wide(kept[i].gap));
            const int64_t threshold = x86_int32(wide(static_cast<float>(step) * settings.step_fraction));
            inserts[i] = gap < 0 ? 0 : gap / step + (gap % step > threshold ? 1 : 0);
            sum += inserts[i];
        }
        if (sum <= settings.max_add) {
            break;
        }
    }
    if (sum > settings.max_add) {
        out.printed = "ERROR\n";
        return out;
    }
    for (std::size_t i = 0; i + 1 < n; ++i) {
        const int64_t k = inserts[i];
        for (int64_t j = 1; j <= k; ++j) {
            kept.push_back(make_entry(between(kept[i].measured, kept[i + 1].measured, j, k),
                                      between(kept[i].reference, kept[i + 1].reference, j, k)));
        }
    }
    for (std::size_t i = n; i < kept.size() && out.measured.size() < count + settings.max_add; ++i) {
        out.measured.push_back(kept[i].measured);
        out.reference.push_back(kept[i].reference);
    }
    out.out_count = static_cast<uint32_t>(out.measured.size());
    return out;
}

Patches lab_from_srgb(Patches patches, int32_t selector) {
    for (auto& patch : patches) {
        for (double& value : patch) {
            value = wide(linear(value));
        }
    }
    return lab_from_linear_rgb(patches, selector);
}

Patches lab_from_linear_rgb(Patches patches, int32_t selector) {
    for (auto& patch : patches) {
        const std::vector<double> xyz = linear_rgb_to_xyz(patch[0], patch[1], patch[2], selector);
        patch = xyz_to_lab(xyz[0], xyz[1], xyz[2], selector);
    }
    return patches;
}

double hue_saturation_objective(const Problem& problem, double hue, double saturation) {
    return colour_error(problem, hue_saturation_matrix(hue, saturation, 1.0));
}

double ccm_objective(const Problem& problem, const std::array<double, 9>& x) {
    Rows<double> matrix = {{x[0], x[1], x[2]}, {x[3], x[4], x[5]}, {x[6], x[7], x[8]}};
    normalise_ccm(matrix);
    return colour_error(problem, matrix);
}

Optimum optimise(const Problem& problem, float final_saturation) {
    Optimum failed;
    failed.result = -1;
    const Patches lab = lab_from_linear_rgb(problem.linear_rgb, problem.selector);
    const double ratio = colour_difference_stats(lab, problem.reference_lab, problem.weights).mean_chroma_ratio;
    Optimum optimum;
    optimum.start_saturation = 100.0 / ratio;
    if (!std::isfinite(optimum.start_saturation)) {
        return failed;
    }
    std::vector<double> x = {0.0, optimum.start_saturation};
    if (!fit_hue_saturation(problem, x, optimum.printed)) {
        return failed;
    }
    Rows<double> matrix = hue_saturation_matrix(x[0], x[1], 1.0);
    if (!fit_ccm(problem, matrix, optimum.printed)) {
        return failed;
    }
    raise_diagonal(matrix);
    normalise_ccm(matrix);
    matrix = mat_mul(saturation_matrix(wide(final_saturation)), matrix);
    for (std::size_t k = 0; k < 9; ++k) {
        optimum.matrix.ccm[k] = narrow(matrix[k / 3][k % 3]);
    }
    optimum.matrix.q10 = fixed_point(optimum.matrix.ccm);
    return optimum;
}

}  // namespace cali::reference
