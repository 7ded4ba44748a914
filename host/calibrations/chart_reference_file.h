/// Files of a chart's measured colours: our own CSV, or CGATS, told by the content. docs/colour.md describes both.
#pragma once

#include <filesystem>

#include "calibrations/chart_reference.h"

namespace cali::host {

/// Every patch once, within range, the greys neutral and falling from white to black. Throws InputError, which names
/// file and line.
[[nodiscard]] ChartReference read_chart_reference(const std::filesystem::path& file);

}  // namespace cali::host
