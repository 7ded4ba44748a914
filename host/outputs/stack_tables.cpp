#include "outputs/stack_tables.h"

#include <algorithm>
#include <cmath>

#include "base/text.h"

namespace cali::host {
namespace {

/// Photosites between which gains are averaged, less where a table's values lie closer.
constexpr double kSquare = 8;

/// In photosites, 0 at the centre of the first.
double position_of(int index, int count, bool corners, int size) {
    return (corners ? static_cast<double>(index) / (count - 1) : (index + 0.5) / count) * size - 0.5;
}

struct Place {
    std::size_t first;
    double share;  ///< of the one behind it
};

Place place_of(double position, int count, bool corners, int size) {
    const double share = (position + 0.5) / size;
    const double index = std::clamp(corners ? share * (count - 1) : share * count - 0.5, 0.0, count - 1.0);
    const double first = std::min(std::floor(index), count - 2.0);
    return {static_cast<std::size_t>(first), index - first};
}

}  // namespace

double StackTable::at(double x, double y, const SensorGeometry& sensor) const {
    const Place column = place_of(x, layout.cols, layout.corners, sensor.width);
    const Place row = place_of(y, layout.rows, layout.corners, sensor.height);
    const auto cols = static_cast<std::size_t>(layout.cols);
    const auto along = [&](std::size_t line) {
        const double* const value = values.data() + line * cols + column.first;
        return std::lerp(value[0], value[1], column.share);
    };
    return std::lerp(along(row.first), along(row.first + 1), row.share);
}

GainTables gain_tables(const GainSurface& surface, const SensorGeometry& sensor, const TableLayout& layout) {
    const double reach = std::min({kSquare, sensor.width / (2.0 * layout.cols), sensor.height / (2.0 * layout.rows)});
    GainTables tables;
    tables.fill({layout, {}});
    for (int row = 0; row < layout.rows; ++row) {
        for (int col = 0; col < layout.cols; ++col) {
            const Colour gain = surface.at(position_of(col, layout.cols, layout.corners, sensor.width),
                                           position_of(row, layout.rows, layout.corners, sensor.height), reach);
            for (std::size_t c = 0; c < gain.size(); ++c) {
                tables[c].values.push_back(gain[c]);
            }
        }
    }
    return tables;
}

StackTable mix(const StackTable& low, const StackTable& high, double factor) {
    StackTable made = low;
    std::ranges::transform(low.values, high.values, made.values.begin(),
                           [&](double a, double b) { return std::lerp(a, b, factor); });
    return made;
}

double rounded(double value, int decimals) {
    const double unit = std::pow(10.0, decimals);
    return std::round(value * unit) / unit;
}

std::string decimal_text(double value, int decimals) { return text("%.*f", decimals, rounded(value, decimals) + 0.0); }

std::vector<std::string> decimal_texts(const std::vector<double>& values, int decimals) {
    std::vector<std::string> texts;
    texts.reserve(values.size());
    for (const double value : values) {
        texts.push_back(decimal_text(value, decimals));
    }
    return texts;
}

std::vector<std::string> matrix_texts(const std::array<double, 9>& matrix, int decimals) {
    std::vector<std::string> texts;
    for (std::size_t row = 0; row < 3; ++row) {
        std::array<double, 3> values{};
        std::transform(matrix.begin() + static_cast<std::ptrdiff_t>(3 * row),
                       matrix.begin() + static_cast<std::ptrdiff_t>(3 * row + 3), values.begin(),
                       [&](double value) { return rounded(value, decimals); });
        values[row] = 1 - (values[(row + 1) % 3] + values[(row + 2) % 3]);
        for (const double value : values) {
            texts.push_back(decimal_text(value, decimals));
        }
    }
    return texts;
}

}  // namespace cali::host
