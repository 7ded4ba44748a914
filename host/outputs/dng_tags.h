/// Tags of DNG files (Adobe, Digital Negative Specification 1.6), as text.
#pragma once

#include "outputs/stack_tuning.h"

namespace cali::host {

/// `Name: values` lines: matrices of the lights nearest standard light A and D65, black level, noise.
[[nodiscard]] ExportText dng_tags(const CameraValues& values);

}  // namespace cali::host
