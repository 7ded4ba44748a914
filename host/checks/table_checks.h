/// Whether a colour table is better than none.
#pragma once

#include "calibrations/colour_table.h"
#include "checks/check.h"

namespace cali::host {

/// False where the matrix leaves so little (mean CIEDE2000 below 0.5) that no table is offered.
[[nodiscard]] bool table_needed(const ColourTable& table);

/// One that is not needed passes.
void check_table(const ColourTable& table, Judge& judge);

}  // namespace cali::host
