#include "outputs/report_page.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

#include "base/text.h"
#include "math/colour_space.h"

namespace cali::host {
namespace {

constexpr std::array<const char*, 9> kTints = {"plain", "red",    "green_red", "green_blue", "green",
                                               "blue",  "before", "after",     "other"};
constexpr std::array<const char*, 6> kKinds = {"points", "line", "dashes", "bars", "steps", "arrows"};

/// In as many digits as a picture shows: it keeps the page small.
Json short_number(double value) {
    if (!std::isfinite(value)) {
        return {};
    }
    constexpr int kShownDigits = 5;
    const double digits = value == 0 ? 0 : kShownDigits - 1 - std::floor(std::log10(std::abs(value)));
    const double factor = std::pow(10, std::clamp(digits, -300.0, 300.0));
    const double rounded = std::round(value * factor) / factor;
    return std::isfinite(rounded) ? Json(rounded) : Json(value);
}

Json short_numbers(const std::vector<double>& values) {
    Json list = Json::array();
    for (const double value : values) {
        list.push_back(short_number(value));
    }
    return list;
}

Json points_of(const std::vector<std::array<double, 2>>& points) {
    Json list = Json::array();
    for (const auto& [x, y] : points) {
        Json point = Json::array();
        point.push_back(short_number(x));
        point.push_back(short_number(y));
        list.push_back(std::move(point));
    }
    return list;
}

Json axis_of(const Axis& axis) {
    Json json = Json::object();
    json["name"] = axis.name;
    json["log"] = axis.logarithmic;
    if (axis.low) {
        json["low"] = short_number(*axis.low);
    }
    if (axis.high) {
        json["high"] = short_number(*axis.high);
    }
    return json;
}

std::string srgb_colour(const std::array<double, 3>& linear) {
    std::string code = "#";
    for (const double component : linear) {
        const double value = component > 0 ? std::min(component, 1.0) : 0.0;
        code += cali::host::text("%02x", static_cast<unsigned>(std::lround(255 * srgb_encode(value))));
    }
    return code;
}

}  // namespace

std::string number_text(double value, std::optional<double> uncertainty) {
    if (uncertainty && *uncertainty > 0 && std::isfinite(value)) {
        const int decimals = std::clamp(1 - static_cast<int>(std::floor(std::log10(*uncertainty))), 0, 9);
        return cali::host::text("%.*f", decimals, value);
    }
    return cali::host::text("%.5g", value);
}

void ReportPage::heading(int level, const std::string& text, const std::string& id) {
    const std::string tag = "h" + std::to_string(level);
    body_ += "<" + tag + (id.empty() ? "" : " id=\"" + html(id) + "\"") + ">" + html(text) + "</" + tag + ">\n";
}

void ReportPage::paragraph(const std::string& text) { body_ += "<p>" + html(text) + "</p>\n"; }

void ReportPage::grid(const Grid& grid) {
    if (grid.rows.empty()) {
        return;
    }
    // What is wider than the page scrolls, and can be reached by keyboard.
    body_ += "<div class=\"wide\" tabindex=\"0\" role=\"group\" aria-label=\"" + html(grid.caption) +
             "\"><table class=\"sortable\"><caption>" + html(grid.caption) + "</caption>\n<thead><tr>";
    for (std::size_t i = 0; i < grid.columns.size(); ++i) {
        body_ += std::string("<th scope=\"col\"") + (grid.rows.front()[i].number ? " class=\"number\">" : ">") +
                 html(grid.columns[i]) + "</th>";
    }
    body_ += "</tr></thead>\n<tbody>\n";
    for (const std::vector<Cell>& row : grid.rows) {
        body_ += "<tr>";
        for (const Cell& cell : row) {
            body_ += (cell.number ? "<td class=\"number\">" : "<td>") + cell.markup + "</td>";
        }
        body_ += "</tr>\n";
    }
    body_ += "</tbody></table></div>\n";
}

void ReportPage::section(const Section& section, int level) {
    body_ += "<article>\n";
    heading(level, section.title);
    for (const std::string& warning : section.warnings) {
        body_ += "<p class=\"warning\">" + html(warning) + "</p>\n";
    }
    body_ += "<div class=\"charts\">\n";
    std::ranges::for_each(section.pictures, [&](const Picture& one) { picture(one); });
    std::ranges::for_each(section.swatches, [&](const Swatches& one) { swatches(one); });
    std::ranges::for_each(section.plots, [&](const Plot& one) { plot(one); });
    std::ranges::for_each(section.maps, [&](const Map& one) { map(one); });
    body_ += "</div>\n";
    std::ranges::for_each(section.tables, [&](const Table& one) { table(one, section.title); });
    for (const std::string& note : section.notes) {
        paragraph(note);
    }
    figures(section.figures, section.title);
    body_ += "</article>\n";
}

void ReportPage::table(const Table& table, const std::string& caption) {
    body_ += "<div class=\"wide\" tabindex=\"0\" role=\"group\" aria-label=\"" + html(caption) + "\"><table>\n";
    if (table.header) {
        body_ += "<thead><tr>";
        for (const Column& column : table.columns) {
            body_ += column.name.empty() ? "<td></td>"
                                         : std::string("<th scope=\"col\"") +
                                               (column.left ? ">" : " class=\"number\">") + html(column.name) + "</th>";
        }
        body_ += "</tr></thead>\n";
    }
    body_ += "<tbody>\n";
    for (const Row& row : table.rows) {
        body_ += "<tr>";
        for (std::size_t i = 0; i < row.cells.size(); ++i) {
            body_ += (table.columns[i].left ? "<td>" : "<td class=\"number\">") + html(row.cells[i]) + "</td>";
        }
        body_ += "</tr>\n";
        if (!row.remark.empty()) {
            body_ += "<tr class=\"remark\"><td colspan=\"" + std::to_string(table.columns.size()) + "\">" +
                     html(row.remark) + "</td></tr>\n";
        }
    }
    body_ += "</tbody></table></div>\n";
}

void ReportPage::figures(const std::vector<Figure>& figures, const std::string& of) {
    if (figures.empty()) {
        return;
    }
    const bool truth = std::ranges::any_of(figures, [](const Figure& figure) { return figure.truth.has_value(); });
    Grid all{"Figures of " + of, {"figure", "value", "uncertainty", "unit"}, {}};
    if (truth) {
        all.columns.insert(all.columns.end(), {"truth", "error"});
    }
    for (const Figure& figure : figures) {
        all.rows.push_back({{html(figure.name)},
                            {number_text(figure.value, figure.uncertainty), true},
                            {figure.uncertainty ? number_text(*figure.uncertainty) : "", true},
                            {html(figure.unit)}});
        if (truth) {
            all.rows.back().push_back({figure.truth ? number_text(*figure.truth, figure.uncertainty) : "", true});
            all.rows.back().push_back({figure.truth ? number_text(figure.value - *figure.truth) : "", true});
        }
    }
    body_ += cali::host::text("<details%s><summary>%zu figures%s</summary>\n", truth ? " open" : "", figures.size(),
                              truth ? ", and the simulated sensor's truth" : "");
    grid(all);
    body_ += "</details>\n";
}

void ReportPage::plot(const Plot& plot) {
    Json data = Json::object();
    data["title"] = plot.title;
    data["x"] = axis_of(plot.x);
    data["y"] = axis_of(plot.y);
    data["series"] = Json::array();
    for (const Series& series : plot.series) {
        Json one = Json::object();
        one["name"] = series.name;
        one["kind"] = kKinds[static_cast<std::size_t>(series.kind)];
        one["tint"] = kTints[static_cast<std::size_t>(series.tint)];
        one["points"] = points_of(series.points);
        if (!series.labels.empty()) {
            one["labels"] = series.labels;
        }
        data["series"].push_back(std::move(one));
    }
    data["bands"] = Json::array();
    for (const Band& band : plot.bands) {
        Json one = Json::object();
        one["name"] = band.name;
        one["low"] = short_number(band.low);
        one["high"] = short_number(band.high);
        one["of_x"] = band.of_x;
        one["tint"] = kTints[static_cast<std::size_t>(band.tint)];
        data["bands"].push_back(std::move(one));
    }
    chart(std::move(data), plot.title);
}

void ReportPage::map(const Map& map) {
    Json data = Json::object();
    data["title"] = map.title;
    data["unit"] = map.unit;
    data["columns"] = map.columns;
    data["rows"] = map.rows();
    data["x"] = map.x;
    data["y"] = map.y;
    data["values"] = short_numbers(map.values);
    if (map.low && map.high) {
        data["low"] = short_number(*map.low);
        data["high"] = short_number(*map.high);
    }
    chart(std::move(data), map.title);
}

void ReportPage::chart(Json data, const std::string& title) {
    charts_.push_back(std::move(data));
    const std::string name = html(title);
    body_ += "<figure class=\"chart\"><figcaption>" + name +
             "</figcaption><div class=\"canvas\" role=\"img\" aria-label=\"" + name +
             "\"></div><details class=\"data\"><summary aria-label=\"Data of " + name +
             "\">Data</summary></details></figure>\n";
}

void ReportPage::picture(const Picture& picture) {
    body_ += "<figure class=\"picture\"><figcaption>" + html(picture.title) + "</figcaption>" +
             cali::host::text("<svg viewBox=\"0 0 %d %d\" role=\"img\" aria-label=\"", picture.width, picture.height) +
             html(picture.title) +
             cali::host::text("\"><image width=\"%d\" height=\"%d\" href=\"", picture.width, picture.height) +
             png_source(picture.png) + "\"/>";
    for (const Outline& outline : picture.outlines) {
        std::string points;
        double x = 0;
        double y = 0;
        for (const auto& [a, b] : outline.corners) {
            points += cali::host::text("%.1f,%.1f ", a, b);
            x += a / static_cast<double>(outline.corners.size());
            y += b / static_cast<double>(outline.corners.size());
        }
        body_ += "<polygon points=\"" + points + "\"/>" + cali::host::text("<text x=\"%.1f\" y=\"%.1f\">", x, y) +
                 html(outline.label) + "</text>";
    }
    body_ += "</svg></figure>\n";
}

/// Three stripes for a patch: measured, corrected, reference.
void ReportPage::swatches(const Swatches& swatches) {
    constexpr std::size_t kColumns = 6;
    constexpr int kSide = 60;
    constexpr int kWidth = 18;
    const std::size_t rows = (swatches.measured.size() + kColumns - 1) / kColumns;
    const std::string title = "Patches: measured, corrected, reference, from left to right";
    body_ += "<figure class=\"picture\"><figcaption>" + html(title) + "</figcaption>" +
             cali::host::text("<svg viewBox=\"0 0 %zu %zu\" role=\"img\" aria-label=\"%s\">", kColumns * kSide,
                              rows * kSide, title.c_str());
    for (std::size_t i = 0; i < swatches.measured.size(); ++i) {
        const std::size_t x = i % kColumns * kSide;
        const std::size_t y = i / kColumns * kSide;
        std::size_t left = x + 3;
        for (const auto* const colours : {&swatches.measured, &swatches.corrected, &swatches.reference}) {
            body_ += cali::host::text("<rect x=\"%zu\" y=\"%zu\" width=\"%d\" height=\"%d\" fill=\"%s\"/>", left, y + 3,
                                      kWidth, kSide - 6, srgb_colour((*colours)[i]).c_str());
            left += kWidth;
        }
    }
    body_ += "</svg></figure>\n";
}

std::string ReportPage::text(const std::string& title) const {
    const bool drawn = !kCharts.text.empty();
    const std::string note = drawn ? ""
                                   : "<p class=\"warning\">This program was built without its chart library: "
                                     "there are no charts, but their data.</p>\n";
    return to_text(WebPage{title,
                           kReportStyle,
                           {&kCharts, &kReportScript},
                           note + "<main>\n" + body_ + "</main>\n" + json_block("charts", charts_.dump(-1))});
}

}  // namespace cali::host
