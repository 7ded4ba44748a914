/// Many units in one table.
#pragma once

#include <string>
#include <vector>

#include "results/unit_record.h"

namespace cali::host {

/// A line for each unit (RFC 4180): unit, verdict, the outliers among its figures with their robust z, why it was not
/// calibrated, the state of each calibration, and every figure that a unit has, "SECTION.ENTRY.FIGURE [UNIT]".
[[nodiscard]] std::string summary_csv(const std::vector<UnitRecord>& units);

/// The list of results files that `cali report --list` takes: of units that were calibrated, beside the list.
[[nodiscard]] std::string units_list(const std::vector<UnitRecord>& units);

/// How the units stand: "60 units: 57 pass, 1 warn, 2 fail (1 of them not calibrated)".
[[nodiscard]] std::string units_line(const std::vector<UnitRecord>& units);

}  // namespace cali::host
