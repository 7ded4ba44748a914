/// Whether lights lie along the white-balance curve.
#pragma once

#include "calibrations/white_balance_curve.h"
#include "checks/check.h"

namespace cali::host {

/// Nothing for fewer than four lights: a parabola goes through three.
void check_curve(const CurveResult& curve, Judge& judge);

}  // namespace cali::host
