/// A place of the chart in a picture, and what its patches show there.
#pragma once

#include <array>
#include <vector>

#include "calibrations/chart_geometry.h"
#include "detection/chart_colours.h"
#include "detection/flat_regions.h"
#include "detection/patch_lattice.h"

namespace cali::host {

/// Where the chart may lie, and what speaks for it.
struct ChartGuess {
    ChartMap map;
    bool mirrored = false;
    ColourFit fit;
    double other_order = 1;
    double edge_support = 0;
    double flat_share = 0;
    std::array<double, 2> half = {0.4, 0.4};  ///< of a patch, cells
};

/// Half of what is measured of a cell.
inline constexpr double kMeasuredHalf = 0.22;

/// Of the chart, where they count lattices.
inline constexpr int kColumns = kChartColumns;
inline constexpr int kRows = kChartRows;

/// A patch's middle, in cells from the chart's corner.
[[nodiscard]] inline double column_of(std::size_t patch) { return static_cast<double>(patch % kChartColumns) + 0.5; }
[[nodiscard]] inline double row_of(std::size_t patch) { return static_cast<double>(patch / kChartColumns) + 0.5; }

/// Side lengths of the cell around a place, pixels, the shorter one.
[[nodiscard]] double cell_size(const ChartMap& map, double u, double v);

/// Whether all patches lie in the picture and are large enough; also that the map is one of a plane before the camera.
[[nodiscard]] bool fits(const SmallPicture& picture, const ChartMap& map);

/// Linear means over the middle of the cells.
[[nodiscard]] PatchColours measure_patches(const SmallPicture& picture, const ChartMap& map);

/// All places and orders of the chart on a lattice whose colours could be the chart's.
void add_guesses(const SmallPicture& picture, const PatchLattice& lattice, std::vector<ChartGuess>& guesses);

}  // namespace cali::host
