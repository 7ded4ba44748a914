/// Whether a colour table is better than none.
#pragma once

#include "calibrations/colour_table.h"
#include "checks/check.h"

namespace cali::host {

/// One that is not needed passes.
void check_table(const ColourTable& table, Judge& judge);

}  // namespace cali::host
