/// A chart in a raw frame, and what its measurement should give.
#pragma once

#include <algorithm>

#include "reference/colour.h"
#include "support/export_calls.h"
#include "support/support.h"

namespace cali::test {

/// The chart fills the frame; codes of about `exposure` for white, with a pedestal of 64 and noise.
[[nodiscard]] OwnedFrame chart_frame(Random& random, const Geometry& geometry, double exposure);

/// 24 windows anywhere inside, of 2 x 2 and more.
[[nodiscard]] std::vector<RoiRect> random_windows(Random& random, const Geometry& geometry);

/// The windows of a chart that fills the frame.
[[nodiscard]] std::vector<RoiRect> full_frame_windows(const Geometry& geometry);

/// Means over 4095 per window, red, green, blue, of a frame that has been through its stages.
[[nodiscard]] reference::Patches window_means(const reference::Samples& frame, const Geometry& geometry,
                                              const std::vector<RoiRect>& windows);

/// raw2rgb.ppm of such a frame: bilinear, 8 bits, two bytes per colour of which the writer keeps the low one.
[[nodiscard]] std::string raw_picture(const reference::Samples& frame, const Geometry& geometry);

/// The optimised export and the joint one on the same small chart.
struct ChartCall {
    OwnedFrame input;
    uint32_t* input_pointer = input.samples.data();
    uint32_t* frame = input_pointer;
    uint32_t** frame_pointer = &frame;
    int32_t width = input.width, height = input.height, pattern = input.pattern;
    std::vector<RoiRect> windows = full_frame_windows({input.width, input.height, input.pattern});
    std::vector<uint32_t> curve = std::vector<uint32_t>(16, 100);
    CcmToneCurves curves{curve.data(), 16, curve.data(), 16};
    CcmPreprocess black{{64, 64, 64, 64}, {1, 1, 1, 1}};
    const CcmPreprocess* preprocess = &black;
    std::vector<CcmLensShading> shading = std::vector<CcmLensShading>(1);
    const CcmLensShading* lens_shading = shading.data();
    int64_t gain_r = 1800, gain_b = 1500;
    std::vector<float> saturation_and_weights = std::vector<float>(25, 1.0F);
    const float* weights = saturation_and_weights.data();
    std::array<float, 9> ccm{};
    std::array<int32_t, 9> q10{};
    std::array<uint16_t, 3> gains{};
    float* ccm_out = ccm.data();
    int32_t* q10_out = q10.data();
    uint16_t* gain_out = gains.data();

    explicit ChartCall(OwnedFrame chart) : input(std::move(chart)) {
        shading[0].mode = 1;
        shading[0].grid_cols = shading[0].grid_rows = 5;
        for (uint32_t* grid : {shading[0].red_grid, shading[0].green_grid, shading[0].blue_grid}) {
            std::fill_n(grid, 25, 512U);
        }
    }
    ChartCall(const ChartCall&) = delete;
    ChartCall& operator=(const ChartCall&) = delete;

    int32_t optimised() {
        return cali_isp_ccm_pipe_calc_v2(frame, 0, windows.data(), &curves, width, height, pattern, preprocess,
                                         lens_shading, gain_r, gain_b, weights, 0, ccm_out, q10_out, 65, 0);
    }
    int32_t joint() {
        const CcmLensShading& grids = shading[0];
        return cali_isp_awb_ccm(frame_pointer, width, height, pattern, grids.grid_cols, grids.grid_rows, grids.red_grid,
                                grids.green_grid, grids.blue_grid, 64, 64, 64, 64, 1, 1, 1, 1, windows.data(), 1.0F,
                                weights, gain_out, &gains[1], &gains[2], ccm_out, q10_out);
    }
    [[nodiscard]] std::vector<unsigned char> state() const {
        std::vector<unsigned char> bytes;
        append_bytes<uint32_t>(bytes, input.samples);
        append_bytes<float>(bytes, ccm);
        append_bytes<int32_t>(bytes, q10);
        append_bytes<uint16_t>(bytes, gains);
        return bytes;
    }
};

/// Its frame in a test that needs no particular one.
[[nodiscard]] OwnedFrame small_chart();

}  // namespace cali::test
