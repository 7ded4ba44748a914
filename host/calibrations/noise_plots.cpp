#include <algorithm>

#include "base/text.h"
#include "calibrations/noise.h"
#include "calibrations/plot_parts.h"

namespace cali::host {
namespace {

constexpr const char* kMeanAxis = "mean above black, codes of 12 bits";

double value_of(const NoiseLine& line, double mean) {
    return static_cast<double>(line.slope) * mean + static_cast<double>(line.intercept);
}

double mean_of(const NoiseLevel& level, std::size_t c) { return static_cast<double>(level.mean[c]); }

/// A point of each level whose mean, or what is plotted against it, an axis can show.
template <typename Value>
Series points(const NoiseResults& results, const ChannelLabel& channel, Value value) {
    Series series{channel.title, Series::Kind::points, channel_tint(channel.index, results.record.mono), {}};
    for (const NoiseLevel& level : results.levels) {
        series.points.push_back({mean_of(level, channel.index), value(level, channel.index)});
        series.labels.push_back(level.name);
    }
    return series;
}

Series curve(Series of, const char* name, Series::Kind kind, std::vector<std::array<double, 2>> points) {
    of.name += name;
    of.kind = kind;
    of.points = std::move(points);
    of.labels.clear();
    return of;
}

Plot deviation_plot(const NoiseResults& results, double most) {
    double deviation = 1;
    for (const NoiseLevel& level : results.levels) {
        for (const float of : level.deviation) {
            deviation = std::max(deviation, static_cast<double>(of) * 1.15);
        }
    }
    Plot plot{"deviation",
              "Standard deviation; line: linear, dashed: from the variance",
              {kMeanAxis, false, 0, most},
              {"standard deviation, codes", false, 0, deviation},
              {},
              {},
              ""};
    for (const ChannelLabel& channel : channel_labels(results.record.mono)) {
        const Series measured = points(results, channel, [](const NoiseLevel& level, std::size_t c) {
            return static_cast<double>(level.deviation[c]);
        });
        const std::size_t c = channel.index;
        plot.series.push_back(curve(measured, ", linear", Series::Kind::line, sampled(0, most, false, [&](double mean) {
                                        return std::max(value_of(results.deviation[c], mean), 0.0);
                                    })));
        plot.series.push_back(
            curve(measured, ", from variance", Series::Kind::dashes, sampled(0, most, false, [&](double mean) {
                      return std::sqrt(std::max(value_of(results.variance[c], mean), 0.0));
                  })));
        plot.series.push_back(measured);
    }
    return plot;
}

Plot residual_plot(const NoiseResults& results, bool of_variance) {
    Plot plot{of_variance ? "variance_residual" : "residual",
              of_variance ? "Variance off its line" : "Deviation off its line",
              {kMeanAxis, false, 0},
              {"% of the line"},
              {},
              {{"line", 0, 0}},
              ""};
    for (const ChannelLabel& channel : channel_labels(results.record.mono)) {
        plot.series.push_back(points(results, channel, [&](const NoiseLevel& level, std::size_t c) {
            const NoiseLine& line = of_variance ? results.variance[c] : results.deviation[c];
            const float measured = of_variance ? level.variance[c] : level.deviation[c];
            return 100 * (static_cast<double>(measured) / value_of(line, mean_of(level, c)) - 1);
        }));
    }
    return plot;
}

Plot transfer_plot(const NoiseResults& results, double least, double most) {
    Plot plot{"photon_transfer",
              "Photon transfer: variance and its line",
              {kMeanAxis, true},
              {"variance, codes^2", true},
              {},
              {},
              ""};
    for (const ChannelLabel& channel : channel_labels(results.record.mono)) {
        Series measured = points(results, channel, [](const NoiseLevel& level, std::size_t c) {
            return static_cast<double>(level.variance[c]);
        });
        const NoiseLine& line = results.variance[channel.index];
        std::vector<std::array<double, 2>> fit =
            sampled(least, most, true, [&](double mean) { return value_of(line, mean); });
        std::erase_if(fit, [](const auto& point) { return !(point[1] > 0); });
        plot.series.push_back(curve(measured, ", line", Series::Kind::line, std::move(fit)));
        plot.series.push_back(std::move(measured));
    }
    return plot;
}

Plot ratio_plot(const NoiseResults& results) {
    Plot plot{"snr", "Signal to noise", {kMeanAxis, true}, {"dB"}, {}, {}, ""};
    for (const ChannelLabel& channel : channel_labels(results.record.mono)) {
        plot.series.push_back(points(results, channel, [](const NoiseLevel& level, std::size_t c) {
            return 20 * std::log10(mean_of(level, c) / static_cast<double>(level.deviation[c]));
        }));
    }
    return plot;
}

/// Logarithms have no place for a level without light.
void leave_dark_out(Plot& plot) {
    for (Series& series : plot.series) {
        for (std::size_t i = series.points.size(); i-- > 0;) {
            const auto& [x, y] = series.points[i];
            const bool shown = x > 0 && std::isfinite(y) && (!plot.y.logarithmic || y > 0);
            if (!shown) {
                series.points.erase(series.points.begin() + static_cast<std::ptrdiff_t>(i));
                if (!series.labels.empty()) {
                    series.labels.erase(series.labels.begin() + static_cast<std::ptrdiff_t>(i));
                }
            }
        }
    }
}

}  // namespace

void add_plots(const NoiseResults& results, Section& section) {
    double least = 1;
    double most = 1;
    for (const NoiseLevel& level : results.levels) {
        for (std::size_t c = 0; c < level.mean.size(); ++c) {
            const double mean = mean_of(level, c);
            most = std::max(most, mean * 1.05);
            least = mean > 0 ? std::min(least, mean) : least;
        }
    }
    section.plots = {deviation_plot(results, most), residual_plot(results, false), residual_plot(results, true)};
    for (Plot plot : {transfer_plot(results, least, most), ratio_plot(results)}) {
        leave_dark_out(plot);
        section.plots.push_back(std::move(plot));
    }
}

}  // namespace cali::host
