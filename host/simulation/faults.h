/// Bad captures: what goes wrong when they are taken.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "simulation/chart_view.h"
#include "simulation/sensor.h"

namespace cali::host {

enum class ShotKind { dark, flat, grey, chart, series };

/// One exposure about to be made.
struct Shot {
    std::string stem;  ///< of its files' names
    ShotKind kind = ShotKind::dark;
    double illuminant_k = 0;  ///< as it is stated; 0: in the dark
    double level = 0;         ///< of full scale, as the scene was asked for
    int frame = 0;            ///< from 0, of a dark frame, of a burst or of a level
    SensorModel sensor;
    Scene scene;
    std::optional<ChartView> view;  ///< of a chart, in place of the scene
    uint32_t stream = 0;            ///< of the random numbers
};

/// What its amount means stands beside each.
enum class FaultKind {
    light_leak,        ///< codes of light at the top left corner of dark frames
    saturated_dark,    ///< % of a dark frame's samples at full scale
    defects,           ///< hot pixels of dark frames, ppm
    column,            ///< codes by which a column of dark frames is off
    dark_drift,        ///< codes from one dark frame to the next
    tilt,              ///< % by which the light falls from left to right over a flat field
    dust,              ///< % by which a spot of a flat field is darker
    smear,             ///< % by which a streak down a flat field is brighter
    flat_clipping,     ///< exposed so many times as long
    flat_dim,          ///< the same
    grey_clipping,     ///< the same
    grey_dim,          ///< the same
    grey_light,        ///< kelvin that grey cards are really under
    grey_on_chart,     ///< 1: the chart stands in place of the grey card
    shading_by_light,  ///< by how much more red, and less blue, of grey cards and charts falls off than of flat fields
    chart_clipping,    ///< exposed so many times as long
    chart_dim,         ///< the same
    chart_shift,       ///< % of the width to the right
    chart_mirrored,    ///< 1: left to right
    wrong_light,       ///< kelvin that charts are really under
    flicker,           ///< % by which every second frame of a level is brighter
    series_clipping,   ///< exposed so many times as long
    burst_flicker,     ///< % by which the second frame of a burst is brighter
};

struct Fault {
    FaultKind kind = FaultKind::light_leak;
    double amount = 0;
};

[[nodiscard]] const char* fault_name(FaultKind kind);

/// "tilt", or "tilt=8". Throws InputError.
[[nodiscard]] Fault parse_fault(const std::string& text, const std::string& where);

/// The capture with its faults, in codes of the file's own depth. Those of other kinds of captures do nothing.
[[nodiscard]] std::vector<uint16_t> take(Shot shot, const std::vector<Fault>& faults, uint64_t seed);

}  // namespace cali::host
