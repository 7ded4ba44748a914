/// A chart in a raw frame, and the exports that measure it.
#pragma once

#include <algorithm>

#include "support/export_calls.h"
#include "support/support.h"

namespace cali::test {

/// The chart fills the frame; codes of about `exposure` for white, with a pedestal of 64 and noise.
[[nodiscard]] OwnedFrame chart_frame(Random& random, const Geometry& geometry, double exposure);

/// 24 windows anywhere inside, of 2 x 2 and more.
[[nodiscard]] std::vector<RoiRect> random_windows(Random& random, const Geometry& geometry);

/// The windows of a chart that fills the frame.
[[nodiscard]] std::vector<RoiRect> full_frame_windows(const Geometry& geometry);

/// The exports on a raw frame of a chart.
struct ChartCall : NoCopy {
    OwnedFrame input;
    uint32_t* frame = input.samples.data();
    int32_t width = input.width, height = input.height, pattern = input.pattern;
    std::vector<RoiRect> windows = full_frame_windows({input.width, input.height, input.pattern});
    const RoiRect* given_windows = windows.data();
    std::vector<uint32_t> curve = std::vector<uint32_t>(16, 100);
    CcmToneCurves curves{curve.data(), 16, curve.data(), 16};
    const CcmToneCurves* tone_curves = &curves;
    CcmPreprocess black{{64, 64, 64, 64}, {1, 1, 1, 1}};
    std::vector<CcmLensShading> shading = std::vector<CcmLensShading>(1);
    int64_t gain_r = 1800, gain_b = 1500;
    int32_t white_point = 65;
    uint8_t tables_held = 0;
    std::vector<float> saturation_and_weights = std::vector<float>(25, 1.0F);
    std::array<float, 9> ccm{};
    std::array<int32_t, 9> q10{};
    std::array<uint16_t, 3> gains{};

    explicit ChartCall(OwnedFrame chart) : input(std::move(chart)) {
        shading[0].mode = 1;
        shading[0].grid_cols = shading[0].grid_rows = 5;
        for (uint32_t* grid : {shading[0].red_grid, shading[0].green_grid, shading[0].blue_grid}) {
            std::fill_n(grid, 25, 512U);
        }
    }

    int32_t optimised() {
        return cali_isp_ccm_pipe_calc_v2(frame, 0, given_windows, tone_curves, width, height, pattern, &black,
                                         shading.data(), gain_r, gain_b, saturation_and_weights.data(), 0, ccm.data(),
                                         q10.data(), white_point, tables_held);
    }
    int32_t joint() {
        const auto& [mode, cols, rows, red, green, blue, x, y, radial] = shading[0];
        const auto& [offset, gain] = black;
        return cali_isp_awb_ccm(&frame, width, height, pattern, cols, rows, red, green, blue, code(offset[0]),
                                code(offset[1]), code(offset[2]), code(offset[3]), gain[0], gain[1], gain[2], gain[3],
                                given_windows, 1.0F, saturation_and_weights.data(), &gains[0], &gains[1], &gains[2],
                                ccm.data(), q10.data());
    }
    int32_t first_generation() {
        const auto& [mode, cols, rows, red, green, blue, x, y, radial] = shading[0];
        const auto& [offset, gain] = black;
        return cali_isp_ccm_pipe_calc(&frame, width, height, pattern, cols, rows, red, green, blue, code(offset[0]),
                                      code(offset[1]), code(offset[2]), code(offset[3]), gain[0], gain[1], gain[2],
                                      gain[3], static_cast<uint16_t>(gain_r), 7, static_cast<uint16_t>(gain_b),
                                      given_windows, 1.0F, saturation_and_weights.data(), ccm.data(), q10.data());
    }
    [[nodiscard]] static uint32_t code(int32_t value) { return static_cast<uint32_t>(value); }
    [[nodiscard]] std::vector<unsigned char> state() const {
        std::vector<unsigned char> bytes;
        append_bytes<uint32_t>(bytes, input.samples);
        append_bytes<float>(bytes, ccm);
        append_bytes<int32_t>(bytes, q10);
        append_bytes<uint16_t>(bytes, gains);
        return bytes;
    }
};

/// Random values for everything but the frame, none so bright that balancing would warn.
void randomise(Random& random, int turn, ChartCall& call);

/// A frame for a test that needs no particular one.
[[nodiscard]] OwnedFrame small_chart();

}  // namespace cali::test
