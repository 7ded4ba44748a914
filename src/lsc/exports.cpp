#include <algorithm>

#include "boundary/export_call.h"
#include "boundary/module_state.h"
#include "cali/cali.h"
#include "lsc/calibration.h"
#include "lsc/verification.h"

namespace cali::lsc {
namespace {

constexpr int32_t kLeastMeshSide = 4;  ///< the outer ring is extrapolated from two nodes inside

/// The library's grids are unsigned; a calibration's are never negative.
const uint32_t* as_unsigned(const int32_t* grid) { return reinterpret_cast<const uint32_t*>(grid); }

}  // namespace
}  // namespace cali::lsc

using namespace cali;

int32_t cali_lsc_calc(uint32_t** raw, int32_t width, int32_t height, int32_t bayer_pattern, int32_t grid_cols,
                      int32_t grid_rows, int32_t calib_type, int32_t denoise, int32_t blc_rr, int32_t blc_gr,
                      int32_t blc_gb, int32_t blc_bb, int32_t* center_x, int32_t* center_y, void* /*reserved*/,
                      int32_t* norm, int32_t* rtbl, int32_t* gtbl, int32_t* btbl, int32_t* radius_lut) {
    return run_export([&] {
        ArgumentCheck check(Family::lsc, "cali_lsc_calc");
        check.range("width", width, 1, kMaxShadedSide);
        check.range("height", height, 1, kMaxShadedSide);
        check.pattern(bayer_pattern);
        check_mesh_size(check, grid_cols, grid_rows, lsc::kLeastMeshSide);
        check.frame("raw", raw);
        check.pointer("center_x", center_x);
        check.pointer("center_y", center_y);
        check.pointer("norm", norm);
        check.pointer("rtbl", rtbl);
        check.pointer("gtbl", gtbl);
        check.pointer("btbl", btbl);
        check.pointer("radius_lut", radius_lut);
        if (!check.ok()) {
            return kRejected;
        }
        const lsc::CalibrationSettings settings{grid_cols, grid_rows, calib_type, denoise != 0,
                                                PerChannel<int32_t>::from_red_first(blc_rr, blc_gr, blc_gb, blc_bb)};
        ShadingTables tables;
        if (!lsc::calibrate({*raw, width, height, bayer_pattern}, settings, tables)) {
            check.reject("the GR plane of %d x %d samples holds no light, so it has no centre", width / 2, height / 2);
            return kRejected;
        }
        *center_x = tables.center_x;
        *center_y = tables.center_y;
        *norm = tables.norm;
        std::ranges::copy(tables.mesh[0], rtbl);
        std::ranges::copy(tables.mesh[1], gtbl);
        std::ranges::copy(tables.mesh[2], btbl);
        std::ranges::copy(tables.radial, radius_lut);
        return kOk;
    });
}

int32_t cali_lsc_verify(uint32_t** raw, int32_t width, int32_t height, int32_t bayer_pattern, int32_t grid_cols,
                        int32_t grid_rows, int64_t /*reserved_7*/, uint32_t offset_rr, uint32_t offset_gr,
                        uint32_t offset_gb, uint32_t offset_bb, float gain_rr, float gain_gr, float gain_gb,
                        float gain_bb, int32_t center_x, int32_t center_y, int64_t /*reserved_18*/,
                        int64_t /*reserved_19*/, const int32_t* rtbl, const int32_t* gtbl, const int32_t* btbl,
                        const int32_t* radius_lut, uint32_t** mesh_output, uint32_t** radial_output) {
    return run_export([&] {
        lsc::Parameters parameters{BlackLevel::from_red_first({offset_rr, offset_gr, offset_gb, offset_bb},
                                                              {gain_rr, gain_gr, gain_gb, gain_bb}),
                                   {},
                                   {}};
        if (rtbl != nullptr && gtbl != nullptr && btbl != nullptr) {
            parameters.mesh = {grid_cols, grid_rows, lsc::as_unsigned(rtbl), lsc::as_unsigned(gtbl),
                               lsc::as_unsigned(btbl)};
        }
        if (radius_lut != nullptr) {
            parameters.radial = {center_x, center_y, radius_lut};
        }
        const bool empty = width == 0 || height == 0;
        // The report reads both outputs, also of a stage that is skipped.
        const bool report = module_state().debug.lsc_dump;
        ArgumentCheck check(Family::lsc, "cali_lsc_verify");
        check.frame_size(width, height);
        check.shaded_size(width, height);
        check.pattern(bayer_pattern);
        if (parameters.mesh) {
            check_mesh_size(check, grid_cols, grid_rows);
        }
        if (!empty) {
            check.frame("raw", raw);
            if (parameters.mesh || report) {
                check.frame("mesh_output", mesh_output);
            }
            if (parameters.radial || report) {
                check.frame("radial_output", radial_output);
            }
        }
        if (!check.ok()) {
            return kRejected;
        }
        if (empty) {
            return kOk;
        }
        const auto output_of = [](uint32_t** output) { return output != nullptr ? *output : nullptr; };
        lsc::verify({*raw, width, height, bayer_pattern}, parameters,
                    {output_of(mesh_output), output_of(radial_output)});
        return kOk;
    });
}
