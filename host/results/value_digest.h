/// Values by which a section is told from another one: what later steps apply, and nothing else.
#pragma once

#include "results/results.h"

namespace cali::host {

[[nodiscard]] ValueRecord value_record(const BlackLevelResults& results);
[[nodiscard]] ValueRecord value_record(const LensShading& result);
[[nodiscard]] ValueRecord value_record(const WhiteBalance& result);
[[nodiscard]] ValueRecord value_record(const MatrixCalibration& result);

/// "5000 K", or the capture's name where no light is given: what tells the entries of a section apart.
[[nodiscard]] std::string entry_name(const std::optional<double>& illuminant_k, const std::filesystem::path& capture);

}  // namespace cali::host
