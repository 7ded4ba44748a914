// Not built yet.

#include "cali/cali.h"
#include "core/export_call.h"

using cali::kRejected;

int32_t cali_isp_ccm_pipe_calc_v2(uint32_t*, int64_t, const RoiRect*, const CcmToneCurves*, int32_t, int32_t, int32_t,
                                  const CcmPreprocess*, const CcmLensShading*, int64_t, int64_t, const float*, int64_t,
                                  float*, int32_t*, int32_t, uint8_t) {
    return kRejected;
}
