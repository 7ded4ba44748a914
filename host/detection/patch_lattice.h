/// Regions that lie in rows and columns.
#pragma once

#include <map>
#include <utility>
#include <vector>

#include "detection/flat_regions.h"

namespace cali::host {

/// Column and row, about the region that the search started from, to the region's centre.
using PatchLattice = std::map<std::pair<int, int>, Point>;

/// Lattices of `least` regions and more, those of most regions first. Rows and columns may be bent and seen at an
/// angle; regions may be missing.
[[nodiscard]] std::vector<PatchLattice> patch_lattices(const std::vector<FlatRegion>& regions, std::size_t least);

}  // namespace cali::host
