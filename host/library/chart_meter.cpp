#include "library/chart_meter.h"

#include "library/exports.h"
#include "library/front_end.h"

namespace cali::host {

ChartMeter::ChartMeter(const Capture& chart, const ChartWindows& windows) : chart_(chart), windows_(windows) {}

std::vector<Colour> ChartMeter::colours(const TuningValues& values) {
    std::vector<Colour> means;
    for (const PatchSums& patch : sums(values)) {
        Colour& mean = means.emplace_back();
        for (std::size_t c = 0; c < mean.size(); ++c) {
            mean[c] = static_cast<double>(patch.sum[c]) / (static_cast<double>(patch.count[c]) * kLibraryFullScale);
        }
    }
    return means;
}

ChartMeans ChartMeter::means(const TuningValues& values) { return means_of(sums(values)); }

const ChartSums& ChartMeter::sums(const TuningValues& values) {
    if (!measured_ || black_level_ != values.black_level || grids_ != values.grids || gains_ != values.gains) {
        require_shadeable(chart_);
        measured_ = false;
        sums_ = sum_chart(chart_.view(), front_end_of(values), windows_);
        black_level_ = values.black_level;
        grids_ = values.grids;
        gains_ = values.gains;
        measured_ = true;
    }
    return sums_;
}

}  // namespace cali::host
