// Not built yet.

#include "cali/cali.h"
#include "core/export_call.h"

using cali::kRejected;

int32_t cali_roi_rgb_cal(const uint8_t*, int32_t, int64_t, RoiRgbMean*, const RoiRect*, int32_t) { return kRejected; }

int32_t cali_roi_rgb_adjust(const RoiRgbMean*, const RoiRgbMean*, RoiRgbMean*, uint32_t, uint32_t) { return kRejected; }

int32_t cali_roi_rgb_interpolation(RoiRgbMean*, RoiRgbMean*, uint32_t, const GrayInterpSettings*, uint32_t*) {
    return kRejected;
}
