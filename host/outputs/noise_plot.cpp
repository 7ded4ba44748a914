#include "outputs/noise_plot.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "base/text.h"

namespace cali::host {
namespace {

constexpr double kPlotWidth = 900;
constexpr double kPlotHeight = 600;
constexpr double kMargin = 60;
constexpr std::array<const char*, 4> kColours = {"#c0392b", "#27ae60", "#16a085", "#2980b9"};
constexpr int kTicks = 5;
constexpr int kCurvePoints = 60;

/// Maps means and deviations onto the sheet.
struct Scale {
    double most_x;
    double most_y;

    [[nodiscard]] double x(double mean) const { return kMargin + mean / most_x * (kPlotWidth - 2 * kMargin); }
    [[nodiscard]] double y(double deviation) const {
        return kPlotHeight - kMargin - deviation / most_y * (kPlotHeight - 2 * kMargin);
    }
};

std::string label(double x, double y, const char* anchor, const std::string& words, const char* colour = "#333") {
    return text("<text x=\"%.1f\" y=\"%.1f\" text-anchor=\"%s\" fill=\"%s\">", x, y, anchor, colour) + words +
           "</text>\n";
}

std::string axes(const Scale& scale) {
    std::string svg;
    for (int i = 0; i <= kTicks; ++i) {
        const double mean = scale.most_x * i / kTicks;
        const double deviation = scale.most_y * i / kTicks;
        svg += text("<path d=\"M%.1f %.1fV%.1f M%.1f %.1fH%.1f\" stroke=\"#ddd\"/>\n", scale.x(mean), kMargin,
                    kPlotHeight - kMargin, kMargin, scale.y(deviation), kPlotWidth - kMargin);
        svg += label(scale.x(mean), kPlotHeight - kMargin + 20, "middle", text("%.0f", mean));
        svg += label(kMargin - 8, scale.y(deviation) + 4, "end", text("%.1f", deviation));
    }
    svg += label(kPlotWidth / 2, kPlotHeight - 15, "middle", "mean above black, codes of 12 bits");
    return svg +
           label(kMargin, kMargin - 20, "start", "standard deviation, codes; line: linear, dashed: from variance");
}

std::string channel_curves(const Scale& scale, const NoiseResults& results, std::size_t c) {
    std::string svg;
    for (const NoiseLevel& level : results.levels) {
        svg += text("<circle cx=\"%.1f\" cy=\"%.1f\" r=\"3.5\" fill=\"%s\"/>\n",
                    scale.x(static_cast<double>(level.mean[c])), scale.y(static_cast<double>(level.deviation[c])),
                    kColours[c]);
    }
    const auto curve = [&](auto&& value, const char* dash) {
        std::string path;
        for (int i = 0; i <= kCurvePoints; ++i) {
            const double mean = scale.most_x * i / kCurvePoints;
            path += text("%s%.1f %.1f", i == 0 ? "M" : "L", scale.x(mean), scale.y(std::max(value(mean), 0.0)));
        }
        return "<path d=\"" + path +
               text("\" fill=\"none\" stroke=\"%s\" stroke-dasharray=\"%s\"/>\n", kColours[c], dash);
    };
    const auto line = [](const NoiseLine& fitted, double mean) {
        return static_cast<double>(fitted.slope) * mean + static_cast<double>(fitted.intercept);
    };
    svg += curve([&](double mean) { return line(results.deviation[c], mean); }, "none");
    svg += curve([&](double mean) { return std::sqrt(std::max(line(results.variance[c], mean), 0.0)); }, "5 4");
    return svg + label(kMargin + 15, kMargin + 20 + 18 * static_cast<double>(c), "start",
                       channel_key(c, results.record.mono), kColours[c]);
}

}  // namespace

std::string noise_plot(const NoiseResults& results) {
    Scale scale{1, 1};
    for (const NoiseLevel& level : results.levels) {
        for (std::size_t c = 0; c < kColours.size(); ++c) {
            scale.most_x = std::max(scale.most_x, static_cast<double>(level.mean[c]) * 1.05);
            scale.most_y = std::max(scale.most_y, static_cast<double>(level.deviation[c]) * 1.15);
        }
    }
    std::string svg = text(
        "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 %.0f %.0f\" "
        "font-family=\"sans-serif\" font-size=\"13\">\n<rect width=\"100%%\" height=\"100%%\" "
        "fill=\"white\"/>\n",
        kPlotWidth, kPlotHeight);
    svg += axes(scale);
    for (const ChannelLabel& channel : channel_labels(results.record.mono)) {
        svg += channel_curves(scale, results, channel.index);
    }
    return svg + "</svg>\n";
}

}  // namespace cali::host
