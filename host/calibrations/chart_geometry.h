/// Where the patches of a photographed 24-patch chart lie, and which way round it is.
#pragma once

#include <array>
#include <cstddef>
#include <span>

#include "cali/cali.h"
#include "chart/chart_table.h"
#include "math/colour_space.h"

namespace cali::host {

/// In photosites; the first photosite reaches from 0 to 1.
struct Point {
    double x;
    double y;
};

/// The chart's own corners wherever the photograph has them: top left (by patch 1), top right (by patch 6), bottom
/// right (by patch 24), bottom left (by patch 19).
using Corners = std::array<Point, 4>;

/// Chart coordinates, one a cell, to photosites: a plane seen in perspective. The chart's corners are (0, 0), (6, 0),
/// (6, 4) and (0, 4), the centre of patch 1 is (0.5, 0.5).
class ChartMap {
public:
    explicit ChartMap(const Corners& corners);

    /// Least squares over four or more places of the chart and where they are seen.
    ChartMap(std::span<const Point> chart, std::span<const Point> seen);

    [[nodiscard]] Point operator()(double u, double v) const {
        const double w = h_[6] * u + h_[7] * v + 1;
        return {(h_[0] * u + h_[1] * v + h_[2]) / w, (h_[3] * u + h_[4] * v + h_[5]) / w};
    }

    [[nodiscard]] Corners corners() const;

    /// A cell without `margin`, in the order of the chart's corners.
    [[nodiscard]] Corners cell(double column, double row, double margin) const;

private:
    std::array<double, 8> h_{};  // row-major; the ninth is 1
};

/// Photosites of a cell either way, from which on it has a window.
inline constexpr double kLeastChartCell = 4;

/// Per patch, in chart order, the largest upright rectangle of whole 2 x 2 cells in the inner half of the patch as
/// photographed. Its centre is the patch's, to the nearest 2 x 2 cell; where the inner half holds no 2 x 2 cell that
/// one is the window. Windows are not held against any frame. Throws InputError on corners of no convex quadrilateral
/// and on cells smaller than that.
[[nodiscard]] std::array<RoiRect, kChartPatches> windows_from_corners(const Corners& corners);

/// How the chart stands in its windows.
struct Orientation {
    int index = 0;
    const char* name = "upright";
    double score = 0;  ///< mean correlation of brightness and colour ratios with the reference, at most 1
};

inline constexpr int kOrientations = 8;

/// The window, counted from 0, that shows each patch of the chart. Orientations 4 to 7 are those of a chart on its
/// side, whose 24 windows run in rows of four.
[[nodiscard]] std::array<std::size_t, kChartPatches> reading_order(int index);

/// Of 24 mean linear colours in window order. Neither exposure nor white balance nor saturation matters. Upright unless
/// another orientation fits clearly better.
[[nodiscard]] Orientation find_orientation(std::span<const Colour> measured);

}  // namespace cali::host
