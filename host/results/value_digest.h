/// Values by which a section is told from another one: what later steps apply, and nothing else.
#pragma once

#include "results/results.h"

namespace cali::host {

[[nodiscard]] ValueRecord value_record(const BlackLevelResults& results);
[[nodiscard]] ValueRecord value_record(const LensShading& result);
[[nodiscard]] ValueRecord value_record(const WhiteBalance& result);
[[nodiscard]] ValueRecord value_record(const MatrixCalibration& result);

/// "5000 K at gain 2"; the capture's name in place of a light that is not given: what tells the entries of a section
/// apart. Sections whose captures have no light pass no capture.
[[nodiscard]] std::string entry_name(const Conditions& taken, const std::filesystem::path& capture);

}  // namespace cali::host
