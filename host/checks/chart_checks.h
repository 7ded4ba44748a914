/// Whether a chart is where its windows are, well exposed and under the stated light, and what its matrix is worth.
#pragma once

#include <optional>

#include "calibrations/colour_matrix.h"
#include "captures/frame.h"
#include "checks/check.h"
#include "library/tuning_values.h"

namespace cali::host {

/// Before a matrix is fitted, behind the black level and grids of `values`. Windows must fit the frame. A chart that is
/// not upright fails. Throws InputError for a frame larger than the shading blocks take.
void check_chart(const Capture& chart, const TuningValues& values, const ChartWindows& windows, Judge& judge);

/// Stated lights in kelvin: of the chart, and of the capture that the gains (or a mesh) come from. Nothing where one is
/// unknown.
void check_chart_light(std::optional<double> chart_k, std::optional<double> values_k, Judge& judge);

/// A fitted matrix. `leave_one_out`: mean CIEDE2000 of the patches, each behind a matrix made without it; not judged
/// where it is not known.
void check_matrix(const MatrixCalibration& matrix, std::optional<double> leave_one_out, Judge& judge);

}  // namespace cali::host
