#include "calibrations/colour_matrix.h"

#include <algorithm>
#include <cstdio>

#include "base/choice.h"
#include "base/error.h"
#include "calibrations/chart_geometry.h"
#include "chart/chart_windows.h"
#include "core/channel.h"
#include "math/colour_space.h"

namespace cali::host {
namespace {

constexpr std::array<const char*, 3> kMethodNames = {"lsq", "optimised", "joint"};
constexpr double kLeastScore = 0.5;     ///< of the chart's best orientation
constexpr double kMostClipped = 0.01;   ///< share of the windows' samples
constexpr double kLeastLight = 200;     ///< codes of the brightest patch's green above black
constexpr std::size_t kFirstGrey = 19;  ///< between white and black
constexpr std::size_t kLastGrey = 22;
constexpr double kFullScale = kLibraryFullScale;

using Windows = std::array<RoiRect, kChartPatches>;

/// Calls `use(colour, sample)` for every sample of a window.
template <typename Use>
void for_each_sample(const std::vector<uint32_t>& samples, const Capture& geometry, const RoiRect& window, Use use) {
    for (int y = window.y; y < window.y + window.h; ++y) {
        for (int x = window.x; x < window.x + window.w; ++x) {
            const Channel channel = bayer_channel(geometry.pattern, static_cast<uint32_t>(y), static_cast<uint32_t>(x));
            use(colour_of(channel), samples[static_cast<std::size_t>(y) * static_cast<std::size_t>(geometry.width) +
                                            static_cast<std::size_t>(x)]);
        }
    }
}

/// Of the windows' samples, 1 at full scale.
std::vector<Colour> window_means(const std::vector<uint32_t>& samples, const Capture& geometry,
                                 const Windows& windows) {
    std::vector<Colour> means;
    means.reserve(windows.size());
    for (const RoiRect& window : windows) {
        Colour sum{};
        Colour count{};
        for_each_sample(samples, geometry, window, [&](std::size_t colour, uint32_t sample) {
            sum[colour] += sample;
            count[colour] += kFullScale;
        });
        means.push_back({sum[0] / count[0], sum[1] / count[1], sum[2] / count[2]});
    }
    return means;
}

double clipped_share(const Capture& chart, const Windows& windows) {
    const uint32_t full_scale = full_scale_code(chart);
    double clipped = 0;
    double count = 0;
    for (const RoiRect& window : windows) {
        for_each_sample(chart.samples, chart, window, [&](std::size_t /*colour*/, uint32_t sample) {
            clipped += sample >= full_scale ? 1 : 0;
            count += 1;
        });
    }
    return clipped / count;
}

std::vector<Colour> reference_colours() {
    std::vector<Colour> linear;
    linear.reserve(kChartPatches);
    for (const auto& encoded : kChartSrgb24) {
        linear.push_back({static_cast<double>(srgb_decode(encoded[0])), static_cast<double>(srgb_decode(encoded[1])),
                          static_cast<double>(srgb_decode(encoded[2]))});
    }
    return linear;
}

std::vector<Colour> to_lab(const std::vector<Colour>& linear, int white) {
    std::vector<Colour> lab;
    lab.reserve(linear.size());
    for (const Colour& colour : linear) {
        lab.push_back(lab_of_linear_rgb(colour, white_point(white)));
    }
    return lab;
}

ChartDifferences differences(const std::vector<Colour>& colours, const std::vector<Colour>& reference, int white) {
    const std::vector<Colour> lab = to_lab(colours, white);
    const std::vector<Colour> wanted = to_lab(reference, white);
    return {summarise(lab, wanted, delta_e_1976), summarise(lab, wanted, delta_e_2000)};
}

std::vector<Colour> apply_matrix(const std::array<float, 9>& matrix, const std::vector<Colour>& colours, int& limited) {
    std::vector<Colour> corrected;
    corrected.reserve(colours.size());
    for (const Colour& in : colours) {
        Colour out{};
        for (std::size_t r = 0; r < 3; ++r) {
            for (std::size_t c = 0; c < 3; ++c) {
                out[r] += static_cast<double>(matrix[3 * r + c]) * in[c];
            }
            limited += out[r] < 0 || out[r] > 1 ? 1 : 0;
            out[r] = std::clamp(out[r], 0.0, 1.0);
        }
        corrected.push_back(out);
    }
    return corrected;
}

double grey_sum(const std::vector<Colour>& colours, std::size_t colour) {
    double sum = 0;
    for (std::size_t i = kFirstGrey; i <= kLastGrey; ++i) {
        sum += colours[i][colour];
    }
    return sum;
}

void require_usable(const Capture& chart, const Windows& windows, const std::vector<Colour>& measured) {
    char text[160];
    const double clipped = clipped_share(chart, windows);
    if (clipped > kMostClipped) {
        (void)std::snprintf(text, sizeof text, ": %.1f %% of the chart's samples are clipped, expected at most %.0f %%",
                            clipped * 100, kMostClipped * 100);
        throw CalibrationError(chart.file.string() + text);
    }
    // Whichever patch that is: the chart may be the wrong way round.
    double brightest = 0;
    for (const Colour& colour : measured) {
        brightest = std::max(brightest, colour[1] * kFullScale);
    }
    if (brightest < kLeastLight) {
        (void)std::snprintf(
            text, sizeof text,
            ": too dark: the brightest patch stands %.0f codes above black in green, expected at least %.0f of 4095",
            brightest, kLeastLight);
        throw CalibrationError(chart.file.string() + text);
    }
    const Orientation orientation = find_orientation(measured);
    if (orientation.score < kLeastScore) {
        (void)std::snprintf(
            text, sizeof text,
            ": shows no 24-patch chart in its windows: their colours correlate with its by %.2f at best, "
            "expected %.1f or more",
            orientation.score, kLeastScore);
        throw CalibrationError(chart.file.string() + text);
    }
    if (orientation.index != 0) {
        throw CalibrationError(chart.file.string() + ": the chart is " + orientation.name +
                               ", expected upright with dark skin top left: check the windows or corners");
    }
}

ChartFrontEnd exposed(ChartFrontEnd front_end, double factor) {
    for (float& gain : front_end.black_level.gain) {
        gain *= static_cast<float>(factor);
    }
    return front_end;
}

int fit_lsq(Capture& chart, const ChartFrontEnd& front_end, const Windows& windows, MatrixCalibration& result) {
    uint32_t* frame = chart.samples.data();
    const auto& [offset, gain] = front_end.black_level;
    const ShadingGrids& grids = front_end.grids;
    const std::array<float, kChartPatches> weights = [] {
        std::array<float, kChartPatches> ones{};
        ones.fill(1.0F);
        return ones;
    }();
    if (result.settings.method == MatrixMethod::lsq) {
        return cali_isp_ccm_pipe_calc(&frame, chart.width, chart.height, chart.pattern, grids.cols, grids.rows,
                                      grids.red.data(), grids.green.data(), grids.blue.data(), offset[kRR], offset[kGR],
                                      offset[kGB], offset[kBB], gain[kRR], gain[kGR], gain[kGB], gain[kBB],
                                      result.gain_red, 1024, result.gain_blue, windows.data(), 1.0F, weights.data(),
                                      result.matrix.data(), result.matrix_q10.data());
    }
    uint16_t green = 1024;
    return cali_isp_awb_ccm(&frame, chart.width, chart.height, chart.pattern, grids.cols, grids.rows, grids.red.data(),
                            grids.green.data(), grids.blue.data(), offset[kRR], offset[kGR], offset[kGB], offset[kBB],
                            gain[kRR], gain[kGR], gain[kGB], gain[kBB], windows.data(), 1.0F, weights.data(),
                            &result.gain_red, &green, &result.gain_blue, result.matrix.data(),
                            result.matrix_q10.data());
}

int fit_optimised(Capture& chart, const ChartFrontEnd& front_end, const Windows& windows, MatrixCalibration& result) {
    constexpr int kMostNodes = 37;
    const auto& [offset, gain] = front_end.black_level;
    const ShadingGrids& grids = front_end.grids;
    if (grids.cols > kMostNodes || grids.rows > kMostNodes) {
        throw InputError(chart.file.string() + ": a mesh of " + std::to_string(grids.cols) + " x " +
                         std::to_string(grids.rows) + " nodes, the optimised method takes at most 37 x 37");
    }
    CcmPreprocess preprocess{};
    for (std::size_t c = 0; c < offset.size(); ++c) {
        preprocess.offset[c] = static_cast<int32_t>(offset[c]);
        preprocess.gain[c] = gain[c];
    }
    std::vector<CcmLensShading> shading(1);  // large
    const bool shaded = !front_end.flat_field.empty();
    shading[0].mode = shaded ? 1 : 0;
    if (shaded) {
        shading[0].grid_cols = grids.cols;
        shading[0].grid_rows = grids.rows;
        std::ranges::copy(grids.red, shading[0].red_grid);
        std::ranges::copy(grids.green, shading[0].green_grid);
        std::ranges::copy(grids.blue, shading[0].blue_grid);
    }
    std::array<float, 1 + kChartPatches> saturation_and_weights{};
    saturation_and_weights.fill(1.0F);
    saturation_and_weights[0] = result.settings.saturation;
    return cali_isp_ccm_pipe_calc_v2(chart.samples.data(), 0, windows.data(), nullptr, chart.width, chart.height,
                                     chart.pattern, &preprocess, shading.data(), result.gain_red, result.gain_blue,
                                     saturation_and_weights.data(), 0, result.matrix.data(), result.matrix_q10.data(),
                                     result.settings.white_point, 0);
}

}  // namespace

const char* matrix_method_name(MatrixMethod method) { return kMethodNames[static_cast<std::size_t>(method)]; }

MatrixMethod parse_matrix_method(const std::string& text, const std::string& where) {
    return parse_choice<MatrixMethod>(kMethodNames, text, where);
}

int parse_white_point(const std::string& text, const std::string& where) {
    constexpr std::array<const char*, 2> kNames = {"D65", "D50"};
    constexpr std::array<int, 2> kSelectors = {kD65, 50};
    return kSelectors[parse_choice<std::size_t>(kNames, text, where)];
}

std::array<RoiRect, kChartPatches> chart_windows(const ChartPlace& place, const Capture& chart) {
    const Windows windows = place.windows   ? *place.windows
                            : place.corners ? windows_from_corners(*place.corners)
                                            : windows_of_full_frame(chart.width, chart.height);
    for (std::size_t i = 0; i < windows.size(); ++i) {
        const RoiRect& window = windows[i];
        if (!window_fits(window, chart.width, chart.height)) {
            throw InputError(chart.file.string() + ": window " + std::to_string(i + 1) + " of the chart, [" +
                             std::to_string(window.x) + ", " + std::to_string(window.y) + ", " +
                             std::to_string(window.w) + ", " + std::to_string(window.h) +
                             "], expected 2 x 2 or more inside the frame of " + std::to_string(chart.width) + " x " +
                             std::to_string(chart.height));
        }
    }
    return windows;
}

MatrixCalibration calibrate_matrix(Capture& chart, const ChartFrontEnd& front_end, const MatrixSettings& settings,
                                   const LibraryOutput& output) {
    const Windows windows = chart_windows(settings.place, chart);
    MatrixCalibration result;
    result.file = chart.file;
    result.settings = settings;
    result.flat_field = front_end.flat_field;
    result.gain_red = front_end.white_balance.red;
    result.gain_blue = front_end.white_balance.blue;

    // The exports read the chart's own samples: a copy goes through the stages that modify theirs.
    const auto measure = [&](const ChartFrontEnd& values, const WhiteBalance& white_balance) {
        Capture copy = chart;
        return window_means(apply_front_end(copy, values.black_level, values.grids, white_balance, output), chart,
                            windows);
    };
    const std::vector<Colour> raw = measure(front_end, WhiteBalance{});
    require_usable(chart, windows, raw);
    result.reference = reference_colours();
    result.exposure = grey_sum(result.reference, 1) / grey_sum(raw, 1);
    const ChartFrontEnd normalised = exposed(front_end, result.exposure);

    const bool optimised = settings.method == MatrixMethod::optimised;
    const char* const name = optimised                              ? "cali_isp_ccm_pipe_calc_v2"
                             : settings.method == MatrixMethod::lsq ? "cali_isp_ccm_pipe_calc"
                                                                    : "cali_isp_awb_ccm";
    const int status = output.call(name, [&] {
        return optimised ? fit_optimised(chart, normalised, windows, result)
                         : fit_lsq(chart, normalised, windows, result);
    });
    require_accepted(status, name, chart.file);

    WhiteBalance in_force;
    in_force.red = result.gain_red;
    in_force.blue = result.gain_blue;
    result.measured = measure(normalised, in_force);
    result.corrected = apply_matrix(result.matrix, result.measured, result.limited);
    result.before = differences(result.measured, result.reference, settings.white_point);
    result.after = differences(result.corrected, result.reference, settings.white_point);
    return result;
}

void print_matrices(const std::vector<MatrixCalibration>& results) {
    for (const MatrixCalibration& result : results) {
        std::printf("Colour matrix: %s, method %s, white D%d, exposure x %.3f, gains %.4f and %.4f\n",
                    result.file.filename().string().c_str(), matrix_method_name(result.settings.method),
                    result.settings.white_point, result.exposure, result.gain_red / 1024.0, result.gain_blue / 1024.0);
        for (std::size_t r = 0; r < 9; r += 3) {
            std::printf("  %9.5f %9.5f %9.5f   %6d %6d %6d\n", static_cast<double>(result.matrix[r]),
                        static_cast<double>(result.matrix[r + 1]), static_cast<double>(result.matrix[r + 2]),
                        result.matrix_q10[r], result.matrix_q10[r + 1], result.matrix_q10[r + 2]);
        }
        std::printf("  %-12s %14s %14s %16s %16s\n", "", "mean dE*ab", "worst dE*ab", "mean dE2000", "worst dE2000");
        const auto line = [](const char* name, const ChartDifferences& differences) {
            std::printf("  %-12s %14.2f %9.2f (%2zu) %16.2f %11.2f (%2zu)\n", name, differences.de76.mean,
                        differences.de76.worst, differences.de76.worst_patch + 1, differences.de2000.mean,
                        differences.de2000.worst, differences.de2000.worst_patch + 1);
        };
        line("before", result.before);
        line("after", result.after);
    }
}

}  // namespace cali::host
