/// Tuning values as registers hold them, for one light and gain: as register text and as a C header.
#pragma once

#include <string>

#include "base/conditions.h"
#include "results/results.h"

namespace cali::host {

/// `name = value` lines, tables as here-documents, as the lens shading's register text. Of what was calibrated for
/// several lights `chosen` has to name one. Throws InputError.
[[nodiscard]] std::string register_values_text(const Results& results, const Conditions& chosen);

/// The same values as constants for C and C++. Throws likewise.
[[nodiscard]] std::string register_values_header(const Results& results, const Conditions& chosen);

}  // namespace cali::host
