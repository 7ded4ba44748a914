// Not built yet.

#include "cali/cali.h"
#include "core/export_call.h"

using cali::kRejected;

int32_t cali_clut_calc(const ClutCell*, const ClutCell*, int32_t, const ClutSettings*, int32_t*) { return kRejected; }

int32_t cali_clut_calc_rgb(const ClutCell*, const ClutCell*, int32_t, const ClutSettings*, int32_t*) {
    return kRejected;
}
