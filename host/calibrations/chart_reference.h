/// What a chart's patches should be: the built-in table, or colours that were measured on the chart itself.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "base/record.h"
#include "math/colour_space.h"

namespace cali::host {

/// Where no file is named.
inline constexpr const char* kBuiltInReference = "built-in";

/// Colours that were measured.
struct ChartReference {
    InputRecord input;
    std::vector<Colour> xyz;  ///< in chart order; Y of the perfect white is 1
    Colour white{};           ///< XYZ of the light for which they hold, Y = 1
    std::string light;        ///< "white D65, observer 2", and what of it the file does not state
};

/// XYZ with Y = 1 of a white by name (A, C, D50, D55, D65, D75, E) for the observer of 2 or 10 degrees.
[[nodiscard]] std::optional<Colour> named_white(const std::string& name, int observer);

/// XYZ of L*, a*, b*; Y = 1 for L* = 100.
[[nodiscard]] Colour xyz_of_lab(const Colour& lab, const Colour& white);

/// Linear RGB of the white that the selector names, 1 = white. Vivid colours may lie outside 0..1.
[[nodiscard]] std::vector<Colour> linear_colours(const ChartReference& reference, int white_selector);

/// The way back: XYZ for the white `to`, Y of whites 1, of a linear colour of the white that the selector names.
[[nodiscard]] Colour xyz_of_linear(const Colour& linear, int white_selector, const Colour& to);

/// The built-in table's, which are the same for every white.
[[nodiscard]] std::vector<Colour> built_in_colours();

/// "chart.csv" of a reference file; "built-in" of none.
[[nodiscard]] std::string reference_name(const std::filesystem::path& file);

}  // namespace cali::host
