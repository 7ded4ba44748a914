#include <algorithm>

#include "base/text.h"
#include "calibrations/colour_matrix.h"
#include "calibrations/plot_parts.h"

namespace cali::host {
namespace {

Plot patch_plot(const MatrixCalibration& result) {
    Plot plot{"patches", "CIEDE2000 by patch", {"patch"}, {"dE2000"}, {}, {}, "chart_worst"};
    const auto add = [&](const char* name, Tint tint, const std::vector<double>& differences) {
        if (!differences.empty()) {
            plot.series.push_back(bars(name, tint, differences.size(), [&](std::size_t i) { return differences[i]; }));
        }
    };
    add("before", Tint::before, result.before.de2000.per_patch);
    add("after", Tint::after, result.after.de2000.per_patch);
    add("without the patch", Tint::other, result.left_out);
    return plot;
}

Plot plane_plot(const MatrixCalibration& result) {
    Plot plot{"plane", "From reference to corrected", {"a*"}, {"b*"}, {}, {}, ""};
    const WhitePoint& white = white_point(result.settings.white_point);
    Series errors{"error", Series::Kind::arrows, Tint::after, {}};
    for (std::size_t i = 0; i < result.reference.size(); ++i) {
        for (const Colour& linear : {result.reference[i], result.corrected[i]}) {
            const Colour lab = lab_of_linear_rgb(linear, white);
            errors.points.push_back({lab[1], lab[2]});
        }
        errors.labels.push_back(text("%zu", i + 1));
    }
    plot.series.push_back(std::move(errors));
    return plot;
}

}  // namespace

void add_plots(const MatrixCalibration& result, Section& section) {
    if (!result.picture.png.empty()) {
        Picture& picture = section.pictures.emplace_back(result.picture);
        picture.title = "The capture, and the windows measured";
        for (std::size_t i = 0; result.windows && i < result.windows->size(); ++i) {
            const RoiRect& window = (*result.windows)[i];
            const double scale = result.picture_scale;
            const double left = window.x / scale;
            const double top = window.y / scale;
            const double right = (window.x + window.w) / scale;
            const double bottom = (window.y + window.h) / scale;
            picture.outlines.push_back(
                {text("%zu", i + 1), {{left, top}, {right, top}, {right, bottom}, {left, bottom}}});
        }
    }
    section.plots = {patch_plot(result), plane_plot(result)};
}

}  // namespace cali::host
