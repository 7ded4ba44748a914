#include "calibrations/white_balance.h"

#include <algorithm>
#include <cmath>
#include <span>

#include "base/error.h"
#include "base/text.h"
#include "chart/chart_table.h"
#include "library/exports.h"
#include "library/front_end.h"

namespace cali::host {
namespace {

constexpr int kLargestWindow = 256;
constexpr double kGainUnity = 1024.0;

int even_below(int value) { return value & ~1; }

/// A colour in a window: its mean, whose uncertainty is that of the noise.
class ColourMean {
public:
    /// `neighbour`: the sample two columns to the left, where the window has it.
    void add(double sample, const uint32_t* neighbour) {
        ++count_;
        sum_ += sample;
        if (neighbour != nullptr) {
            const double difference = sample - static_cast<double>(*neighbour);
            ++differences_;
            squares_ += difference * difference;
        }
    }

    /// Differences of neighbours have twice the noise's variance, and next to nothing of slopes (J. von Neumann et al.,
    /// The mean square successive difference, Annals of Mathematical Statistics 12, 1941).
    [[nodiscard]] Measured mean() const {
        const double variance = differences_ > 0 ? squares_ / (2 * differences_) : 0;
        return {sum_ / count_, std::sqrt(variance / count_)};
    }

private:
    double count_ = 0;
    double sum_ = 0;
    double differences_ = 0;
    double squares_ = 0;
};

Measured ratio(const Measured& green, const Measured& colour) {
    const double value = green.value / colour.value;
    return {value, value * std::hypot(green.uncertainty / green.value, colour.uncertainty / colour.value)};
}

UnroundedGains unrounded_gains(const Capture& grey, const TuningValues& values, std::span<const RoiRect> windows) {
    FrontEnd front_end = front_end_of(values);
    front_end.wb_gains.reset();
    std::array<ColourMean, 3> colours;
    for (const RoiRect& window : windows) {
        const std::vector<uint32_t> samples = window_behind(grey, front_end, window);
        for (std::size_t i = 0; i < samples.size(); ++i) {
            const auto x = static_cast<uint32_t>(i % static_cast<std::size_t>(window.w));
            const auto y = static_cast<uint32_t>(i / static_cast<std::size_t>(window.w));
            const Channel channel = bayer_channel(grey.sensor.pattern, static_cast<uint32_t>(window.y) + y,
                                                  static_cast<uint32_t>(window.x) + x);
            colours[colour_of(channel)].add(samples[i], x >= 2 ? &samples[i - 2] : nullptr);
        }
    }
    const Measured green = colours[1].mean();
    return {ratio(green, colours[0].mean()), ratio(green, colours[2].mean())};
}

void require_signal(const WhiteBalance& result, const char* target) {
    if (result.gains.red == 0 || result.gains.blue == 0) {
        throw CalibrationError(result.file.filename().string() +
                               ": red or blue has no signal above black in the window, expected a lit " + target);
    }
}

}  // namespace

Window default_window(const SensorGeometry& sensor) {
    if (sensor.width < 4 || sensor.height < 4) {
        throw InputError("a frame of " + by(sensor.width, sensor.height) +
                         " has no room for a measuring window, expected 4 x 4 or more");
    }
    Window window;
    window.width = std::min(kLargestWindow, even_below(sensor.width - 2));
    window.height = std::min(kLargestWindow, even_below(sensor.height - 2));
    window.x = even_below((sensor.width - window.width) / 2);
    window.y = even_below((sensor.height - window.height) / 2);
    return window;
}

void require_grey_window(const Capture& grey, const Window& window) {
    require_shadeable(grey);
    if (window.width < 2 || window.height < 2 || window.x + window.width >= grey.sensor.width ||
        window.y + window.height >= grey.sensor.height) {
        throw InputError(grey.file.string() + ": the window " + to_text(window) +
                         text(" does not fit, expected 2 x 2 or more that end before column %d and row %d",
                              grey.sensor.width - 1, grey.sensor.height - 1));
    }
}

WhiteBalance measure_grey_card(Capture& grey, const TuningValues& values, const Window& window,
                               const LibraryOutput& output) {
    require_grey_window(grey, window);
    WhiteBalance result;
    result.file = grey.file;
    result.flat_field = values.flat_field;
    result.window = {even_below(window.x), even_below(window.y), even_below(window.width), even_below(window.height)};
    result.gains = exports::awb_calc(grey, values.black_level, values.grids, window, output);
    require_signal(result, "grey target");
    const Window& even = result.window;
    const RoiRect measured = {even.x, even.y, even.width, even.height};
    result.unrounded = unrounded_gains(grey, values, std::span(&measured, 1));
    return result;
}

WhiteBalance measure_chart_greys(Capture& chart, const TuningValues& values, const ChartWindows& windows,
                                 const LibraryOutput& output) {
    WhiteBalance result;
    result.file = chart.file;
    result.flat_field = values.flat_field;
    result.from_chart = true;
    const auto greys = std::span(windows).subspan(kFirstBalanceGrey, kLastBalanceGrey - kFirstBalanceGrey + 1);
    int right = 0;
    int bottom = 0;
    result.window = {greys[0].x, greys[0].y, 0, 0};
    for (const RoiRect& grey : greys) {
        result.window.x = std::min(result.window.x, grey.x);
        result.window.y = std::min(result.window.y, grey.y);
        right = std::max(right, grey.x + grey.w);
        bottom = std::max(bottom, grey.y + grey.h);
    }
    result.window.width = right - result.window.x;
    result.window.height = bottom - result.window.y;
    (void)exports::awb_ccm(chart, values, windows, exports::kEqualWeights, result.gains, output);
    require_signal(result, "chart");
    result.unrounded = unrounded_gains(chart, values, greys);
    return result;
}

Section describe(const std::vector<WhiteBalance>& results) {
    Section section;
    section.title = "White-balance gains, 1024 = 1.0";
    Table& table = section.tables.emplace_back();
    table.columns = {{"grey card", 28, true}, {"light", 10}, {"red", 14}, {"green", 14}, {"blue", 14}};
    for (const WhiteBalance& result : results) {
        const std::string name = result.file.filename().string();
        const std::string shown = name + (result.from_chart ? " (its greys)" : "");
        const auto gain = [](uint16_t q10) { return text("%5u (%6.4f)", q10, q10 / kGainUnity); };
        table.rows.push_back({{shown, result.taken == Conditions{} ? "-" : to_text(result.taken),
                               gain(result.gains.red), gain(result.gains.green), gain(result.gains.blue)},
                              ""});
        const auto add = [&](const char* colour, uint16_t q10, const Measured& unrounded) {
            const double rounded = unrounded.uncertainty > 0 ? with_rounding(unrounded.uncertainty, 1 / kGainUnity) : 0;
            section.figures.push_back({name + "_gain_" + colour, q10 / kGainUnity, "", known(rounded), 1 / kGainUnity});
            section.figures.push_back({name + "_unrounded_gain_" + colour, unrounded.value, "",
                                       known(unrounded.uncertainty), 1 / kGainUnity});
        };
        add("red", result.gains.red, result.unrounded.red);
        add("blue", result.gains.blue, result.unrounded.blue);
        if (result.unrounded.red.uncertainty > 0) {
            const auto measured = [](const Measured& unrounded) {
                return text("%.5f +/- %.5f", unrounded.value, unrounded.uncertainty);
            };
            table.rows.back().remark =
                "  unrounded: red " + measured(result.unrounded.red) + ", blue " + measured(result.unrounded.blue);
        }
    }
    add_plots(results, section);
    return section;
}

}  // namespace cali::host
