/// Colour tables as .cube files, which colour-grading programs read.
#pragma once

#include <string>

#include "calibrations/colour_table.h"

namespace cali::host {

/// An rgb table: red fastest, 0..1.
[[nodiscard]] std::string cube_text(const ColourTable& table);

}  // namespace cali::host
