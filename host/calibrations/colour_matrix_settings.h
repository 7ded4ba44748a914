/// What a chart calibration is asked for.
#pragma once

#include <array>
#include <filesystem>
#include <optional>
#include <string>

#include "calibrations/chart_geometry.h"
#include "chart/chart_windows.h"

namespace cali::host {

enum class MatrixMethod { lsq, optimised, joint, measured };

[[nodiscard]] const char* matrix_method_name(MatrixMethod method);
/// Throws InputError.
[[nodiscard]] MatrixMethod parse_matrix_method(const std::string& text, const std::string& where);

/// "D65" or "D50" as the library's selector. Throws InputError.
[[nodiscard]] int parse_white_point(const std::string& text, const std::string& where);

/// "D65" of the library's selector 65.
[[nodiscard]] std::string white_point_name(int white_point);

/// Where the chart lies; nothing: it is to be found, or else fills the frame.
struct ChartPlace {
    std::optional<ChartWindows> windows;
    std::optional<Corners> corners;
    bool fills_frame = false;
    std::optional<double> confidence = {};  ///< 0..1, of corners that were found in the capture

    [[nodiscard]] bool stated() const { return windows || corners || fills_frame; }
};

/// "windows", "corners", "found" or "fills_frame".
[[nodiscard]] const char* place_name(const ChartPlace& place);

struct MatrixSettings {
    MatrixMethod method = MatrixMethod::lsq;
    int white_point = 65;
    float saturation = 1;  ///< of the optimised fit
    ChartPlace place;
    std::filesystem::path reference = {};  ///< file of the chart's measured colours; empty: the built-in table
};

/// Throws InputError where the method needs measured colours and there are none.
void require_reference(const MatrixSettings& settings);

}  // namespace cali::host
