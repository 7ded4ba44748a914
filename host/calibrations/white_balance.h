/// White-balance gains from a grey card, or from the greys of a chart.
#pragma once

#include <filesystem>
#include <optional>
#include <vector>

#include "base/conditions.h"
#include "base/record.h"
#include "base/section.h"
#include "base/uncertainty.h"
#include "captures/frame.h"
#include "chart/chart_windows.h"
#include "library/library_call.h"
#include "library/tuning_values.h"

namespace cali::host {

/// Means of green over those of red and blue in the window, with the uncertainty that the noise in the window makes;
/// the values applied before are taken as exact.
struct UnroundedGains {
    Measured red;
    Measured blue;
};

struct WhiteBalance {
    std::filesystem::path file;
    Conditions taken;
    std::filesystem::path flat_field;  ///< whose mesh was applied; empty: unity grids
    Window window;
    GainRegisters gains;
    UnroundedGains unrounded{};
    bool from_chart = false;  ///< the window then holds the greys that balance
    Record record = {};
};

/// Centred, even-aligned, at most 256 x 256: larger sums lose precision. Throws InputError for frames below 4 x 4.
[[nodiscard]] Window default_window(const SensorGeometry& sensor);

/// Throws InputError where the window, or the frame, is not for `cali_awb_calc`.
void require_grey_window(const Capture& grey, const Window& window);

/// Behind the black level and grids of `values`; its gains are not read. Throws InputError, CalibrationError.
[[nodiscard]] WhiteBalance measure_grey_card(Capture& grey, const TuningValues& values, const Window& window,
                                             const LibraryOutput& output);

/// Of a chart's greys between white and black; `windows` must fit the frame. Throws as above.
[[nodiscard]] WhiteBalance measure_chart_greys(Capture& chart, const TuningValues& values, const ChartWindows& windows,
                                               const LibraryOutput& output);

/// All grey cards together, one or more.
[[nodiscard]] Section describe(const std::vector<WhiteBalance>& results);
void add_plots(const std::vector<WhiteBalance>& results, Section& section);

}  // namespace cali::host
