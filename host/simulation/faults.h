/// Bad captures: what goes wrong when they are taken.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "simulation/sensor.h"

namespace cali::host {

enum class ShotKind { dark, flat, grey, chart, series };

/// One exposure about to be made.
struct Shot {
    std::string stem;  ///< of its files' names
    ShotKind kind = ShotKind::dark;
    double illuminant_k = 0;  ///< as it is stated; 0: in the dark
    double level = 0;         ///< of full scale, as the scene was asked for
    int frame = 0;            ///< from 0, of a dark frame or of a level
    SensorModel sensor;
    Scene scene;
    uint32_t stream = 0;  ///< of the random numbers
};

enum class FaultKind {
    light_leak,
    saturated_dark,
    defects,
    column,
    dark_drift,
    tilt,
    dust,
    smear,
    flat_clipping,
    flat_dim,
    grey_clipping,
    grey_dim,
    grey_on_chart,
    shading_by_light,
    chart_clipping,
    chart_dim,
    chart_shift,
    chart_mirrored,
    wrong_light,
    flicker,
    series_clipping,
};

struct Fault {
    FaultKind kind = FaultKind::light_leak;
    double amount = 0;  ///< in the fault's own unit; docs/simulation.md lists them
};

[[nodiscard]] const char* fault_name(FaultKind kind);

/// "tilt", or "tilt=8". Throws InputError.
[[nodiscard]] Fault parse_fault(const std::string& text, const std::string& where);

/// Names with what their amounts mean, for a help text.
[[nodiscard]] std::string fault_list();

/// The capture with its faults, in codes of the file's own depth. Those of other kinds of captures do nothing.
[[nodiscard]] std::vector<uint16_t> take(Shot shot, const std::vector<Fault>& faults, uint64_t seed);

}  // namespace cali::host
