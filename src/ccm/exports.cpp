// Not built yet.

#include "cali/cali.h"
#include "core/export_call.h"

using cali::kRejected;

int32_t cali_ccm_calc(const int32_t* const*, const void*, int32_t, uint32_t, uint32_t, int32_t, float, const float*,
                      float*, int32_t*) {
    return kRejected;
}

int32_t cali_isp_ccm_pipe_calc(uint32_t**, int32_t, int32_t, int32_t, int32_t, int32_t, const uint32_t*,
                               const uint32_t*, const uint32_t*, uint32_t, uint32_t, uint32_t, uint32_t, float, float,
                               float, float, uint16_t, uint16_t, uint16_t, const RoiRect*, float, const float*, float*,
                               int32_t*) {
    return kRejected;
}

int32_t cali_isp_awb_ccm(uint32_t**, int32_t, int32_t, int32_t, int32_t, int32_t, const uint32_t*, const uint32_t*,
                         const uint32_t*, uint32_t, uint32_t, uint32_t, uint32_t, float, float, float, float,
                         const RoiRect*, float, const float*, uint16_t*, uint16_t*, uint16_t*, float*, int32_t*) {
    return kRejected;
}
