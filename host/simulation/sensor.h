/// A sensor with known truth. docs/simulation.md describes the model.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "captures/channels.h"
#include "captures/frame.h"
#include "simulation/illuminant.h"

namespace cali::host {

/// By which the pedestal rises for a unit of gain, codes.
inline constexpr double kPedestalPerGain = 2;
/// Share of the read noise's variance at gain 1 that arises before the amplifier.
inline constexpr double kReadNoiseBeforeGain = 0.5;

/// All codes are on the 12-bit scale.
struct SensorModel {
    int width = 1920;
    int height = 1080;
    int pattern = 3;    ///< RGGB
    bool mono = false;  ///< no mosaic: all channels are alike
    int bits = 12;
    double gain = 1;  ///< analogue; what follows is as it is behind it
    Channels<double> pedestal = {64, 66, 65, 63};
    double read_noise = 3.0;        ///< standard deviation, codes
    double conversion_gain = 0.25;  ///< codes per electron: shot noise has the variance gain * signal
    double axis_x = 0;              ///< optical axis, photosites from the centre
    double axis_y = 0;
    /// Light left at distance r from the axis, 1 at the half diagonal: 1 - k2 r^2 - k4 r^4.
    Channels<double> falloff_k2 = {0.38, 0.35, 0.35, 0.33};
    double falloff_k4 = 0.10;
    /// How far chart colours leave a response that is linear in the reference: colours relative to white move away from
    /// their mean in proportion to their spread. Greys stay.
    double bend = 0;
    /// CIE XYZ to camera red, green, blue.
    Matrix3 camera_of_xyz = {{{0.80, -0.15, -0.10}, {-0.30, 1.20, 0.18}, {0.05, -0.05, 0.72}}};

    /// Pedestals are whole codes of the file's own depth.
    void round_pedestals();

    /// All photosites become what the green ones of the red rows are.
    void take_colours_away();

    /// This sensor, which is at gain 1, at another: the same share of the range for the same scene, of a shorter
    /// exposure.
    [[nodiscard]] SensorModel at(double analogue_gain) const;
};

/// "RGGB", or "MONO".
[[nodiscard]] const char* pattern_text(const SensorModel& sensor);

/// Light on the sensor before shading.
struct Scene {
    bool shaded = true;
    /// Camera colours relative to full scale; one for a uniform scene, or 24 patches and the border between them.
    std::vector<Vector3> colours;
    /// One for every photosite, row-major, in place of `colours`, where not empty.
    std::vector<Vector3> picture = {};
    /// Factor on the light at a place of the frame, column and row from 0 to 1; none: 1 everywhere.
    std::function<double(double, double)> light = nullptr;
    /// Which place of a chart that fills the frame is seen at a place of it; none: the same.
    std::function<std::array<double, 2>(double, double)> seen = nullptr;
};

/// No light.
[[nodiscard]] Scene dark_scene();
/// A neutral, uniform target under a light; its strongest channel at `level` of full scale.
[[nodiscard]] Scene uniform_scene(const SensorModel& sensor, double illuminant_k, double level);
/// The 24-patch chart, filling the frame as 6 x 4 cells of which a patch takes the inner four fifths either way; a
/// perfect white would stand at `level` of full scale.
[[nodiscard]] Scene chart_scene(const SensorModel& sensor, double illuminant_k, double level);

/// What a surface of the encoded colour `srgb` (0..1, under D65) sends to the camera under a light, relative to full
/// scale; exposed as chart_scene is.
[[nodiscard]] Vector3 surface_colour(const SensorModel& sensor, double illuminant_k, double level, const Vector3& srgb);

/// Camera red, green and blue of a perfect white under a light with Y = 1.
[[nodiscard]] Vector3 camera_white(const SensorModel& sensor, double illuminant_k);

/// One exposure in codes of the file's own depth. The same seed and stream give the same frame.
[[nodiscard]] std::vector<uint16_t> expose(const SensorModel& sensor, const Scene& scene, uint64_t seed,
                                           uint32_t stream);

}  // namespace cali::host
