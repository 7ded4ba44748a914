/// The little that survives between calls. Unsynchronised: hosts call the library from one thread at a time.
#pragma once

#include <cstdint>

namespace cali {

/// White-balance window in frame coordinates, even-aligned.
struct AwbRoi {
    int32_t x = 0;
    int32_t y = 0;
    int32_t width = 0;
    int32_t height = 0;
};

/// y = a x^2 + b x + c
struct AwbCurve {
    float a = 0;
    float b = 0;
    float c = 0;
};

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

[[nodiscard]] ModuleState& module_state();

}  // namespace cali
