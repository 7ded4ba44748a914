/// Colour matrices: one chart capture in, a matrix and its proof out.
#pragma once

#include <array>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "base/conditions.h"
#include "base/record.h"
#include "base/section.h"
#include "calibrations/colour_matrix_settings.h"
#include "captures/frame.h"
#include "chart/chart_windows.h"
#include "library/library_call.h"
#include "library/tuning_values.h"
#include "math/colour_difference.h"

namespace cali::host {

/// Distances of the chart from its reference colours.
struct ChartDifferences {
    DifferenceSummary de76;
    DifferenceSummary de2000;
};

struct MatrixCalibration {
    std::filesystem::path file;
    Conditions taken;
    MatrixSettings settings;
    std::optional<ChartWindows> windows;  ///< in force
    std::string windows_from;             ///< place_name of what they come from
    std::filesystem::path flat_field;
    GainRegisters gains;  ///< in force
    double exposure = 1;  ///< factor on the restoring gains that brings the greys to their reference
    MatrixRegisters matrix;
    std::vector<Colour> measured;   ///< linear, normalised, white-balanced; 1 = white
    std::vector<Colour> corrected;  ///< by the matrix, within 0..1
    std::vector<Colour> reference;  ///< linear; measured ones may lie outside 0..1
    int limited = 0;                ///< components that the matrix pushed out of 0..1
    ChartDifferences before;
    ChartDifferences after;
    std::array<double, 9> uncertainty{};  ///< of the matrix's entries, by leaving out one patch at a time
    std::vector<double> left_out;         ///< CIEDE2000 of each patch behind the matrix made without it
    double leave_one_out = 0;             ///< mean CIEDE2000 of each patch behind the matrix made without it
    Picture picture;                      ///< of the capture, small
    double picture_scale = 1;             ///< photosites to its pixel
    Record record = {};
};

/// Windows of the chart in a frame. Throws InputError where they do not lie inside.
[[nodiscard]] ChartWindows chart_windows(const ChartPlace& place, const Capture& chart);

/// Behind `values`, whose gains the joint method does not read. The result's record has the reference file among its
/// inputs, and for which light it holds. Throws InputError; CalibrationError where the greys show no light or no matrix
/// comes out.
[[nodiscard]] MatrixCalibration calibrate_matrix(Capture& chart, const TuningValues& values,
                                                 const MatrixSettings& settings, const LibraryOutput& output);

/// What a matrix that is known makes of another capture of the chart, behind `values`, against its own reference.
/// Throws as above.
[[nodiscard]] MatrixCalibration prove_matrix(const Capture& chart, const TuningValues& values,
                                             const MatrixCalibration& matrix, const ChartPlace& place);

[[nodiscard]] Section describe(const MatrixCalibration& result);
void add_plots(const MatrixCalibration& result, Section& section);

}  // namespace cali::host
