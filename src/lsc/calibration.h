/// Lens-shading calibration from one flat field.
#pragma once

#include <cstdint>

#include "core/channel.h"
#include "core/frame.h"
#include "stages/shading_tables.h"

namespace cali::lsc {

struct CalibrationSettings {
    int32_t cols = 0;
    int32_t rows = 0;
    int32_t kind = 0;  ///< 0 chroma and luma, 1 chroma, 2 luma; above 2 is reported and taken as 0, as is below 0
    bool denoise = false;
    PerChannel<int32_t> black;  ///< only the mean is used
};

/// Prints the filter's taps, the centre and nodes whose gain is below 1; with the debug switch on, writes the planes,
/// the profiles and the results. False where the GR plane holds no light to centre on. Throws std::bad_alloc.
[[nodiscard]] bool calibrate(const ConstRawFrame& frame, const CalibrationSettings& settings, ShadingTables& tables);

}  // namespace cali::lsc
