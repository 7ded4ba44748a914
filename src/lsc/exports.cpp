#include <algorithm>
#include <cstdio>

#include "boundary/console.h"
#include "boundary/export_call.h"
#include "boundary/frame_arguments.h"
#include "boundary/module_state.h"
#include "cali/cali.h"
#include "lsc/calibration.h"
#include "lsc/result_files.h"
#include "lsc/uniformity.h"
#include "lsc/verification.h"

namespace cali::lsc {
namespace {

constexpr int32_t kLeastMeshSide = 4;  ///< the outer ring is extrapolated from two nodes inside

/// The library's grids are unsigned; a calibration's are never negative.
const uint32_t* as_unsigned(const int32_t* grid) { return reinterpret_cast<const uint32_t*>(grid); }

ShadingKind shading_kind(int32_t type) {
    if (type > CALI_LSC_LUMA) {
        std::printf("calib_type err, calib chroma and luma\n");
    }
    return type == CALI_LSC_CHROMA ? ShadingKind::chroma
           : type == CALI_LSC_LUMA ? ShadingKind::luma
                                   : ShadingKind::chroma_and_luma;
}

constexpr PerChannel<const char*> kPlaneFiles{{"_in_raw_bb.ppm", "_in_raw_gb.ppm", "_in_raw_gr.ppm", "_in_raw_rr.ppm"}};
constexpr PerChannel<const char*> kFilteredFiles{
    {"_in_raw_bb_nr.ppm", "_in_raw_gb_nr.ppm", "_in_raw_gr_nr.ppm", "_in_raw_rr_nr.ppm"}};

/// Prints; with the debug switch on also writes files.
class PrintedCalibration : public CalibrationObserver {
public:
    void split(const ChannelPlanes& planes) override {
        if (dump_) {
            write_planes(kPlaneFiles, planes);
        }
    }
    void taps(const LowPassTaps& taps) override {
        for (const float tap : taps) {
            std::printf("%f, ", static_cast<double>(tap));
        }
    }
    void filtered(const ChannelPlanes& planes) override {
        if (dump_) {
            write_planes(kFilteredFiles, planes);
        }
    }
    void profiles(const LightProfiles& profiles) override {
        if (dump_) {
            write_profiles(profiles);
        }
    }
    void centre(const LightCentre& centre, const CentreSignal& signal) override {
        std::printf("\nCenter [%d, %d] r/g/b (%4d, %4d, %4d, %4d)\n", centre.x, centre.y, signal.measured[RR],
                    signal.measured[GR], signal.measured[GB], signal.measured[BB]);
    }
    void below_unity(int32_t column, int32_t row, const Gains& gains, const CentreSignal& centre,
                     const PerChannel<float>& sample) override {
        std::printf(
            "WARN gain < 1x: grid [%3d, %3d] r/g/b (%4d, %4d, %4d), center r/b gain (%5f, %5f), pix: %4f,%4f,%4f,%4f\n",
            column, row, gains.red, gains.green, gains.blue, static_cast<double>(centre.red_ratio),
            static_cast<double>(centre.blue_ratio), static_cast<double>(sample[RR]), static_cast<double>(sample[GR]),
            static_cast<double>(sample[GB]), static_cast<double>(sample[BB]));
    }
    void finished(const ShadingTables& tables, const NodeSamples& samples) override {
        if (dump_) {
            lsc_write_register_text(tables, samples);
        }
    }

private:
    const bool dump_ = module_state().debug.lsc_dump;
};

void print_uniformity(const Uniformity& found) {
    std::printf("\nchroma r/b, luma r/g/b, total %f, %f, %f, %f, %f, %f\n", found.chroma_red, found.chroma_blue,
                found.luma[0], found.luma[1], found.luma[2], found.total);
}

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
        check_pattern(check, bayer_pattern);
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
        const lsc::CalibrationSettings settings{grid_cols, grid_rows, lsc::shading_kind(calib_type), denoise != 0,
                                                PerChannel<int32_t>::from_red_first(blc_rr, blc_gr, blc_gb, blc_bb)};
        lsc::PrintedCalibration observer;
        ShadingTables tables;
        if (!lsc::calibrate({*raw, width, height, bayer_pattern}, settings, observer, tables)) {
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
        // The report reads both outputs, also of a stage that is skipped.
        const bool with_report = module_state().debug.lsc_dump;
        ArgumentCheck check(Family::lsc, "cali_lsc_verify");
        const RawFrame input = checked_shaded_frame(check, "raw", raw, width, height, bayer_pattern, parameters.mesh);
        if (width != 0 && height != 0) {
            if (parameters.mesh || with_report) {
                check.frame("mesh_output", mesh_output);
            }
            if (parameters.radial || with_report) {
                check.frame("radial_output", radial_output);
            }
        }
        if (!check.ok()) {
            return kRejected;
        }
        if (input.empty()) {
            return kOk;
        }
        const auto output_of = [](uint32_t** output) { return output != nullptr ? *output : nullptr; };
        const lsc::Outputs outputs{output_of(mesh_output), output_of(radial_output)};
        std::optional<lsc::UniformityReport> report;
        if (with_report) {
            report.emplace(input.width, input.height);
        }
        PrintedProgress progress(input.height);
        lsc::verify(input, parameters, outputs, progress);
        if (report) {
            const auto view_of = [&](const uint32_t* samples) {
                return ConstRawFrame{samples, input.width, input.height, input.pattern};
            };
            lsc::print_uniformity(report->run(input, view_of(outputs.mesh), view_of(outputs.radial)));
        }
        return kOk;
    });
}
