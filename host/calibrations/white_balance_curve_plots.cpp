#include <algorithm>

#include "base/text.h"
#include "calibrations/plot_parts.h"
#include "calibrations/white_balance_curve.h"

namespace cali::host {

void add_plots(const CurveResult& curve, Section& section) {
    Plot plot{"curve", "Lights and the fitted curve", {"x: red"}, {"y: blue"}, {}, {}, ""};
    Series lights{"lights", Series::Kind::points, Tint::plain, {}};
    if (curve.points.empty()) {
        return;
    }
    double low = curve.points.front().x;
    double high = low;
    for (const CurvePoint& point : curve.points) {
        lights.points.push_back({point.x, point.y});
        lights.labels.push_back(text("%.0f K", point.illuminant_k));
        low = std::min(low, point.x);
        high = std::max(high, point.x);
    }
    const auto& [a, b, c, pack] = curve.fit;
    const std::array<double, 3> fit = {static_cast<double>(a), static_cast<double>(b), static_cast<double>(c)};
    plot.series = {Series{"curve", Series::Kind::line, Tint::after,
                          sampled(low, high, false, [&](double x) { return (fit[0] * x + fit[1]) * x + fit[2]; })},
                   std::move(lights)};
    section.plots.push_back(std::move(plot));
}

}  // namespace cali::host
