/// Plots as SVG files.
#pragma once

#include <string>

#include "base/section.h"

namespace cali::host {

[[nodiscard]] std::string svg_text(const Plot& plot);

/// Of the section's plot of that name. Throws std::out_of_range where it has none.
[[nodiscard]] std::string svg_text(const Section& section, const std::string& name);

}  // namespace cali::host
