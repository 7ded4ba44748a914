/// Look-up tables for what a matrix leaves of the colour error.
#pragma once

#include <array>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "library/library_call.h"
#include "math/colour_difference.h"

namespace cali::host {

enum class TableDomain { rgb, hsv };

struct ColourTableSettings {
    TableDomain domain = TableDomain::rgb;
    int nodes = 33;       ///< per axis
    double strength = 1;  ///< 0 to 1
    double radius = 0.2;  ///< reach of a patch, in units of the axes
};

/// A chart's patches behind its matrix, and what they should be: linear, within 0..1.
struct TableInput {
    std::filesystem::path file;
    std::optional<double> illuminant_k;
    std::vector<Colour> corrected;
    std::vector<Colour> reference;
    int limited = 0;  ///< components that the matrix pushed out of 0..1
};

struct ColourTable {
    TableInput input;
    ColourTableSettings settings;
    std::vector<int32_t> value;  ///< as the export lays it out
    std::vector<Colour> result;  ///< linear patches behind the table
    DifferenceSummary before;    ///< CIEDE2000
    DifferenceSummary after;
    double leave_one_out = 0;  ///< mean over the patches, each behind a table made without it
    double grey_movement = 0;  ///< largest CIEDE2000 of a 64-step grey ramp
};

/// Throws CalibrationError.
[[nodiscard]] ColourTable calibrate_table(const TableInput& input, const ColourTableSettings& settings,
                                          const LibraryOutput& output);

/// An rgb table as a .cube file (red fastest, 0..1). Throws InputError.
void write_cube(const std::filesystem::path& file, const ColourTable& table);

void print_table(const ColourTable& table);

}  // namespace cali::host
