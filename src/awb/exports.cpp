#include <optional>

#include "awb/awb_gains.h"
#include "boundary/console.h"
#include "boundary/export_call.h"
#include "boundary/frame_arguments.h"
#include "boundary/module_state.h"
#include "cali/cali.h"
#include "pictures/picture.h"

using namespace cali;

namespace {

constexpr int32_t kPictureFullScale = 4096;

}  // namespace

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
        ArgumentCheck check(Family::wb, "cali_awb_calc");
        const MeshGrids grids{grid_cols, grid_rows, red_grid, green_grid, blue_grid};
        const ConstRawFrame input = checked_shaded_frame(check, "frame", frame, width, height, pattern, grids);
        if (!check.ok()) {
            return kRejected;
        }
        PrintedProgress progress(static_cast<int32_t>(height));
        const AwbRoi& window = module_state().awb_roi;
        const awb::WindowFault fault = awb::check_window(window, width, static_cast<int32_t>(height));
        if (fault != awb::WindowFault::none) {
            progress.print_whole();
            warn(Family::wb, awb::window_text(fault));
            return kRejected;
        }
        check.pointer("gain_r", gain_r);
        check.pointer("gain_g", gain_g);
        check.pointer("gain_b", gain_b);
        if (!check.ok()) {
            return kRejected;
        }
        FrontEnd front_end;
        front_end.black_level = BlackLevel::from_red_first({offset_rr, offset_gr, offset_gb, offset_bb},
                                                           {gain_rr, gain_gr, gain_gb, gain_bb});
        front_end.mesh = grids;
        const awb::ColourMeans means = awb::means_of(awb::measure_window(input, front_end, window, progress), window);
        warn_of_exposure(means.green);
        const awb::GainRegisters gains = awb::gains_from_means(means);
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
        ArgumentCheck check(Family::wb, "cali_awb_verify");
        const MeshGrids grids{grid_cols, grid_rows, red_grid, green_grid, blue_grid};
        const RawFrame input = checked_shaded_frame(check, "frame", frame, width, height, pattern, grids);
        if (width != 0 && height != 0) {
            check.frame("output", output);
        }
        if (!check.ok()) {
            return kRejected;
        }
        if (input.empty()) {
            return kOk;
        }
        std::optional<OwnedPicture> picture;
        if (module_state().debug.awb_dump) {
            picture.emplace(input.width, input.height);
        }
        const BlackLevel black_level = BlackLevel::from_red_first({offset_rr, offset_gr, offset_gb, offset_bb},
                                                                  {gain_rr, gain_gr, gain_gb, gain_bb});
        PrintedProgress progress(input.height);
        awb::correct_frame(input, black_level, grids, {gain_r, gain_b}, *output, progress);
        if (picture) {
            const ConstRawFrame corrected{*output, input.width, input.height, input.pattern};
            write_ppm_cells("_awb_in.ppm", picture->get(), input, kPictureFullScale);
            write_ppm_cells("_awb_out.ppm", picture->get(), corrected, kPictureFullScale);
        }
        return kOk;
    });
}
