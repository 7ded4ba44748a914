/// Every figure of results as a table for spreadsheets.
#pragma once

#include <string>

#include "results/results.h"

namespace cali::host {

/// calibration,entry,figure,value,unit,uncertainty,step,truth; empty where nothing is known (RFC 4180).
[[nodiscard]] std::string figures_csv(const Results& results);

/// A field of such a table, in quotes where it needs them.
[[nodiscard]] std::string csv_field(const std::string& text);

}  // namespace cali::host
