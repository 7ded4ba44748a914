/// The little that survives between calls. Unsynchronised: hosts call the library from one thread at a time.
#pragma once

#include "core/awb_curve.h"
#include "core/awb_roi.h"

namespace cali {

/// No export sets these; a debug build starts them by CMake option, a debugger by hand.
struct DebugSwitches {
    bool awb_dump = false;
    bool blc_report = false;
    bool lsc_dump = false;
    bool ccm_dump = false;
};

struct ModuleState {
    AwbRoi awb_roi;
    AwbCurve awb_curve;
    DebugSwitches debug;
};

/// For exports alone: algorithms get what they need as arguments.
[[nodiscard]] ModuleState& module_state();

}  // namespace cali
