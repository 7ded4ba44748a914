/// A 24-patch chart somewhere in a frame, seen at an angle and among other things, with known patch centres.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "chart/chart_table.h"
#include "simulation/sensor.h"

namespace cali::host {

/// What lies behind the chart: linear camera colours relative to full scale, row-major.
struct Backdrop {
    int width = 0;
    int height = 0;
    std::vector<Vector3> colours;
};

/// What lies around the chart, or is there in its place.
struct Clutter {
    int rectangles = 0;
    int other_charts = 0;  ///< grids of patches with other colours, or with the chart's in another order
};

/// How the chart is seen. Lengths of the chart are in cells: a patch and the gap beside it.
struct ChartView {
    bool present = true;
    bool mirrored = false;
    double turn = 0;          ///< in its own plane, radians clockwise as seen
    double tilt = 0;          ///< out of the frame's plane, radians
    double tilt_axis = 0;     ///< radians
    double focal_length = 1;  ///< frame widths
    double height = 0.5;      ///< its outline's, relative to the frame's; less where the width would not fit
    std::array<double, 2> place = {0.5, 0.5};  ///< where in the room that is left, 0..1
    double gap = 0.15;                         ///< between patches, relative to a patch
    double border = 0.3;                       ///< of the body around the outer cells
    double distortion = 0;                     ///< of the distance from the frame's centre, at the half diagonal
    double blur = 0;                           ///< Gaussian, standard deviation in photosites
    double light_ratio = 1;                    ///< brightest over darkest light in the frame
    double light_turn = 0;                     ///< direction of its slope, radians; below 0: falls off from the centre
    double illuminant_k = 5000;
    double level = 0.9;  ///< a perfect white in the brightest light, relative to full scale
    Clutter clutter;
    const Backdrop* backdrop = nullptr;  ///< a crop of it, where not null
    uint64_t seed = 1;                   ///< of the clutter
};

struct PlacedChart {
    Scene scene;
    std::array<std::array<double, 2>, kChartPatches> centres{};  ///< of the patches, in photosites
    std::array<std::array<double, 2>, 4> corners{};              ///< of the cells, by patches 1, 6, 24 and 19
    double least_patch = 0;                                      ///< the shortest side of a patch, photosites
};

/// Where the patches of `view` lie; without the scene, which takes time.
[[nodiscard]] PlacedChart outline_of(const SensorModel& sensor, const ChartView& view);

[[nodiscard]] PlacedChart place_chart(const SensorModel& sensor, const ChartView& view);

/// A chart in the middle of other things, as one would place it for a calibration: large, any way round, tilted by 5 to
/// 30 degrees, in even light.
[[nodiscard]] ChartView session_view(uint64_t seed);

/// A sensor's frame size, pattern and noise, and a view of the chart, at random within what is to be found: any turn,
/// tilt to 35 degrees, 15 to 100 % of the frame's height, patches of 12 photosites and more. Frames are 640 to 1600
/// wide, one of forty 1600 to 4000.
[[nodiscard]] ChartView random_view(uint64_t seed, SensorModel& sensor);

}  // namespace cali::host
