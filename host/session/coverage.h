/// What a session's captures are enough for.
#pragma once

#include "base/section.h"
#include "session/plan.h"
#include "session/session.h"

namespace cali::host {

/// Calibrations with what they are made of, or what is missing and how to take it; captures by light and gain.
/// `plan`: of the whole session.
[[nodiscard]] Section coverage(const Session& session, const ChainPlan& plan, CaptureHeaders& headers);

}  // namespace cali::host
