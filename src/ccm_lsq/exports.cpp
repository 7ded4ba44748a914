#include <algorithm>

#include "boundary/console.h"
#include "boundary/export_call.h"
#include "boundary/frame_arguments.h"
#include "boundary/module_state.h"
#include "cali/cali.h"
#include "chart/chart_measure.h"
#include "chart/matrix_fit.h"
#include "pictures/raw_picture.h"

namespace cali::ccm_lsq {
namespace {

constexpr int32_t kChannels3 = 3;

/// The first generation's exports on a raw frame.
struct ChartArguments {
    uint32_t** frame;
    int32_t width;
    int32_t height;
    int32_t pattern;
    MeshGrids grids;
    BlackLevel black_level;
    const RoiRect* given_windows;
    const float* weights;
    float* ccm;
    int32_t* ccm_q10;
};

/// What they say.
struct Chart {
    ConstRawFrame frame;
    ChartWindows windows;
    FrontEnd front_end;  ///< without white balance
};

Chart checked_chart(ArgumentCheck& check, const ChartArguments& given) {
    Chart chart{
        checked_shaded_frame(check, "frame", given.frame, given.width, given.height, given.pattern, given.grids),
        {},
        {}};
    check.pointer("weights", given.weights);
    check.pointer("ccm", given.ccm);
    check.pointer("ccm_q10", given.ccm_q10);
    if (check.ok()) {
        chart.windows = checked_windows(check, given.given_windows, given.width, given.height);
    }
    chart.front_end.black_level = given.black_level;
    chart.front_end.mesh = given.grids;
    return chart;
}

/// Writes the matrix of what the stages give; with the debug switch on, first the picture.
void fit(const Chart& chart, const ChartArguments& given, float lambda_scale) {
    if (module_state().debug.ccm_dump) {
        write_raw_picture(chart.frame, chart.front_end);
    }
    const ChartMeans means = measure_chart(chart.frame, chart.front_end, chart.windows);
    const ColourMatrix matrix = fit_chart(means, {given.weights, kChartPatches}, lambda_scale);
    std::ranges::copy(matrix.value, given.ccm);
    std::ranges::copy(matrix.q10, given.ccm_q10);
}

/// Mean red, green and blue of the greys that balance.
std::array<float, 3> grey_means(const ChartMeans& means) {
    std::array<double, 3> sum{};
    for (std::size_t i = kFirstBalanceGrey; i <= kLastBalanceGrey; ++i) {
        for (std::size_t c = 0; c < sum.size(); ++c) {
            sum[c] += means[i][c];
        }
    }
    constexpr double kCount = kLastBalanceGrey - kFirstBalanceGrey + 1;
    const auto mean = [&](std::size_t c) { return static_cast<float>(sum[c] / kCount); };
    return {mean(0), mean(1), mean(2)};
}

PatchMeans patch_means(const int32_t* const* patches, int32_t count, std::size_t pixels) {
    PatchMeans means;
    for (int32_t i = 0; i < count; ++i) {
        std::array<double, 3> sum{};
        for (std::size_t p = 0; p < pixels; ++p) {
            for (std::size_t c = 0; c < sum.size(); ++c) {
                sum[c] += static_cast<double>(static_cast<float>(patches[i][p * 3 + c]) / 4095.0F);
            }
        }
        const auto n = static_cast<double>(pixels);
        means.push_back(
            {static_cast<float>(sum[0] / n), static_cast<float>(sum[1] / n), static_cast<float>(sum[2] / n)});
    }
    return means;
}

}  // namespace
}  // namespace cali::ccm_lsq

using namespace cali;

int32_t cali_ccm_calc(const int32_t* const* patches, const void* /*reserved*/, int32_t patch_count, uint32_t patch_w,
                      uint32_t patch_h, int32_t channels, float lambda_scale, const float* weights, float* ccm,
                      int32_t* ccm_q10) {
    return run_export([&] {
        const uint64_t pixels = uint64_t{patch_w} * patch_h;
        const bool counts = patch_count >= 1 && patch_count <= static_cast<int32_t>(kChartPatches) &&
                            channels == ccm_lsq::kChannels3 && pixels <= INT32_MAX;
        if (!counts || patches == nullptr || weights == nullptr || ccm == nullptr || ccm_q10 == nullptr ||
            (pixels != 0 &&
             std::any_of(patches, patches + patch_count, [](const int32_t* p) { return p == nullptr; }))) {
            return kRejected;
        }
        const ColourMatrix matrix = fit_matrix(ccm_lsq::patch_means(patches, patch_count, pixels),
                                               {weights, static_cast<std::size_t>(patch_count)}, lambda_scale);
        std::ranges::copy(matrix.value, ccm);
        std::ranges::copy(matrix.q10, ccm_q10);
        return kOk;
    });
}

