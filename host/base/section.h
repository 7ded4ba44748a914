/// What a calibration tells of itself, apart from how it is shown: the console, files and reports are writers over
/// this.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace cali::host {

/// One number with its unit: "codes", "K", "%"; empty for a ratio. The uncertainty is one standard deviation.
struct Figure {
    std::string name;
    double value = 0;
    std::string unit;
    std::optional<double> uncertainty = {};  ///< standard uncertainty, in the same unit
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
    std::vector<Swatches> pictures;
    std::vector<std::string> notes;
    std::vector<std::string> warnings;  ///< what makes the values doubtful
};

}  // namespace cali::host
