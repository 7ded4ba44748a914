/// Sections as parts of a page: text and tables stand in it as they are, plots and maps as data that the page's script
/// draws.
#pragma once

#include <string>
#include <vector>

#include "base/json.h"
#include "base/section.h"
#include "outputs/web_page.h"

namespace cali::host {

/// A page as it grows.
class ReportPage {
public:
    /// Markup, as it is.
    void add(const std::string& markup) { body_ += markup; }
    void heading(int level, const std::string& text, const std::string& id = "");
    void paragraph(const std::string& text);

    /// A cell may hold markup.
    struct Cell {
        std::string markup;
        bool number = false;
    };
    struct Grid {
        std::string caption;
        std::vector<std::string> columns;
        std::vector<std::vector<Cell>> rows;
    };
    /// With buttons that sort it. Nothing where it has no rows.
    void grid(const Grid& grid);

    /// All of a section: level is that of its heading.
    void section(const Section& section, int level);

    [[nodiscard]] std::string text(const std::string& title) const;

private:
    void table(const Table& table, const std::string& caption);
    void figures(const std::vector<Figure>& figures, const std::string& of);
    void plot(const Plot& plot);
    void map(const Map& map);
    void picture(const Picture& picture);
    void swatches(const Swatches& swatches);
    void chart(Json data, const std::string& title);

    std::string body_;
    Json charts_ = Json::array();
};

/// "0.12345", in as many digits as the uncertainty leaves.
[[nodiscard]] std::string number_text(double value, std::optional<double> uncertainty = {});

}  // namespace cali::host
