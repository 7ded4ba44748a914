/// Plots as SVG files.
#pragma once

#include <string>

#include "base/section.h"

namespace cali::host {

/// Of the section's plot of that name: points, lines and dashes between the ends of its axes. Throws std::out_of_range
/// where it has none.
[[nodiscard]] std::string svg_text(const Section& section, const std::string& name);

}  // namespace cali::host
