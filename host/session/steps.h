/// One calibration of one kind of capture each, judged: what single commands and the whole chain do alike.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "captures/burst.h"
#include "captures/capture_entry.h"
#include "captures/frame_series.h"
#include "checks/check.h"
#include "library/library_call.h"
#include "results/results.h"

namespace cali::host {

/// How every step of a run is done.
struct StepRules {
    const LibraryOutput& output;
    const Limits& limits;
    std::string command;
    OptionRecord options;
    bool forced = false;   ///< what fails its checks is applied and written all the same
    std::size_t jobs = 1;  ///< how much may be done side by side

    /// Share of its mean by which a frame of a burst may differ before it is left out.
    [[nodiscard]] double most_burst_difference() const { return limits[Check::burst_frame].warn / 100; }
};

/// A calibration's result and what its checks found. Without a result where no values came out; a rejected one is kept
/// for its figures.
template <typename T>
struct Step {
    std::optional<T> result;
    std::vector<Finding> findings;

    /// Whether later steps and files may use it.
    [[nodiscard]] bool usable() const { return result && result->record.usable(); }
};

struct BlackLevelRequest {
    std::vector<CaptureEntry> entries;
    BlackLevelMethod method = BlackLevelMethod::median;
    uint32_t blocks = 0;
    Conditions taken = {};  ///< the gain that the entries have in common
};

// All throw InputError for what no check can judge: files that cannot be read, windows outside the frame.

[[nodiscard]] Step<BlackLevelResults> black_level_step(const BlackLevelRequest& request, const StepRules& rules,
                                                       const CaptureRead& read);

[[nodiscard]] Step<LensShading> flat_step(Capture& flat, const TuningValues& values, const ShadingSettings& settings,
                                          const StepRules& rules);

[[nodiscard]] Step<WhiteBalance> grey_step(Capture& grey, const TuningValues& values, const Window& window,
                                           const StepRules& rules);

/// Gains from the greys of a chart whose light has no grey card.
[[nodiscard]] Step<WhiteBalance> chart_greys_step(Capture& chart, const TuningValues& values, const ChartPlace& place,
                                                  const StepRules& rules);

/// `file` stands for the grey cards in messages.
[[nodiscard]] Step<CurveResult> curve_step(const std::vector<WhiteBalance>& lights, const std::filesystem::path& file,
                                           const StepRules& rules);

[[nodiscard]] Step<MatrixCalibration> chart_step(Capture& chart, const TuningValues& values,
                                                 const MatrixSettings& settings, const StepRules& rules);

[[nodiscard]] Step<ColourTable> table_step(const MatrixCalibration& matrix, const ColourTableSettings& settings,
                                           const StepRules& rules);

struct NoiseRequest {
    const std::vector<SeriesLevel>& levels;
    const Geometry& geometry;
    const TuningValues& values;
    const NoiseSettings& settings;
    SensorGeometry& sensor;  ///< receives that of the first frame
    Conditions taken = {};   ///< the gain that the levels have in common
};
[[nodiscard]] Step<NoiseResults> noise_step(const NoiseRequest& request, const StepRules& rules,
                                            const CaptureRead& read);

}  // namespace cali::host
