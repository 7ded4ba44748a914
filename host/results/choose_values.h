/// The values of earlier calibrations that the next one applies.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "library/tuning_values.h"
#include "results/results.h"

namespace cali::host {

/// The entry for a light: the only one, or the one of that temperature. Throws InputError.
[[nodiscard]] const WhiteBalance& choose_white_balance(const Results& results, std::optional<double> illuminant_k);

/// The mesh of the nearest light; unity grids where there is none.
void choose_grids(const std::vector<LensShading>& shading, std::optional<double> illuminant_k, TuningValues& values);

/// The values for one light; with several and no light, InputError. Gains of 1 where they are not asked for. A missing
/// black level is said on standard error.
[[nodiscard]] TuningValues choose_values(const Results& results, std::optional<double> illuminant_k, bool with_gains);

/// The black level of a results file; none, with a word on standard error, for an empty name. Throws InputError.
[[nodiscard]] BlackLevels read_black_level(const std::string& file);

/// The black level of results. Throws InputError where they hold none.
[[nodiscard]] const BlackLevels& require_black_level(const Results& results);

/// What several results files hold together; of black levels the first. Throws InputError.
[[nodiscard]] Results read_all(const std::vector<std::string>& files);

/// A chart's patches behind its matrix.
[[nodiscard]] TableInput table_input(const MatrixCalibration& matrix);

}  // namespace cali::host
