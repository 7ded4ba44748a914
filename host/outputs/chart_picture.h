/// A capture with what was found of a chart drawn over it.
#pragma once

#include <string>

#include "captures/frame.h"
#include "detection/chart_finder.h"
#include "detection/flat_regions.h"
#include "library/tuning_values.h"

namespace cali::host {

/// A PNG of the picture alone; one black pixel where there is none.
[[nodiscard]] std::string plain_picture(const SmallPicture& picture);

/// A PNG of at most about a thousand pixels either way. Found: outline, windows and patch numbers. Not found: the
/// centres of what could be patches, and the outline of what was most likely.
[[nodiscard]] std::string chart_picture(const Capture& capture, const BlackLevels& black_level,
                                        const FoundChart& chart);

}  // namespace cali::host
