#include "calibrations/white_balance.h"

#include <algorithm>

#include "base/error.h"
#include "base/text.h"
#include "library/exports.h"
#include "library/front_end.h"

namespace cali::host {
namespace {

constexpr int kLargestWindow = 256;
constexpr double kGainUnity = 1024.0;

int even_below(int value) { return value & ~1; }

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
    if (result.gains.red == 0 || result.gains.blue == 0) {
        throw CalibrationError(grey.file.string() +
                               ": red or blue has no signal above black in the window, expected a lit grey target");
    }
    return result;
}

Section describe(const std::vector<WhiteBalance>& results) {
    Section section{"White-balance gains, 1024 = 1.0", {}, {}, {}, {}, {}};
    Table& table = section.tables.emplace_back();
    table.columns = {{"grey card", 28, true}, {"light", 10}, {"red", 14}, {"green", 14}, {"blue", 14}};
    for (const WhiteBalance& result : results) {
        const std::string name = result.file.filename().string();
        const auto gain = [](uint16_t q10) { return text("%5u (%6.4f)", q10, q10 / kGainUnity); };
        table.rows.push_back({{name, result.illuminant_k ? text("%.0f K", *result.illuminant_k) : "-",
                               gain(result.gains.red), gain(result.gains.green), gain(result.gains.blue)},
                              ""});
        section.figures.push_back({name + "_gain_red", result.gains.red / kGainUnity, ""});
        section.figures.push_back({name + "_gain_blue", result.gains.blue / kGainUnity, ""});
    }
    return section;
}

}  // namespace cali::host
