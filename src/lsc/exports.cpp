// Not built yet.

#include "cali/cali.h"
#include "core/export_call.h"

using cali::kRejected;

int32_t cali_lsc_calc(uint32_t**, int32_t, int32_t, int32_t, int32_t, int32_t, int32_t, int32_t, int32_t, int32_t,
                      int32_t, int32_t, int32_t*, int32_t*, void*, int32_t*, int32_t*, int32_t*, int32_t*, int32_t*) {
    return kRejected;
}

int32_t cali_lsc_verify(uint32_t**, int32_t, int32_t, int32_t, int32_t, int32_t, int64_t, uint32_t, uint32_t, uint32_t,
                        uint32_t, float, float, float, float, int32_t, int32_t, int64_t, int64_t, const int32_t*,
                        const int32_t*, const int32_t*, const int32_t*, uint32_t**, uint32_t**) {
    return kRejected;
}
