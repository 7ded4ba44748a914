/// What a calibration tells of itself, apart from how it is shown: the console, files and reports are writers over
/// this.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace cali::host {

/// One number with its unit: "codes", "K", "%"; empty for a ratio. The uncertainty is one standard deviation.
struct Figure {
    std::string name;
    double value = 0;
    std::string unit;
    std::optional<double> uncertainty = {};  ///< standard uncertainty, in the same unit
    double step = 0;                         ///< of the register that holds it; 0: none does
    std::optional<double> truth = {};        ///< of a simulated sensor
};

struct Column {
    std::string name;
    int width = 0;  ///< characters; wider texts are not cut
    bool left = false;
};

/// Cells as they are read, one per column; a remark stands below its row.
struct Row {
    std::vector<std::string> cells;
    std::string remark;
};

struct Table {
    std::vector<Column> columns;
    std::vector<Row> rows;
    bool header = true;  ///< whether the columns' names are shown
};

/// What a colour of a plot stands for. Writers have palettes of their own, and tell series apart by more than colour.
enum class Tint { plain, red, green_red, green_blue, green, blue, before, after, other };

struct Axis {
    // As an aggregate inside another it would be destroyed twice by gcc 12 where what is made after it finds no memory.
    Axis(std::string with_unit, bool steps_multiply = false, std::optional<double> begin = {},
         std::optional<double> end = {})
        : name(std::move(with_unit)), logarithmic(steps_multiply), low(begin), high(end) {}

    std::string name;  ///< with its unit
    bool logarithmic;
    std::optional<double> low;  ///< where it begins and ends; empty: by the values
    std::optional<double> high;
};

struct Series {
    enum class Kind { points, line, dashes, bars, steps, arrows };

    std::string name;
    Kind kind = Kind::points;
    Tint tint = Tint::plain;
    std::vector<std::array<double, 2>> points;  ///< x and y; of arrows where they begin and where they end by turns
    std::vector<std::string> labels = {};       ///< one for a point or an arrow, or none at all
};

/// A stretch of an axis, such as what a limit leaves; a line where it has one value alone.
struct Band {
    std::string name;
    double low = 0;
    double high = 0;
    bool of_x = false;
    Tint tint = Tint::plain;  ///< of the series that it belongs to, where there is one
};

struct Plot {
    std::string name;  ///< within the section: "deviation"
    std::string title;
    Axis x;
    Axis y;
    std::vector<Series> series;
    std::vector<Band> bands = {};
    std::string limit = {};  ///< code of the check whose limits belong on the y axis
};

/// Values over the frame, or over two components of colours: columns from the left, rows from the top.
struct Map {
    std::string name;
    std::string title;
    std::string unit;
    std::size_t columns = 0;
    std::vector<double> values;  ///< row-major; not a number where there is none
    /// Ends of the colour scale; empty: of the values. With low = -high the middle is neutral.
    std::optional<double> low = {};
    std::optional<double> high = {};
    std::string x = "column";
    std::string y = "row";

    [[nodiscard]] std::size_t rows() const { return columns == 0 ? 0 : values.size() / columns; }
};

/// Something drawn over a picture, in its pixels.
struct Outline {
    std::string label;
    std::vector<std::array<double, 2>> corners;
};

struct Picture {
    std::string title;
    std::string png;
    int width = 0;
    int height = 0;
    std::vector<Outline> outlines = {};
};

/// A chart's patches in chart order as triples of linear colours, 1 = white.
struct Swatches {
    std::vector<std::array<double, 3>> measured;
    std::vector<std::array<double, 3>> corrected;
    std::vector<std::array<double, 3>> reference;
};

struct Section {
    std::string title;
    std::vector<Figure> figures;
    std::vector<Table> tables;
    std::vector<Plot> plots;
    std::vector<Map> maps;
    std::vector<Picture> pictures;
    std::vector<Swatches> swatches;
    std::vector<std::string> notes;
    std::vector<std::string> warnings;  ///< what makes the values doubtful
};

}  // namespace cali::host
