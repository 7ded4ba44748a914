#include "awb/awb_gains.h"
#include "boundary/export_call.h"
#include "boundary/module_state.h"
#include "cali/cali.h"

namespace cali::awb {
namespace {

/// What calculation and verification take alike.
struct FrontEnd {
    uint32_t** frame;
    int32_t width;
    uint32_t height;
    int32_t pattern;
    MeshGrids grids;

    [[nodiscard]] bool empty() const { return width == 0 || height == 0; }
    [[nodiscard]] RawFrame view() const {
        return {empty() ? nullptr : *frame, width, static_cast<int32_t>(height), pattern};
    }

    /// An empty frame's buffers are never read.
    void check(ArgumentCheck& check) const {
        check.frame_size(width, height);
        check.shaded_size(width, height);
        check.pattern(pattern);
        check_mesh_size(check, grids.cols, grids.rows);
        if (!empty()) {
            check.frame("frame", frame);
            check_mesh_grids(check, grids.red, grids.green, grids.blue);
        }
    }
};

}  // namespace
}  // namespace cali::awb

using namespace cali;

int32_t cali_awb_setROI(int32_t x, int32_t y, int32_t width, int32_t height) {
    const auto even = [](int32_t value) { return value & ~1; };
    module_state().awb_roi = {even(x), even(y), even(width), even(height)};
    return kOk;
}

int32_t cali_awb_calc(uint32_t** frame, int32_t width, uint32_t height, int32_t pattern, int32_t grid_cols,
                      int32_t grid_rows, const uint32_t* red_grid, const uint32_t* green_grid,
                      const uint32_t* blue_grid, uint32_t offset_rr, uint32_t offset_gr, uint32_t offset_gb,
                      uint32_t offset_bb, float gain_rr, float gain_gr, float gain_gb, float gain_bb, uint16_t* gain_r,
                      uint16_t* gain_g, uint16_t* gain_b) {
    return run_export([&] {
        const awb::FrontEnd front{
            frame, width, height, pattern, {grid_cols, grid_rows, red_grid, green_grid, blue_grid}};
        ArgumentCheck check(Family::wb, "cali_awb_calc");
        front.check(check);
        if (!check.ok()) {
            return kRejected;
        }
        const AwbRoi& window = module_state().awb_roi;
        const awb::WindowFault fault = awb::check_window(window, width, static_cast<int32_t>(height));
        if (fault != awb::WindowFault::none) {
            print_whole_shading_progress(static_cast<int32_t>(height));
            warn(Family::wb, awb::window_text(fault));
            return kRejected;
        }
        check.pointer("gain_r", gain_r);
        check.pointer("gain_g", gain_g);
        check.pointer("gain_b", gain_b);
        if (!check.ok()) {
            return kRejected;
        }
        const BlackLevel black_level = BlackLevel::from_red_first({offset_rr, offset_gr, offset_gb, offset_bb},
                                                                  {gain_rr, gain_gr, gain_gb, gain_bb});
        const awb::ColourSums sums = awb::measure_window(front.view(), black_level, front.grids, window);
        const awb::GainRegisters gains = awb::gains_from_sums(sums, window);
        *gain_r = gains.red;
        *gain_g = gains.green;
        *gain_b = gains.blue;
        return kOk;
    });
}

int32_t cali_awb_verify(uint32_t** frame, int32_t width, uint32_t height, int32_t pattern, int32_t grid_cols,
                        int32_t grid_rows, const uint32_t* red_grid, const uint32_t* green_grid,
                        const uint32_t* blue_grid, uint32_t offset_rr, uint32_t offset_gr, uint32_t offset_gb,
                        uint32_t offset_bb, float gain_rr, float gain_gr, float gain_gb, float gain_bb, uint16_t gain_r,
                        uint16_t /*gain_g*/, uint16_t gain_b, uint32_t** output) {
    return run_export([&] {
        const awb::FrontEnd front{
            frame, width, height, pattern, {grid_cols, grid_rows, red_grid, green_grid, blue_grid}};
        ArgumentCheck check(Family::wb, "cali_awb_verify");
        front.check(check);
        if (!front.empty()) {
            check.frame("output", output);
        }
        if (!check.ok()) {
            return kRejected;
        }
        if (front.empty()) {
            return kOk;
        }
        const BlackLevel black_level = BlackLevel::from_red_first({offset_rr, offset_gr, offset_gb, offset_bb},
                                                                  {gain_rr, gain_gr, gain_gb, gain_bb});
        awb::correct_frame(front.view(), black_level, front.grids, {gain_r, gain_b}, *output);
        return kOk;
    });
}
