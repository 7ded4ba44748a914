/// Look-up tables for what a matrix leaves of the colour error.
#pragma once

#include <filesystem>
#include <optional>
#include <vector>

#include "base/conditions.h"
#include "base/record.h"
#include "base/section.h"
#include "calibrations/colour_table_settings.h"
#include "library/library_call.h"
#include "math/colour_difference.h"

namespace cali::host {

/// Mean CIEDE2000 behind the matrix below which no table is offered: nobody sees less.
inline constexpr double kLeastTableNeed = 0.5;

/// A chart's patches behind its matrix, within 0..1, and what they should be: linear.
struct TableInput {
    std::filesystem::path file;
    Conditions taken;
    std::vector<Colour> corrected;
    std::vector<Colour> reference;
    int limited = 0;                            ///< components that the matrix pushed out of 0..1
    std::filesystem::path reference_file = {};  ///< empty: the built-in table
};

struct ColourTable {
    TableInput input;
    ColourTableSettings settings;  ///< in force: nothing is empty
    std::vector<int32_t> value;    ///< as the export lays it out
    std::vector<Colour> result;    ///< linear patches behind the table
    DifferenceSummary before;      ///< CIEDE2000
    DifferenceSummary after;
    bool needed = true;        ///< whether the matrix leaves kLeastTableNeed or more
    double leave_one_out = 0;  ///< mean over the patches, each behind a table made without it
    double grey_movement = 0;  ///< largest CIEDE2000 of a 64-step grey ramp
    bool chosen = false;       ///< strength or radius were left to the program
    Record record = {};

    /// What the table brings patches that it was not made with; below 0 it does harm.
    [[nodiscard]] double gain() const { return before.mean - leave_one_out; }
};

/// Throws CalibrationError.
[[nodiscard]] ColourTable calibrate_table(const TableInput& input, const ColourTableSettings& settings,
                                          const LibraryOutput& output);

/// How far the table moves a colour, encoded, 0..1: CIEDE2000.
[[nodiscard]] double movement(const ColourTable& table, const Colour& encoded);

[[nodiscard]] Section describe(const ColourTable& table);
void add_plots(const ColourTable& table, Section& section);

}  // namespace cali::host
