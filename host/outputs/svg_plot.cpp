#include "outputs/svg_plot.h"

#include <algorithm>
#include <cmath>
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
        case Tint::green_red: return "#27ae60";
        case Tint::green_blue: return "#16a085";
        case Tint::blue: return "#2980b9";
        default: return "#333333";
    }
}

/// Values of an axis onto its length, 0 to 1.
class Scale {
public:
    explicit Scale(const Axis& axis) : low_(axis.low.value()), high_(axis.high.value()) {}

    [[nodiscard]] double share(double value) const { return (value - low_) / (high_ - low_); }
    [[nodiscard]] double value(double share) const { return low_ + share * (high_ - low_); }

private:
    double low_;
    double high_;
};

class Sheet {
public:
    explicit Sheet(const Plot& plot) : plot_(plot), x_(plot.x), y_(plot.y) {}

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
        svg += label(kPlotWidth / 2, kPlotHeight - 15, "middle", plot_.x.name);
        return svg + label(kMargin, kMargin - 35, "start", plot_.title) +
               label(kMargin, kMargin - 15, "start", plot_.y.name);
    }

    [[nodiscard]] std::string drawn(const Series& series) const {
        const char* const colour = colour_of(series.tint);
        std::string svg;
        if (series.kind == Series::Kind::points) {
            for (const auto& [a, b] : series.points) {
                svg += text("<circle cx=\"%.1f\" cy=\"%.1f\" r=\"3.5\" fill=\"%s\"/>\n", x(a), y(b), colour);
            }
            return svg;
        }
        for (const auto& [a, b] : series.points) {
            if (std::isfinite(b)) {  // a line through levels that are all the same is none
                svg += text("%s%.1f %.1f", svg.empty() ? "M" : "L", x(a), y(b));
            }
        }
        return "<path d=\"" + svg +
               text("\" fill=\"none\" stroke=\"%s\" stroke-width=\"1\" stroke-dasharray=\"%s\"/>\n", colour,
                    series.kind == Series::Kind::dashes ? "5 4" : "none");
    }

    const Plot& plot_;
    Scale x_;
    Scale y_;
};

}  // namespace

std::string svg_text(const Section& section, const std::string& name) {
    const auto plot = std::ranges::find(section.plots, name, &Plot::name);
    if (plot == section.plots.end()) {
        throw std::out_of_range("a section without the plot " + name);
    }
    return Sheet(*plot).text_of();
}

}  // namespace cali::host
