#include "lsc/calibration.h"

#include <array>
#include <cstdio>

#include "boundary/module_state.h"
#include "core/arithmetic.h"
#include "lsc/denoise.h"
#include "lsc/flat_field.h"
#include "lsc/gain_tables.h"
#include "lsc/low_pass.h"
#include "lsc/result_files.h"

namespace cali::lsc {
namespace {

constexpr double kDarkShare = 0.05;
constexpr float kDenoiseSigma = 4.0F;

constexpr PerChannel<const char*> kPlaneFiles{{"_in_raw_bb.ppm", "_in_raw_gb.ppm", "_in_raw_gr.ppm", "_in_raw_rr.ppm"}};
constexpr PerChannel<const char*> kFilteredFiles{
    {"_in_raw_bb_nr.ppm", "_in_raw_gb_nr.ppm", "_in_raw_gr_nr.ppm", "_in_raw_rr_nr.ppm"}};

int32_t mean_of(const PerChannel<int32_t>& black) {
    return wrap_add(wrap_add(wrap_add(black[RR], black[GR]), black[GB]), black[BB]) / 4;
}

ShadingKind shading_kind(int32_t type) {
    if (type > 2) {
        std::printf("calib_type err, calib chroma and luma\n");
    }
    return type == 1 ? ShadingKind::chroma : type == 2 ? ShadingKind::luma : ShadingKind::chroma_and_luma;
}

void clean(const ChannelPlanes& planes) {
    for (std::size_t code = kChannels; code-- > 0;) {
        const Plane plane{planes.samples[code].data(), planes.width, planes.height};
        const int32_t threshold = lsc_bright_threshold(plane, kDarkShare);
        lsc_masked_gaussian(plane, threshold, kDenoiseSigma);
        lsc_fill_dark(plane, threshold);
    }
}

void print_taps(const LowPassTaps& taps) {
    for (const float tap : taps) {
        std::printf("%f, ", static_cast<double>(tap));
    }
}

void print_centre(const LightCentre& centre, const CentreSignal& signal) {
    std::printf("\nCenter [%d, %d] r/g/b (%4d, %4d, %4d, %4d)\n", centre.x, centre.y, signal.measured[RR],
                signal.measured[GR], signal.measured[GB], signal.measured[BB]);
}

}  // namespace

bool calibrate(const ConstRawFrame& frame, const CalibrationSettings& settings, ShadingTables& tables) {
    const bool dump = module_state().debug.lsc_dump;
    const ShadingKind kind = shading_kind(settings.kind);
    const ChannelPlanes planes(frame.width, frame.height);
    split_frame(frame, planes);
    if (dump) {
        write_planes(kPlaneFiles, planes);
    }
    if (settings.denoise) {
        clean(planes);
    }
    const LowPassTaps taps = low_pass_taps();
    print_taps(taps);
    low_pass(planes, taps);
    if (dump) {
        write_planes(kFilteredFiles, planes);
    }
    const LightProfiles profiles = measure_profiles(planes);
    if (dump) {
        write_profiles(profiles);
    }
    const LightCentre centre = find_light_centre(profiles);
    if (!centre.found) {
        return false;
    }
    const FlatField field{&planes, mean_of(settings.black), frame.width, frame.height};
    const CentreSignal signal = field.at_centre(centre);
    print_centre(centre, signal);

    tables.width = frame.width;
    tables.height = frame.height;
    tables.cols = settings.cols;
    tables.rows = settings.rows;
    tables.center_x = 2 * centre.x;
    tables.center_y = 2 * centre.y;
    NodeSamples samples;
    calibrate_mesh(field, signal, kind, tables, samples);
    calibrate_radial(field, signal, kind, tables);
    if (dump) {
        lsc_write_register_text(tables, samples);
    }
    return true;
}

}  // namespace cali::lsc
