// Not built yet.

#include "cali/cali.h"
#include "core/export_call.h"

using cali::kRejected;

int32_t cali_awb_BuildCurve(float, float, const float*, const float*, const float*, const uint8_t*, uint8_t,
                            AwbCurveRecord*) {
    return kRejected;
}

int32_t cali_awb_getCurve(float*, const float*, const float*) { return kRejected; }
