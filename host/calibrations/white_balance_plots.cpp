#include "calibrations/plot_parts.h"
#include "calibrations/white_balance.h"

namespace cali::host {

void add_plots(const std::vector<WhiteBalance>& results, Section& section) {
    Plot plot{"gains", "Gains by light", {"gain of red"}, {"gain of blue"}, {}, {}, ""};
    Series lights{"grey cards", Series::Kind::points, Tint::plain, {}};
    Series charts{"greys of charts", Series::Kind::points, Tint::other, {}};
    for (const WhiteBalance& result : results) {
        Series& series = result.from_chart ? charts : lights;
        series.points.push_back({result.unrounded.red.value, result.unrounded.blue.value});
        series.labels.push_back(result.taken == Conditions{} ? result.file.filename().string() : to_text(result.taken));
    }
    for (Series* const series : {&lights, &charts}) {
        if (!series->points.empty()) {
            plot.series.push_back(std::move(*series));
        }
    }
    section.plots.push_back(std::move(plot));
}

}  // namespace cali::host
