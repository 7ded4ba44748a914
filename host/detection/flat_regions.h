/// A small colour picture of a capture, and the regions of it that are evenly coloured.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "calibrations/chart_geometry.h"
#include "captures/frame.h"
#include "library/tuning_values.h"

namespace cali::host {

/// Cells of 2 x 2 photosites, several of them to a pixel of a large capture. Coordinates are the pixels': pixel 0
/// reaches from 0 to 1.
struct SmallPicture {
    int width = 0;
    int height = 0;
    int photosites = 2;                        ///< of a pixel's side
    std::array<std::vector<float>, 3> linear;  ///< red, green, blue above black, in codes
    std::array<std::vector<float>, 3> level;   ///< roots of the same, 0 to about 1, brightness evened out
    std::array<Point, 3> shift{};              ///< of each colour's photosites from the pixel's centre, pixels
    double noise = 0;                          ///< of levels: the median difference to a neighbour

    [[nodiscard]] std::size_t at(int x, int y) const {
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x);
    }
    [[nodiscard]] bool inside(const Point& p, double margin) const {
        return p.x >= margin && p.y >= margin && p.x <= width - margin && p.y <= height - margin;
    }
    /// Between the pixels' centres; `p` inside the picture.
    [[nodiscard]] std::array<double, 3> level_at(const Point& p) const;
};

/// At most about a thousand pixels wide and high.
[[nodiscard]] SmallPicture small_picture(const Capture& capture, const BlackLevels& black_level);

struct FlatRegion {
    Point centre;
    double area = 0;  ///< pixels
};

/// Compact regions without edges, at several strengths of what counts as an edge. Of regions within each other that
/// share their centre the largest is kept.
[[nodiscard]] std::vector<FlatRegion> flat_regions(const SmallPicture& picture);

}  // namespace cali::host
