/// Results of a calibration as a file: results.json. docs/results.md describes it.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "calibrations/black_level.h"
#include "calibrations/colour_matrix.h"
#include "calibrations/colour_table.h"
#include "calibrations/lens_shading.h"
#include "calibrations/noise.h"
#include "calibrations/white_balance_curve.h"

namespace cali::host {

struct BlackLevelResults {
    BlackLevelMethod method = BlackLevelMethod::median;
    BlackLevels values;
    std::vector<DarkFrameLevels> frames;
};

/// What has been calibrated; absent sections are left out of the file.
struct Results {
    Capture geometry;  ///< without samples
    std::optional<BlackLevelResults> black_level;
    std::vector<LensShading> lens_shading;
    std::vector<WhiteBalance> white_balance;
    std::optional<CurveResult> curve;
    std::vector<MatrixCalibration> matrices;
    std::vector<ColourTable> tables;
    std::optional<NoiseResults> noise;
};

/// File names are written relative to `folder` where they lie below it.
[[nodiscard]] std::string to_json_text(const Results& results, const std::filesystem::path& folder);

void write_results(const std::filesystem::path& file, const Results& results);

/// The values that later steps apply. Throws InputError.
struct StoredResults {
    std::filesystem::path file;
    Capture geometry;  ///< without samples
    std::optional<BlackLevels> black_level;
    std::vector<LensShading> lens_shading;  ///< without what was measured
    std::vector<WhiteBalance> white_balance;
    std::vector<TableInput> charts;
};
[[nodiscard]] StoredResults read_results(const std::filesystem::path& file);

/// The values for one light; with several and no light, InputError. Gains of 1 where they are not asked for.
[[nodiscard]] ChartFrontEnd choose_front_end(const StoredResults& stored, std::optional<double> illuminant_k,
                                             bool with_gains);

/// The entry for a light: the only one, or the one of that temperature. Throws InputError.
[[nodiscard]] WhiteBalance choose_white_balance(const StoredResults& stored, std::optional<double> illuminant_k);

/// The black level of a results file; none, with a word on standard error, for an empty name. Throws InputError.
[[nodiscard]] BlackLevels read_black_level(const std::string& file);

/// Readable tables on standard output.
void print_black_level(const BlackLevelResults& results);
void print_lens_shading(const std::vector<LensShading>& results);
void print_white_balance(const std::vector<WhiteBalance>& results);

}  // namespace cali::host
