#include "calibrations/white_balance_curve.h"

#include <algorithm>
#include <cmath>

#include "base/error.h"
#include "base/text.h"
#include "library/exports.h"

namespace cali::host {
namespace {

constexpr double kReferenceK = 5000;

}  // namespace

std::vector<WhiteBalance> curve_lights(const std::vector<WhiteBalance>& entries) {
    std::vector<WhiteBalance> lights;
    for (const WhiteBalance& entry : entries) {
        const auto same = std::ranges::find(lights, entry.taken.illuminant_k,
                                            [](const WhiteBalance& light) { return light.taken.illuminant_k; });
        if (entry.taken.illuminant_k && same == lights.end()) {
            lights.push_back(entry);
        } else if (entry.taken.illuminant_k && entry.taken.gain < same->taken.gain) {
            *same = entry;
        }
    }
    return lights;
}

CurveResult fit_curve(const std::vector<WhiteBalance>& entries, const std::filesystem::path& file,
                      const LibraryOutput& output) {
    const std::vector<WhiteBalance> lights = curve_lights(entries);
    if (lights.size() < kLeastCurveLights || lights.size() > kMostCurveLights) {
        throw InputError(file.string() + ": white balance for " + std::to_string(lights.size()) +
                         " lights of known temperature, expected 3 to 7");
    }
    const auto reference = std::ranges::min_element(
        lights, {}, [](const WhiteBalance& light) { return std::abs(*light.taken.illuminant_k - kReferenceK); });
    // Ratios of the light's colour: red over green, and blue over green.
    const auto ratio = [](uint16_t gain) { return 1024.0F / static_cast<float>(gain); };
    std::vector<exports::CurveLight> points;
    points.reserve(lights.size());
    for (const WhiteBalance& light : lights) {
        points.push_back(
            {ratio(light.gains.red), ratio(light.gains.blue), static_cast<float>(*light.taken.illuminant_k)});
    }
    CurveResult result;
    result.reference_k = *reference->taken.illuminant_k;
    result.fit =
        exports::awb_build_curve(ratio(reference->gains.red), ratio(reference->gains.blue), points, {file, output});
    result.table = exports::awb_curve_table({file, output});
    const auto& [a, b, c, pack] = result.fit;
    for (const WhiteBalance& light : lights) {
        const double x = static_cast<double>(light.gains.red) / reference->gains.red;
        const double y = static_cast<double>(light.gains.blue) / reference->gains.blue;
        result.points.push_back({*light.taken.illuminant_k, x, y,
                                 static_cast<double>(a) * x * x + static_cast<double>(b) * x + static_cast<double>(c)});
    }
    return result;
}

Section describe(const CurveResult& curve) {
    const auto& [a, b, c, pack] = curve.fit;
    const auto coefficient = [](float value) { return static_cast<double>(value); };
    Section section;
    section.title = text("White-balance curve: y = %.5f x^2 %+.5f x %+.5f, gains over those at %.0f K", coefficient(a),
                         coefficient(b), coefficient(c), curve.reference_k);
    section.figures = {{"a", coefficient(a), ""}, {"b", coefficient(b), ""}, {"c", coefficient(c), ""}};
    Table& table = section.tables.emplace_back();
    table.columns = {{"light", 10}, {"x (red)", 12}, {"y (blue)", 12}, {"curve", 12}};
    for (const CurvePoint& point : curve.points) {
        table.rows.push_back({{text("%.0f K", point.illuminant_k), text("%.4f", point.x), text("%.4f", point.y),
                               text("%.4f", point.fitted_y)},
                              ""});
    }
    add_plots(curve, section);
    return section;
}

}  // namespace cali::host
