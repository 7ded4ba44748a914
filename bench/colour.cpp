#include <algorithm>
#include <numeric>

#include "cali/cali.h"
#include "ccm_optimised/objective.h"
#include "workload.h"

namespace cali::bench {
namespace {

constexpr int kEvaluations = 1000;

ccm_optimised::Problem fit_input() {
    std::vector<uint32_t> identity(4096);
    std::iota(identity.begin(), identity.end(), 0U);
    ccm_optimised::Problem problem{{}, {},  ccm_optimised::ToneCurve(identity), ccm_optimised::ToneCurve(identity),
                                   {}, kD65};
    for (std::size_t i = 0; i < kChartPatches; ++i) {
        const Colour& encoded = kChartSrgb24[i];
        problem.reference_lab[i] = srgb_to_lab(encoded, kD65);
        problem.linear_rgb[i] = {0.7 * encoded[0] * encoded[0] + 0.1 * encoded[1],
                                 0.8 * encoded[1] * encoded[1] + 0.05 * encoded[2],
                                 0.75 * encoded[2] * encoded[2] + 0.1 * encoded[1]};
        problem.weights[i] = 1;
    }
    return problem;
}

std::array<double, 9> matrix_of(int i) { return {1.5, -0.3, -0.2, -0.2, 1.4 + i * 1e-5, -0.2, 0.05, -0.5, 1.45}; }

/// Windows of `share` of the frame in all, one per cell.
std::array<RoiRect, kChartPatches> windows_of(double side_share) {
    std::array<RoiRect, kChartPatches> windows{};
    for (int i = 0; i < static_cast<int>(windows.size()); ++i) {
        const auto w = static_cast<int32_t>(kWidth / 6 * side_share) & ~1;
        const auto h = static_cast<int32_t>(kHeight / 4 * side_share) & ~1;
        const int32_t x = (i % 6 * kWidth / 6 + (kWidth / 6 - w) / 2) & ~1;
        const int32_t y = (i / 6 * kHeight / 4 + (kHeight / 4 - h) / 2) & ~1;
        windows[static_cast<std::size_t>(i)] = {x, y, w, h};
    }
    return windows;
}

}  // namespace

void register_colour() {
    Workload& load = Workload::get();
    static const ccm_optimised::Problem problem = fit_input();
    static volatile double sink = 0;  // results are wanted
    measure("fit: 1000 errors of a matrix", {}, [] {
        for (int i = 0; i < kEvaluations; ++i) {
            sink = sink + problem.colour_error(ccm_optimised::normalise_ccm(matrix_of(i)));
        }
    });

    static CcmLensShading shading{};
    shading.mode = 3;
    shading.grid_cols = kGridCols;
    shading.grid_rows = kGridRows;
    std::ranges::copy(load.red_grid, shading.red_grid);
    std::ranges::copy(load.green_grid, shading.green_grid);
    std::ranges::copy(load.blue_grid, shading.blue_grid);
    shading.center_x = kWidth / 2;
    shading.center_y = kHeight / 2;
    std::ranges::copy(load.radial, shading.radial_tables);
    static const CcmPreprocess preprocess{{60, 60, 60, 60}, {1.01F, 1.01F, 1.01F, 1.01F}};
    // Black windows: the stages run, the fit ends before it starts.
    static std::vector<uint32_t> black(load.scene.size(), 60);
    static const std::array<RoiRect, kChartPatches> small = windows_of(0.1414);
    static const auto calibrate = [](const RoiRect* windows) {
        static std::array<float, 25> weights = [] {
            std::array<float, 25> ones{};
            ones.fill(1.0F);
            return ones;
        }();
        static std::array<float, 9> ccm{};
        static std::array<int32_t, 9> q10{};
        cali_isp_ccm_pipe_calc_v2(black.data(), 0, windows, nullptr, kWidth, kHeight, kPattern, &preprocess, &shading,
                                  1900, 1500, weights.data(), 0, ccm.data(), q10.data(), 65, 0);
    };
    measure("cali_isp_ccm_pipe_calc_v2 without the fit, quarter of the frame", {1.8, 0}, [] { calibrate(nullptr); });
    measure("cali_isp_ccm_pipe_calc_v2 without the fit, 2 % of the frame", {0.5, 0}, [] { calibrate(small.data()); });
}

}  // namespace cali::bench
