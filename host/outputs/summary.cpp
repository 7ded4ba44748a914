#include "outputs/summary.h"

#include <algorithm>
#include <cmath>

#include "base/json.h"
#include "base/text.h"
#include "outputs/figures_csv.h"
#include "results/sections.h"

namespace cali::host {
namespace {

std::string column_of(const FigureOfUnits& figure) {
    return figure.section + (figure.entry.empty() ? "" : "." + figure.entry) + "." + figure.figure.name +
           (figure.figure.unit.empty() ? "" : " [" + figure.figure.unit + "]");
}

}  // namespace

std::string summary_csv(const std::vector<UnitRecord>& units) {
    std::vector<std::vector<UnitFigure>> figures;
    figures.reserve(units.size());
    for (const UnitRecord& unit : units) {
        figures.push_back(unit.error.empty() ? unit.figures : std::vector<UnitFigure>{});
    }
    const std::vector<FigureOfUnits> columns = compare_figures(figures);
    std::vector<std::vector<std::string>> cells(units.size(), std::vector<std::string>(columns.size()));
    std::vector<std::string> outliers(units.size());
    std::string csv = "unit,verdict,outliers,error";
    for_each_section_name([&](const char* name) { csv += std::string(",") + name; });
    for (std::size_t column = 0; column < columns.size(); ++column) {
        csv += "," + csv_field(column_of(columns[column]));
        for (const auto& [unit, value] : columns[column].values) {
            cells[unit][column] = Json(value).dump(-1);
            const double z = columns[column].z(value);
            if (std::abs(z) > kOutlier) {
                outliers[unit] +=
                    (outliers[unit].empty() ? "" : "; ") + column_of(columns[column]) + text(" z %+.1f", z);
            }
        }
    }
    csv += "\n";
    for (std::size_t i = 0; i < units.size(); ++i) {
        const UnitRecord& unit = units[i];
        csv += csv_field(unit.name) + "," + severity_name(unit.verdict) + "," + csv_field(outliers[i]) + "," +
               csv_field(unit.error);
        for (std::size_t k = 0; k < kSectionNames.size(); ++k) {
            csv += "," + (k < unit.states.size() ? unit.states[k] : "");
        }
        for (const std::string& cell : cells[i]) {
            csv += "," + cell;
        }
        csv += "\n";
    }
    return csv;
}

std::string units_list(const std::vector<UnitRecord>& units) {
    std::string list = "# results of units, for cali report --list\n";
    for (const UnitRecord& unit : units) {
        list += unit.error.empty() ? unit.name + "/results.json\n" : "";
    }
    return list;
}

std::string units_line(const std::vector<UnitRecord>& units) {
    const auto count = [&](Severity severity) { return std::ranges::count(units, severity, &UnitRecord::verdict); };
    const auto broken = std::ranges::count_if(units, [](const UnitRecord& unit) { return !unit.error.empty(); });
    return text("%zu units: %td pass, %td warn, %td fail", units.size(), count(Severity::pass), count(Severity::warn),
                count(Severity::fail)) +
           (broken > 0 ? text(" (%td of them not calibrated)", broken) : "");
}

}  // namespace cali::host
