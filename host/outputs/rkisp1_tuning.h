/// YAML tuning files, version 1, of the rkisp1 stack.
#pragma once

#include "outputs/stack_tuning.h"

namespace cali::host {

[[nodiscard]] ExportText rkisp1_tuning(const CameraValues& values);

/// Into `base`. Throws InputError.
[[nodiscard]] ExportText update_rkisp1_tuning(const CameraValues& values, const std::string& base,
                                              const std::string& file);

}  // namespace cali::host
