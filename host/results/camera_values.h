/// What results say of a camera, in units that no ISP owns: camera stacks' files are made of this.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "base/conditions.h"
#include "captures/channels.h"
#include "library/gain_surface.h"
#include "results/results.h"

namespace cali::host {

/// Lights are known by whole kelvin there.
struct LightShading {
    int kelvin = 0;
    GainSurface surface;
};

/// What a grey surface is behind the black level alone, at a place of the frame.
struct LightGrey {
    int kelvin = 0;
    double red_over_green = 0;
    double blue_over_green = 0;
    double x = 0;  ///< photosites
    double y = 0;
};

/// From balanced colours of the camera to linear ones, rows of sum 1: grey stays grey.
struct LightMatrix {
    int kelvin = 0;
    std::array<double, 9> value{};
    MatrixCalibration made;
};

struct CameraValues {
    SensorGeometry sensor;
    std::optional<Channels<double>> black_level;  ///< unrounded, 12-bit codes
    std::vector<LightShading> shading;            ///< by rising temperature, each once; likewise below
    std::vector<LightGrey> greys;
    std::vector<LightMatrix> matrices;
    std::optional<NoiseResults> noise;
    std::vector<std::string> notes;  ///< what was left out, and why
};

/// Of everything that the checks did not reject. Black level and noise are those of the gain nearest `gain`, without it
/// of that nearest 1. Lights that are not known are left out.
[[nodiscard]] CameraValues camera_values(const Results& results, std::optional<double> gain);

}  // namespace cali::host
