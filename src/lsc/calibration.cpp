#include "lsc/calibration.h"

#include "core/arithmetic.h"
#include "lsc/denoise.h"

namespace cali::lsc {
namespace {

constexpr double kDarkShare = 0.05;
constexpr float kDenoiseSigma = 4.0F;

int32_t mean_of(const PerChannel<int32_t>& black) {
    return wrap_add(wrap_add(wrap_add(black[RR], black[GR]), black[GB]), black[BB]) / 4;
}

void clean(const ChannelPlanes& planes) {
    for (std::size_t code = kChannels; code-- > 0;) {
        const Plane plane{planes.samples[code].data(), planes.width, planes.height};
        const int32_t threshold = lsc_bright_threshold(plane, kDarkShare);
        lsc_masked_gaussian(plane, threshold, kDenoiseSigma);
        lsc_fill_dark(plane, threshold);
    }
}

}  // namespace

bool calibrate(const ConstRawFrame& frame, const CalibrationSettings& settings, CalibrationObserver& observer,
               ShadingTables& tables) {
    const ChannelPlanes planes(frame.width, frame.height);
    split_frame(frame, planes);
    observer.split(planes);
    if (settings.denoise) {
        clean(planes);
    }
    const LowPassTaps taps = low_pass_taps();
    observer.taps(taps);
    low_pass(planes, taps);
    observer.filtered(planes);
    const LightProfiles profiles = measure_profiles(planes);
    observer.profiles(profiles);
    const LightCentre centre = find_light_centre(profiles);
    if (!centre.found) {
        return false;
    }
    const FlatField field{&planes, mean_of(settings.black), frame.width, frame.height};
    const CentreSignal signal = field.at_centre(centre);
    observer.centre(centre, signal);

    tables.width = frame.width;
    tables.height = frame.height;
    tables.cols = settings.cols;
    tables.rows = settings.rows;
    tables.center_x = 2 * centre.x;
    tables.center_y = 2 * centre.y;
    NodeSamples samples;
    calibrate_mesh(field, signal, settings.kind, observer, tables, samples);
    calibrate_radial(field, signal, settings.kind, tables);
    observer.finished(tables, samples);
    return true;
}

}  // namespace cali::lsc
