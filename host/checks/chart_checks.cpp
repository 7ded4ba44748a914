#include "checks/chart_checks.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/text.h"
#include "base/uncertainty.h"
#include "calibrations/chart_geometry.h"
#include "checks/window_statistics.h"
#include "library/front_end.h"

namespace cali::host {
namespace {

constexpr double kLeastTurned = 0.5;  ///< score of a chart that is one, but not upright
constexpr double kLeastSamples = 16;  ///< of a channel in a window whose deviation means something

std::string patch_name(std::size_t patch) { return text("patch %zu", patch + 1); }

/// Standard error of the mean over patches.
std::optional<double> error_of_mean(const std::vector<double>& of) {
    const auto count = static_cast<double>(of.size());
    if (of.size() < 2) {
        return {};
    }
    double sum = 0;
    double squares = 0;
    for (const double value : of) {
        sum += value;
        squares += value * value;
    }
    return std::sqrt(std::max(squares - sum * sum / count, 0.0) / (count - 1) / count);
}

/// % of the window's samples at the white level.
double clipped_share(const Capture& chart, const RoiRect& window) {
    const uint32_t full_scale = full_scale_code(chart.sensor);
    double clipped = 0;
    for (int32_t y = window.y; y < window.y + window.h; ++y) {
        const uint32_t* const row = chart.view().row(y) + window.x;
        clipped += static_cast<double>(
            std::count_if(row, row + window.w, [=](uint32_t sample) { return sample >= full_scale; }));
    }
    return clipped * 100 / (static_cast<double>(window.w) * window.h);
}

/// Every patch in which something is clipped, the limit being that of the worst.
void check_clipping(const Capture& chart, const ChartWindows& windows, Judge& judge) {
    double worst = 0;
    std::string patches;
    for (std::size_t patch = 0; patch < windows.size(); ++patch) {
        const double share = clipped_share(chart, windows[patch]);
        worst = std::max(worst, share);
        if (share > 0) {
            patches += (patches.empty() ? "patch " : ", ") + std::to_string(patch + 1);
        }
    }
    judge.hold(Check::chart_clipped, worst, patches);
}

using PatchStatistics = std::array<Channels<ChannelStatistics>, kChartPatches>;

std::vector<Colour> colours_of(const PatchStatistics& patches) {
    std::vector<Colour> colours;
    for (const Channels<ChannelStatistics>& patch : patches) {
        colours.push_back({patch[kRR].mean, (patch[kGR].mean + patch[kGB].mean) / 2, patch[kBB].mean});
    }
    return colours;
}

Severity check_levels(const std::vector<Colour>& colours, Judge& judge) {
    double brightest = 0;
    double darkest = std::numeric_limits<double>::infinity();
    std::string place;
    for (std::size_t patch = 0; patch < colours.size(); ++patch) {
        brightest = std::max(brightest, colours[patch][1]);
        for (std::size_t c = 0; c < colours[patch].size(); ++c) {
            if (colours[patch][c] < darkest) {
                darkest = colours[patch][c];
                place = patch_name(patch) + ", " + kColourKeys[c];
            }
        }
    }
    const Severity severity = judge.hold(Check::chart_level, brightest);
    if (severity != Severity::fail) {
        judge.hold(Check::chart_dark, darkest, place);
    }
    return severity;
}

void check_windows(const PatchStatistics& patches, double least_noise, Judge& judge) {
    double worst = 0;
    std::size_t place = 0;
    for (std::size_t patch = 0; patch < patches.size(); ++patch) {
        for (const ChannelStatistics& channel : patches[patch]) {
            const double ratio = channel.deviation / std::max(channel.noise, least_noise);
            if (channel.samples >= kLeastSamples && ratio > worst) {
                worst = ratio;
                place = patch;
            }
        }
    }
    if (worst > 0) {
        judge.hold(Check::chart_window_noise, worst, patch_name(place));
    }
}

/// Green of each grey over that of the next darker one.
void check_greys(const std::vector<Colour>& colours, Judge& judge) {
    double least = std::numeric_limits<double>::infinity();
    std::size_t place = kFirstGrey;
    for (std::size_t patch = kFirstGrey; patch + 1 < kChartPatches; ++patch) {
        if (const double ratio = colours[patch][1] / colours[patch + 1][1]; ratio < least) {
            least = ratio;
            place = patch;
        }
    }
    judge.hold(Check::chart_greys, least, text("patches %zu and %zu", place + 1, place + 2));
}

/// How far the grey farthest from neutral is from it, in % of its green; black is left out, and what is clipped.
void check_neutral(const std::vector<Colour>& measured, Judge& judge) {
    constexpr double kClipped = 0.99;
    double worst = 0;
    std::string place;
    for (std::size_t patch = kFirstGrey; patch <= kLastBalanceGrey; ++patch) {
        const Colour& grey = measured[patch];
        for (const std::size_t c : {0U, 2U}) {
            const double difference = std::abs(grey[c] / grey[1] - 1) * 100;
            if (difference > worst && *std::ranges::max_element(grey) < kClipped) {
                worst = difference;
                place = patch_name(patch) + ", " + kColourKeys[c];
            }
        }
    }
    judge.hold(Check::chart_neutral, worst, place);
}

/// Diagonal entries at a limit of the fit. The closed forms raise an entry below 1 to it and then divide the row by its
/// sum, which leaves it below 1; the one to measured colours has no limits.
int limited_entries(const MatrixCalibration& matrix) {
    if (matrix.settings.method == MatrixMethod::measured) {
        return 0;
    }
    constexpr double kMargin = 1e-4;
    constexpr double kMostOptimised = 2.5;
    const bool optimised = matrix.settings.method == MatrixMethod::optimised;
    int limited = 0;
    for (const std::size_t entry : {0U, 4U, 8U}) {
        const auto value = static_cast<double>(matrix.matrix.value[entry]);
        const bool low = optimised ? value < 1 + kMargin : value < 1 - kMargin;
        limited += low || (optimised && value > kMostOptimised - kMargin) ? 1 : 0;
    }
    return limited;
}

}  // namespace

void check_chart(const Capture& chart, const TuningValues& values, const ChartWindows& windows, Judge& judge) {
    require_shadeable(chart);
    check_clipping(chart, windows, judge);
    FrontEnd front_end = front_end_of(values);
    front_end.wb_gains.reset();
    FrontEndRows rows(chart.view(), front_end);
    PatchStatistics patches;
    for (std::size_t patch = 0; patch < windows.size(); ++patch) {
        patches[patch] = measure_window(chart.view(), rows, windows[patch]);
    }
    const std::vector<Colour> colours = colours_of(patches);
    if (check_levels(colours, judge) == Severity::fail) {
        return;
    }
    check_windows(patches, code_step(chart.sensor.bits) / 2, judge);
    const Orientation orientation = find_orientation(colours);
    if (orientation.index != 0 && orientation.score >= kLeastTurned) {
        judge.say(Check::chart_orientation, Severity::fail,
                  text("the chart is %s, expected upright with dark skin top left: check the windows or corners",
                       orientation.name));
        return;
    }
    if (judge.hold(Check::chart_orientation, orientation.score) == Severity::fail) {
        return;
    }
    check_greys(colours, judge);
}

void check_chart_light(std::optional<double> chart_k, std::optional<double> values_k, Judge& judge) {
    if (chart_k && values_k) {
        judge.hold(Check::chart_light, std::abs(1e6 / *chart_k - 1e6 / *values_k),
                   text("%.0f K behind values of %.0f K", *chart_k, *values_k));
    }
}

void check_matrix(const MatrixCalibration& matrix, std::optional<double> leave_one_out, Judge& judge) {
    constexpr std::array<float, 9> kIdentity = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    judge.hold(Check::chart_identity, matrix.matrix.value == kIdentity ? 1 : 0);
    // The joint method's gains are those of its greys.
    if (matrix.settings.method != MatrixMethod::joint) {
        check_neutral(matrix.measured, judge);
    }
    const DifferenceSummary& after = matrix.after.de2000;
    judge.hold(Check::chart_mean, after.mean, "", error_of_mean(after.per_patch));
    judge.hold(Check::chart_worst, after.worst, patch_name(after.worst_patch));
    if (leave_one_out) {
        std::vector<double> growth = matrix.left_out;
        for (std::size_t i = 0; i < std::min(growth.size(), after.per_patch.size()); ++i) {
            growth[i] -= after.per_patch[i];
        }
        judge.hold(Check::chart_leave_one_out, *leave_one_out - after.mean, "", error_of_mean(growth));
    }
    judge.hold(Check::chart_diagonal, limited_entries(matrix));
    double amplification = 0;
    double uncertainty = 0;
    std::size_t colour = 0;
    for (std::size_t row = 0; row < 3; ++row) {
        const float* const entry = matrix.matrix.value.data() + 3 * row;
        const double root =
            std::hypot(static_cast<double>(entry[0]), static_cast<double>(entry[1]), static_cast<double>(entry[2]));
        if (root > amplification) {
            amplification = root;
            colour = row;
            const double* const own = matrix.uncertainty.data() + 3 * row;
            uncertainty = std::hypot(static_cast<double>(entry[0]) * own[0], static_cast<double>(entry[1]) * own[1],
                                     static_cast<double>(entry[2]) * own[2]) /
                          root;
        }
    }
    judge.hold(Check::chart_amplification, amplification, kColourKeys[colour], known(uncertainty));
}

}  // namespace cali::host