int32_t cali_isp_ccm_pipe_calc(uint32_t** frame, int32_t width, int32_t height, int32_t pattern, int32_t grid_cols,
                               int32_t grid_rows, const uint32_t* red_grid, const uint32_t* green_grid,
                               const uint32_t* blue_grid, uint32_t offset_rr, uint32_t offset_gr, uint32_t offset_gb,
                               uint32_t offset_bb, float gain_rr, float gain_gr, float gain_gb, float gain_bb,
                               uint16_t gain_r, uint16_t /*gain_g*/, uint16_t gain_b, const RoiRect* chart_windows,
                               float lambda_scale, const float* weights, float* ccm, int32_t* ccm_q10) {
    return run_export([&] {
        const ccm_lsq::ChartArguments given{frame,
                                            width,
                                            height,
                                            pattern,
                                            {grid_cols, grid_rows, red_grid, green_grid, blue_grid},
                                            BlackLevel::from_red_first({offset_rr, offset_gr, offset_gb, offset_bb},
                                                                       {gain_rr, gain_gr, gain_gb, gain_bb}),
                                            chart_windows,
                                            weights,
                                            ccm,
                                            ccm_q10};
        ArgumentCheck check(Family::ccm, "cali_isp_ccm_pipe_calc");
        ccm_lsq::Chart chart = ccm_lsq::checked_chart(check, given);
        if (!check.ok()) {
            return kRejected;
        }
        PrintedProgress(height).print_whole();
        chart.front_end.wb_gains = WbGains{gain_r, gain_b};
        ccm_lsq::fit(chart, given, lambda_scale);
        return kOk;
    });
}

int32_t cali_isp_awb_ccm(uint32_t** frame, int32_t width, int32_t height, int32_t pattern, int32_t grid_cols,
                         int32_t grid_rows, const uint32_t* red_grid, const uint32_t* green_grid,
                         const uint32_t* blue_grid, uint32_t offset_rr, uint32_t offset_gr, uint32_t offset_gb,
                         uint32_t offset_bb, float gain_rr, float gain_gr, float gain_gb, float gain_bb,
                         const RoiRect* chart_windows, float lambda_scale, const float* weights, uint16_t* gain_r,
                         uint16_t* gain_g, uint16_t* gain_b, float* ccm, int32_t* ccm_q10) {
    return run_export([&] {
        const ccm_lsq::ChartArguments given{frame,
                                            width,
                                            height,
                                            pattern,
                                            {grid_cols, grid_rows, red_grid, green_grid, blue_grid},
                                            BlackLevel::from_red_first({offset_rr, offset_gr, offset_gb, offset_bb},
                                                                       {gain_rr, gain_gr, gain_gb, gain_bb}),
                                            chart_windows,
                                            weights,
                                            ccm,
                                            ccm_q10};
        ArgumentCheck check(Family::ccm, "cali_isp_awb_ccm");
        check.pointer("gain_r", gain_r);
        check.pointer("gain_g", gain_g);
        check.pointer("gain_b", gain_b);
        ccm_lsq::Chart chart = ccm_lsq::checked_chart(check, given);
        if (!check.ok()) {
            return kRejected;
        }
        PrintedProgress(height).print_whole();
        const auto [red, green, blue] = ccm_lsq::grey_means(measure_chart(chart.frame, chart.front_end, chart.windows));
        const uint16_t red_gain = wb_gain_register(green, red);
        const uint16_t blue_gain = wb_gain_register(green, blue);
        chart.front_end.wb_gains = WbGains{red_gain, blue_gain};
        ccm_lsq::fit(chart, given, lambda_scale);
        // Last, so that a call that runs out of memory shows nothing.
        warn_of_exposure(green);
        *gain_r = red_gain;
        *gain_g = 1024;
        *gain_b = blue_gain;
        return kOk;
    });
}
