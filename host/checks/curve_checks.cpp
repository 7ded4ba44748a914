#include "checks/curve_checks.h"

#include <algorithm>
#include <cmath>

#include "base/text.h"

namespace cali::host {
namespace {

constexpr std::size_t kLeastLights = 4;

}  // namespace

void check_curve(const CurveResult& curve, Judge& judge) {
    const auto unknown =
        std::ranges::find_if(curve.points, [](const CurvePoint& point) { return !std::isfinite(point.fitted_y); });
    if (unknown != curve.points.end()) {
        judge.hold(Check::curve_distance, unknown->fitted_y, text("%.0f K", unknown->illuminant_k));
        return;
    }
    if (curve.points.size() < kLeastLights) {
        return;
    }
    std::vector<CurvePoint> points = curve.points;
    std::ranges::sort(points, {}, &CurvePoint::illuminant_k);
    // Bluer light needs more red and less blue.
    int misplaced = 0;
    std::string places;
    for (std::size_t i = 1; i < points.size(); ++i) {
        if (points[i].x <= points[i - 1].x || points[i].y >= points[i - 1].y) {
            ++misplaced;
            places += (places.empty() ? "" : ", ") +
                      text("%.0f and %.0f K", points[i - 1].illuminant_k, points[i].illuminant_k);
        }
    }
    judge.hold(Check::curve_order, misplaced, places);
    const auto distance = [](const CurvePoint& point) { return std::abs(point.fitted_y / point.y - 1) * 100; };
    const CurvePoint& worst = *std::ranges::max_element(points, {}, distance);
    judge.hold(Check::curve_distance, distance(worst), text("%.0f K", worst.illuminant_k));
}

}  // namespace cali::host
