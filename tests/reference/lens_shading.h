/// Plain versions of the lens-shading calibration with its text and picture files, and of the report of the
/// lens-shading check. One sample, node or circle point at a time, in single precision.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "reference/raw_stages.h"

namespace cali::reference {

using Plane = std::vector<int32_t>;  ///< row-major

/// Quarter-size planes by channel code: 0 blue, 1 green on blue rows, 2 green on red rows, 3 red.
struct Planes {
    int width = 0;
    int height = 0;
    std::array<Plane, 4> code;
};

Planes split(const Samples& frame, int width, int height, int pattern);

int32_t bright_threshold(const Plane& plane, double fraction);
Plane masked_gaussian(const Plane& plane, int width, int height, int32_t threshold);
Plane fill_dark(const Plane& plane, int width, int height, int32_t threshold);
/// 21 taps, across and then down.
Plane low_pass(const Plane& plane, int width, int height);

struct LensShadingArguments {
    int width, height, pattern, cols, rows, type, denoise;
    std::array<int32_t, 4> blc;  ///< RR, GR, GB, BB
};

/// Files by name, with their exact bytes.
using Files = std::map<std::string, std::string>;

struct LensShading {
    bool rejected = false;  ///< no signal to find the centre from; then there are no tables
    int32_t center_x = 0;
    int32_t center_y = 0;
    int32_t norm = 0;
    std::vector<int32_t> red, green, blue;  ///< cols * rows
    std::vector<int32_t> radial;            ///< 32 entries each of red, green, blue, infrared
    std::string printed;
    Files files;
};

/// `dump` is the debug switch of the lens-shading exports.
LensShading lens_shading(const Samples& frame, const LensShadingArguments& arguments, bool dump);

struct LensShadingCheck {
    Samples input, mesh, radial;
    std::string printed;
    Files files;
};

/// Without grids or tables the stage is skipped and its output keeps what it held before.
LensShadingCheck lens_shading_check(const Samples& frame, int width, int height, int pattern,
                                    const BlackLevelArguments& black, const Grids* grids, int center_x, int center_y,
                                    const std::vector<int32_t>* tables, const Samples& mesh_before,
                                    const Samples& radial_before, bool dump);

}  // namespace cali::reference
