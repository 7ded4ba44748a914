/// Colours of one chart's windows behind the front end.
#pragma once

#include <vector>

#include "captures/frame.h"
#include "chart/chart_measure.h"
#include "library/tuning_values.h"
#include "math/colour_space.h"

namespace cali::host {

/// Only the windows' samples go through the stages. What they sum up to is kept: those who fit, expose and judge a
/// matrix ask behind the same values. Windows must fit the frame, which must stay. Throws InputError.
class ChartMeter {
public:
    ChartMeter(const Capture& chart, const ChartWindows& windows);

    [[nodiscard]] const Capture& chart() const { return chart_; }
    [[nodiscard]] const ChartWindows& windows() const { return windows_; }

    /// Means, 1 at full scale.
    [[nodiscard]] std::vector<Colour> colours(const TuningValues& values);
    /// Means in codes, as the library's fits divide them.
    [[nodiscard]] ChartMeans means(const TuningValues& values);

private:
    const ChartSums& sums(const TuningValues& values);

    const Capture& chart_;
    ChartWindows windows_;
    BlackLevels black_level_;  ///< that the sums are behind
    ShadingGrids grids_;
    GainRegisters gains_;
    ChartSums sums_{};
    bool measured_ = false;
};

}  // namespace cali::host
