/// A place of the chart made exact on what the picture shows of its edges.
#pragma once

#include "detection/chart_guess.h"

namespace cali::host {

/// Fits the map to the middles between the patches' sides as they are seen.
void refine(const SmallPicture& picture, ChartGuess& guess);

/// Moves the corners until the picture is most like the chart: all edges at once, those between two patches as well as
/// those to a gap.
void align(const SmallPicture& picture, ChartGuess& guess);

}  // namespace cali::host
