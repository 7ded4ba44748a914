#include "outputs/svg_plot.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <stdexcept>

#include "base/text.h"
#include "outputs/web_page.h"

namespace cali::host {
namespace {

constexpr double kPlotWidth = 900;
constexpr double kPlotHeight = 600;
constexpr double kMargin = 60;
constexpr int kTicks = 5;

const char* colour_of(Tint tint) {
    switch (tint) {
        case Tint::red: return "#c0392b";
        case Tint::green_red:
        case Tint::green: return "#27ae60";
        case Tint::green_blue: return "#16a085";
        case Tint::blue: return "#2980b9";
        case Tint::before: return "#8a6d1d";
        case Tint::after: return "#1f5fa8";
        case Tint::other: return "#7a3f98";
        case Tint::plain: break;
    }
    return "#333333";
}

/// Values of an axis onto its length, 0 to 1.
class Scale {
public:
    Scale(const Axis& axis, const std::vector<Series>& series, const std::vector<Band>& bands, std::size_t component)
        : logarithmic_(axis.logarithmic) {
        for (const Series& one : series) {
            for (const auto& point : one.points) {
                take(point[component]);
            }
            if (one.kind == Series::Kind::bars && component == 0) {
                take(0);
                take(static_cast<double>(one.points.size()) + 1);
            } else if (one.kind == Series::Kind::bars) {
                take(0);
            }
        }
        for (const Band& band : bands) {
            if (band.of_x == (component == 0)) {
                take(band.low);
                take(band.high);
            }
        }
        low_ = axis.low ? shown(*axis.low) : low_;
        high_ = axis.high ? shown(*axis.high) : high_;
        if (!(low_ < high_)) {
            low_ = std::isfinite(low_) ? low_ - 0.5 : 0;
            high_ = low_ + 1;
        }
        const double room = (high_ - low_) * 0.05;
        high_ += axis.high ? 0 : room;
        low_ -= axis.low ? 0 : room;
    }

    [[nodiscard]] double share(double value) const { return (shown(value) - low_) / (high_ - low_); }
    [[nodiscard]] double value(double share) const {
        const double at = low_ + share * (high_ - low_);
        return logarithmic_ ? std::pow(10, at) : at;
    }
    /// Of a value that the axis can show.
    [[nodiscard]] bool shows(double value) const { return std::isfinite(value) && (!logarithmic_ || value > 0); }

private:
    [[nodiscard]] double shown(double value) const { return logarithmic_ ? std::log10(value) : value; }
    void take(double value) {
        if (shows(value)) {
            low_ = std::min(low_, shown(value));
            high_ = std::max(high_, shown(value));
        }
    }

    bool logarithmic_;
    double low_ = std::numeric_limits<double>::infinity();
    double high_ = -std::numeric_limits<double>::infinity();
};

class Sheet {
public:
    explicit Sheet(const Plot& plot)
        : plot_(plot), x_(plot.x, plot.series, plot.bands, 0), y_(plot.y, plot.series, plot.bands, 1) {}

    [[nodiscard]] std::string text_of() const {
        std::string svg = text(
            "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 %.0f %.0f\" "
            "font-family=\"sans-serif\" font-size=\"13\">\n<rect width=\"100%%\" height=\"100%%\" "
            "fill=\"white\"/>\n",
            kPlotWidth, kPlotHeight);
        svg += axes();
        double row = 0;
        for (const Series& series : plot_.series) {
            svg += drawn(series) +
                   label(kMargin + 15, kMargin + 20 + 18 * row++, "start", series.name, colour_of(series.tint));
        }
        return svg + "</svg>\n";
    }

private:
    [[nodiscard]] double x(double value) const { return kMargin + x_.share(value) * (kPlotWidth - 2 * kMargin); }
    [[nodiscard]] double y(double value) const {
        return kPlotHeight - kMargin - y_.share(value) * (kPlotHeight - 2 * kMargin);
    }

    static std::string label(double x, double y, const char* anchor, const std::string& words,
                             const char* colour = "#333") {
        return text("<text x=\"%.1f\" y=\"%.1f\" text-anchor=\"%s\" fill=\"%s\">", x, y, anchor, colour) + html(words) +
               "</text>\n";
    }

    [[nodiscard]] std::string axes() const {
        std::string svg;
        for (int i = 0; i <= kTicks; ++i) {
            const double share = static_cast<double>(i) / kTicks;
            const double at_x = kMargin + share * (kPlotWidth - 2 * kMargin);
            const double at_y = kPlotHeight - kMargin - share * (kPlotHeight - 2 * kMargin);
            svg += text("<path d=\"M%.1f %.1fV%.1f M%.1f %.1fH%.1f\" stroke=\"#ddd\"/>\n", at_x, kMargin,
                        kPlotHeight - kMargin, kMargin, at_y, kPlotWidth - kMargin);
            svg += label(at_x, kPlotHeight - kMargin + 20, "middle", text("%.4g", x_.value(share)));
            svg += label(kMargin - 8, at_y + 4, "end", text("%.3g", y_.value(share)));
        }
        for (const Band& band : plot_.bands) {
            const std::string path = band.of_x ? text("M%.1f %.1fV%.1f", x(band.low), kMargin, kPlotHeight - kMargin)
                                               : text("M%.1f %.1fH%.1f", kMargin, y(band.low), kPlotWidth - kMargin);
            svg += "<path d=\"" + path + "\" stroke=\"#999\" stroke-dasharray=\"2 3\"/>\n";
        }
        svg += label(kPlotWidth / 2, kPlotHeight - 15, "middle", plot_.x.name);
        return svg + label(kMargin, kMargin - 35, "start", plot_.title) +
               label(kMargin, kMargin - 15, "start", plot_.y.name);
    }

    [[nodiscard]] std::string drawn(const Series& series) const {
        const char* const colour = colour_of(series.tint);
        std::string svg;
        std::string path;
        double before = 0;
        for (std::size_t i = 0; i < series.points.size(); ++i) {
            const auto& [a, b] = series.points[i];
            if (!x_.shows(a) || !y_.shows(b)) {
                continue;
            }
            switch (series.kind) {
                case Series::Kind::points:
                    svg += text("<circle cx=\"%.1f\" cy=\"%.1f\" r=\"3.5\" fill=\"%s\"/>\n", x(a), y(b), colour);
                    break;
                case Series::Kind::bars: path += text("M%.1f %.1fV%.1f", x(a), y(0), y(b)); break;
                case Series::Kind::steps: path += path.empty() ? "" : text("L%.1f %.1f", x(a), before); [[fallthrough]];
                default:
                    path += text("%s%.1f %.1f",
                                 path.empty() || (series.kind == Series::Kind::arrows && i % 2 == 0) ? "M" : "L", x(a),
                                 y(b));
                    before = y(b);
            }
        }
        if (path.empty()) {
            return svg;
        }
        return svg + "<path d=\"" + path +
               text("\" fill=\"none\" stroke=\"%s\" stroke-width=\"%d\" stroke-dasharray=\"%s\"/>\n", colour,
                    series.kind == Series::Kind::bars ? 5 : 1, series.kind == Series::Kind::dashes ? "5 4" : "none");
    }

    const Plot& plot_;
    Scale x_;
    Scale y_;
};

}  // namespace

std::string svg_text(const Plot& plot) { return Sheet(plot).text_of(); }

std::string svg_text(const Section& section, const std::string& name) {
    const auto plot = std::ranges::find(section.plots, name, &Plot::name);
    if (plot == section.plots.end()) {
        throw std::out_of_range("a section without the plot " + name);
    }
    return svg_text(*plot);
}

}  // namespace cali::host
