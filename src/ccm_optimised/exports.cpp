#include <algorithm>
#include <new>

#include "boundary/console.h"
#include "boundary/export_call.h"
#include "boundary/frame_arguments.h"
#include "boundary/module_state.h"
#include "cali/cali.h"
#include "ccm_optimised/optimiser.h"
#include "ccm_optimised/printed_minima.h"
#include "chart/chart_measure.h"
#include "pictures/raw_picture.h"

namespace cali::ccm_optimised {
namespace {

constexpr int32_t kMostMeshSide = 37;  ///< of CcmLensShading's tables
constexpr int32_t kLeastMeshSide = 4;
constexpr int64_t kMostGain = 65535;
constexpr double kFullScale = 4095.0;
constexpr uint32_t kMostCode = 4095;

/// Fills the front end's shading stages.
void choose_shading(ArgumentCheck& check, const CcmLensShading& shading, FrontEnd& front_end) {
    check.range("lens_shading.mode", shading.mode, CALI_CCM_SHADING_NONE, CALI_CCM_SHADING_MESH_RADIAL);
    if (shading.mode == CALI_CCM_SHADING_MESH || shading.mode == CALI_CCM_SHADING_MESH_RADIAL) {
        check.range("lens_shading.grid_cols", shading.grid_cols, kLeastMeshSide, kMostMeshSide);
        check.range("lens_shading.grid_rows", shading.grid_rows, kLeastMeshSide, kMostMeshSide);
        front_end.mesh =
            MeshGrids{shading.grid_cols, shading.grid_rows, shading.red_grid, shading.green_grid, shading.blue_grid};
    }
    if (shading.mode == CALI_CCM_SHADING_RADIAL || shading.mode == CALI_CCM_SHADING_MESH_RADIAL) {
        front_end.radial = RadialTables{shading.center_x, shading.center_y, shading.radial_tables};
    }
}

BlackLevel black_level_of(const CcmPreprocess& preprocess) {
    std::array<uint32_t, 4> offset{};
    std::ranges::transform(preprocess.offset, offset.begin(), [](int32_t code) { return static_cast<uint32_t>(code); });
    return BlackLevel::from_red_first(offset, std::to_array(preprocess.gain));
}

WbGains gains_of(int64_t red, int64_t blue) {
    const auto gain = [](int64_t value) { return value == 0 ? 1024U : static_cast<uint32_t>(value); };
    return {gain(red), gain(blue)};
}

void check_curve(ArgumentCheck& check, const char* name, const uint32_t* curve, uint32_t count) {
    check.range(name, count, 1, INT32_MAX);
    check.pointer(name, curve);
    for (uint32_t i = 0; check.ok() && i < count; ++i) {
        if (curve[i] > kMostCode) {
            check.reject("%s[%u] is %u, expected 0 to %u", name, i, curve[i], kMostCode);
        }
    }
}

struct Curves {
    ToneCurve first;
    ToneCurve second;
};

Curves curves_of(const CcmToneCurves* given) {
    if (given != nullptr) {
        return {ToneCurve({given->first, given->first_count}), ToneCurve({given->second, given->second_count})};
    }
    std::vector<uint32_t> identity(4096);
    for (uint32_t i = 0; i < identity.size(); ++i) {
        identity[i] = i;
    }
    return {ToneCurve(identity), ToneCurve(identity)};
}

Problem make_problem(const ChartMeans& means, const CcmToneCurves* curves, const float* weights, int32_t selector) {
    Curves tone = curves_of(curves);
    Problem problem{{}, {}, std::move(tone.first), std::move(tone.second), {}, selector};
    for (std::size_t i = 0; i < kChartPatches; ++i) {
        for (std::size_t c = 0; c < 3; ++c) {
            problem.linear_rgb[i][c] = means[i][c] / kFullScale;
        }
        problem.reference_lab[i] = srgb_to_lab(kChartSrgb24[i], selector);
        problem.weights[i] = weights[i];
    }
    return problem;
}

/// Rejects what leaves the fit without a start, and an optimiser that gives up.
std::optional<ColourMatrix> checked_fit(ArgumentCheck& check, const Problem& problem, float final_saturation) {
    try {
        PrintedMinima observer;
        const std::optional<ColourMatrix> matrix = optimise(problem, final_saturation, observer);
        if (!matrix) {
            check.reject("the start of the fit is not finite: the chart's patches are black or colourless");
        }
        return matrix;
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& error) {
        check.reject("the optimiser failed: %.100s", error.what());
        return std::nullopt;
    }
}

}  // namespace
}  // namespace cali::ccm_optimised

using namespace cali;

int32_t cali_isp_ccm_pipe_calc_v2(uint32_t* frame, int64_t /*reserved_2*/, const RoiRect* chart_windows,
                                  const CcmToneCurves* tone_curves, int32_t width, int32_t height, int32_t pattern,
                                  const CcmPreprocess* preprocess, const CcmLensShading* lens_shading,
                                  int64_t wb_gain_r, int64_t wb_gain_b, const float* saturation_and_weights,
                                  int64_t /*reserved_13*/, float* ccm, int32_t* ccm_q10, int32_t white_point,
                                  uint8_t shading_tables_held) {
    return run_export([&] {
        ArgumentCheck check(Family::ccm, "cali_isp_ccm_pipe_calc_v2");
        check_shaded_size(check, width, height);
        check_pattern(check, pattern);
        check.pointer("frame", frame);
        check.pointer("preprocess", preprocess);
        check.range("wb_gain_r", wb_gain_r, 0, ccm_optimised::kMostGain);
        check.range("wb_gain_b", wb_gain_b, 0, ccm_optimised::kMostGain);
        check.pointer("saturation_and_weights", saturation_and_weights);
        check.pointer("ccm", ccm);
        check.pointer("ccm_q10", ccm_q10);
        if (tone_curves != nullptr) {
            ccm_optimised::check_curve(check, "tone_curves.first", tone_curves->first, tone_curves->first_count);
            ccm_optimised::check_curve(check, "tone_curves.second", tone_curves->second, tone_curves->second_count);
        }
        FrontEnd front_end;
        front_end.gains_before_shading = true;
        if (shading_tables_held == 0) {
            check.pointer("lens_shading", lens_shading);
            if (check.ok()) {
                ccm_optimised::choose_shading(check, *lens_shading, front_end);
            }
        }
        if (!check.ok()) {
            return kRejected;
        }
        const ChartWindows windows = checked_windows(check, chart_windows, width, height);
        if (!check.ok()) {
            return kRejected;
        }
        front_end.black_level = ccm_optimised::black_level_of(*preprocess);
        front_end.wb_gains = ccm_optimised::gains_of(wb_gain_r, wb_gain_b);
        const ConstRawFrame view{frame, width, height, pattern};
        if (front_end.mesh) {
            PrintedProgress(height).print_whole();
        }
        if (module_state().debug.ccm_dump) {
            write_raw_picture(view, front_end);
        }
        const ccm_optimised::Problem problem = ccm_optimised::make_problem(
            measure_chart(view, front_end, windows), tone_curves, saturation_and_weights + 1, white_point);
        const auto matrix = ccm_optimised::checked_fit(check, problem, saturation_and_weights[0]);
        if (!matrix) {
            return kRejected;
        }
        std::ranges::copy(matrix->value, ccm);
        std::ranges::copy(matrix->q10, ccm_q10);
        return kOk;
    });
}
