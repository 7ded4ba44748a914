/// How black level and noise go with the analogue gain.
#pragma once

#include <optional>
#include <vector>

#include "base/json.h"
#include "base/section.h"
#include "results/results.h"

namespace cali::host {

struct GainPoint {
    double gain = 1;
    std::optional<Channels<double>> black_level;         ///< mean, 12-bit codes
    std::optional<Channels<double>> codes_per_electron;  ///< slope of the variance line
    std::optional<Channels<double>> read_variance;       ///< its intercept, codes^2
};

/// y = slope * gain + intercept by least squares; nothing of fewer than two gains.
struct GainLine {
    double slope = 0;
    double intercept = 0;
};

struct GainModel {
    std::vector<GainPoint> points;  ///< by rising gain
    std::optional<Channels<GainLine>> black_level;
    std::optional<Channels<GainLine>> codes_per_electron;
    bool mono = false;
};

/// Over all entries of known gain that were not rejected; nothing of fewer than two gains.
[[nodiscard]] std::optional<GainModel> gain_model(const Results& results);

[[nodiscard]] Section describe(const GainModel& model);
[[nodiscard]] Json to_json(const GainModel& model);

}  // namespace cali::host
