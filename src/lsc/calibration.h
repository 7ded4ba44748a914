/// Lens-shading calibration from one flat field.
#pragma once

#include <cstdint>

#include "core/channel.h"
#include "core/frame.h"
#include "lsc/flat_field.h"
#include "lsc/gain_tables.h"
#include "lsc/low_pass.h"
#include "stages/shading_tables.h"

namespace cali::lsc {

struct CalibrationSettings {
    int32_t cols = 0;
    int32_t rows = 0;
    ShadingKind kind = ShadingKind::chroma_and_luma;
    bool denoise = false;
    PerChannel<int32_t> black;  ///< only the mean is used
};

/// Told what the calibration finds, when it finds it, in this order.
class CalibrationObserver : public NodeObserver {
public:
    virtual void split(const ChannelPlanes& planes) = 0;
    virtual void taps(const LowPassTaps& taps) = 0;
    virtual void filtered(const ChannelPlanes& planes) = 0;
    virtual void profiles(const LightProfiles& profiles) = 0;
    virtual void centre(const LightCentre& centre, const CentreSignal& signal) = 0;
    // Here the nodes with a gain below 1.
    virtual void finished(const ShadingTables& tables, const NodeSamples& samples) = 0;
};

/// False where the GR plane holds no light to centre on. Throws std::bad_alloc.
[[nodiscard]] bool calibrate(const ConstRawFrame& frame, const CalibrationSettings& settings,
                             CalibrationObserver& observer, ShadingTables& tables);

}  // namespace cali::lsc
