/// A chart's patches as a CGATS file, which profilers read.
#pragma once

#include <string>

#include "calibrations/colour_matrix.h"

namespace cali::host {

/// Raw RGB behind black level and lens shading, without white balance, 100 at full scale; XYZ relative to D50, Y of the
/// perfect white 100 (CGATS.17).
[[nodiscard]] std::string ti3_text(const MatrixCalibration& matrix);

}  // namespace cali::host
