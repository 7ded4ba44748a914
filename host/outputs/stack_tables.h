/// Shading tables as camera stacks lay them over a frame, and what greys are behind them.
#pragma once

#include <vector>

#include "results/camera_values.h"

namespace cali::host {

/// Where a table has its values: at the centres of equal cells, or at their corners, borders included.
struct TableLayout {
    int cols = 0;
    int rows = 0;
    bool corners = false;
};

/// Row-major from the sensor's top left over its full area.
struct StackTable {
    TableLayout layout;
    std::vector<double> values;

    /// Between four values, and towards the border the last ones; a position in photosites.
    [[nodiscard]] double at(double x, double y, const SensorGeometry& sensor) const;
};

/// Gains of red, green and blue, each a table.
using GainTables = std::array<StackTable, 3>;

[[nodiscard]] GainTables gain_tables(const GainSurface& surface, const SensorGeometry& sensor,
                                     const TableLayout& layout);

/// `factor` from `low` to `high`.
[[nodiscard]] StackTable mix(const StackTable& low, const StackTable& high, double factor);

/// What the tables of several lights come to at a temperature: between its neighbours, beyond the last ones theirs.
/// `table` gives that of a light; `lights` rise and are one or more.
template <typename Light, typename TableOf>
[[nodiscard]] StackTable table_at(const std::vector<Light>& lights, double kelvin, TableOf table) {
    std::size_t above = 0;
    while (above < lights.size() && lights[above].kelvin < kelvin) {
        ++above;
    }
    if (above == 0 || above == lights.size()) {
        return table(lights[above == 0 ? 0 : above - 1]);
    }
    const Light& low = lights[above - 1];
    const Light& high = lights[above];
    return mix(table(low), table(high), (kelvin - low.kelvin) / (high.kelvin - low.kelvin));
}

/// As files have it: `decimals` digits behind the point.
[[nodiscard]] double rounded(double value, int decimals);
[[nodiscard]] std::string decimal_text(double value, int decimals);
[[nodiscard]] std::vector<std::string> decimal_texts(const std::vector<double>& values, int decimals);

/// A matrix of nine numbers whose rows, as they are written, sum to 1 exactly.
[[nodiscard]] std::vector<std::string> matrix_texts(const std::array<double, 9>& matrix, int decimals);

}  // namespace cali::host
