/// Colour matrices as the program runs them: one chart capture in, a matrix and its proof out.
#pragma once

#include <filesystem>
#include <optional>
#include <vector>

#include "calibrations/black_level.h"
#include "calibrations/colour_matrix_settings.h"
#include "calibrations/lens_shading.h"
#include "math/colour_difference.h"

namespace cali::host {

/// Distances of the chart from its reference colours.
struct ChartDifferences {
    DifferenceSummary de76;
    DifferenceSummary de2000;
};

/// The front end's values that a chart is measured behind.
struct ChartFrontEnd {
    BlackLevels black_level;
    ShadingGrids grids;
    std::filesystem::path flat_field;  ///< empty: unity grids
    WhiteBalance white_balance;        ///< the joint method finds its own
};

struct MatrixCalibration {
    std::filesystem::path file;
    std::optional<double> illuminant_k;
    MatrixSettings settings;
    std::filesystem::path flat_field;
    uint16_t gain_red = 1024;  ///< in force, 1024 = 1.0
    uint16_t gain_blue = 1024;
    double exposure = 1;  ///< factor on the restoring gains that brings the greys to their reference
    std::array<float, 9> matrix{};
    std::array<int32_t, 9> matrix_q10{};
    std::vector<Colour> measured;   ///< linear, normalised, white-balanced; 1 = white
    std::vector<Colour> corrected;  ///< by the matrix, within 0..1
    std::vector<Colour> reference;  ///< linear
    int limited = 0;                ///< components that the matrix pushed out of 0..1
    ChartDifferences before;
    ChartDifferences after;
};

/// Windows of the chart in a frame. Throws InputError where they do not lie inside.
[[nodiscard]] std::array<RoiRect, kChartPatches> chart_windows(const ChartPlace& place, const Capture& chart);

/// Throws InputError; CalibrationError for a chart that is clipped, too dark or not the right way up.
[[nodiscard]] MatrixCalibration calibrate_matrix(Capture& chart, const ChartFrontEnd& front_end,
                                                 const MatrixSettings& settings, const LibraryOutput& output);

/// Readable tables on standard output.
void print_matrices(const std::vector<MatrixCalibration>& results);

}  // namespace cali::host
