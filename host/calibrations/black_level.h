/// Black level from dark frames.
#pragma once

#include <array>
#include <filesystem>
#include <optional>
#include <vector>

#include "base/conditions.h"
#include "base/record.h"
#include "base/section.h"
#include "base/uncertainty.h"
#include "calibrations/black_level_settings.h"
#include "calibrations/dark_measures.h"
#include "captures/frame.h"
#include "core/histogram.h"
#include "library/library_call.h"
#include "library/tuning_values.h"

namespace cali::host {

/// Of codes; exact.
struct SampleSums {
    uint64_t count = 0;
    uint64_t sum = 0;
    uint64_t squares = 0;
};

/// How often codes of the 12-bit scale occur around the levels.
struct LevelHistogram {
    uint32_t first = 0;
    uint32_t step = 1;  ///< codes to a bin
    Channels<std::vector<uint64_t>> counts;
};

/// All global methods on one dark frame.
struct DarkFrameLevels {
    std::filesystem::path file;
    std::array<BlackLevels, kBlackLevelMethods> by_method;  ///< indexed by BlackLevelMethod
    bool median_in_bounds = true;
    std::vector<Channels<uint32_t>> blocks;  ///< local means, where asked for
    DarkMeasures measures = {};
    Channels<SampleSums> samples{};  ///< without defects
    double step = 1;                 ///< one code of the file's own depth, in 12-bit codes
    LevelHistogram histogram = {};
};

struct BlackLevelResults {
    BlackLevelMethod method = BlackLevelMethod::median;
    BlackLevels values;
    std::vector<DarkFrameLevels> frames;
    /// Unrounded, in 12-bit codes: over all frames, without samples more than 6 robust deviations off their frame's
    /// median.
    Channels<Measured> mean{};
    Conditions taken = {};
    Record record = {};
};

/// `histogram` is the frame's. `blocks` 0: no local means. Throws CalibrationError.
[[nodiscard]] DarkFrameLevels measure_dark_frame(Capture& dark, const Histogram& histogram, uint32_t blocks,
                                                 const LibraryOutput& output);

/// One method over several frames: offsets are the rounded means over the frames, one or more; with `mono` over the
/// four positions of the cell, too.
[[nodiscard]] BlackLevelResults combine(std::vector<DarkFrameLevels> frames, BlackLevelMethod method,
                                        bool mono = false);

/// Offsets that are known and not measured, in codes of `bits` bits.
[[nodiscard]] BlackLevelResults given_black_level(const Channels<double>& codes, int bits, Source source);

/// What the capture's file states, in 12-bit codes.
[[nodiscard]] std::optional<Channels<double>> stated_black_level(const Capture& capture);

[[nodiscard]] Section describe(const BlackLevelResults& results);
void add_plots(const BlackLevelResults& results, Section& section);

}  // namespace cali::host
