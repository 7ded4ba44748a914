#include "calibrations/white_balance_curve.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "base/error.h"

namespace cali::host {
namespace {

constexpr double kReferenceK = 5000;
constexpr std::size_t kTableSize = 200;

}  // namespace

CurveResult fit_curve(const std::vector<WhiteBalance>& entries, const std::filesystem::path& file,
                      const LibraryOutput& output) {
    std::vector<WhiteBalance> lights;
    std::ranges::copy_if(entries, std::back_inserter(lights),
                         [](const WhiteBalance& entry) { return entry.illuminant_k.has_value(); });
    if (lights.size() < kLeastCurveLights || lights.size() > kMostCurveLights) {
        throw InputError(file.string() + ": white balance for " + std::to_string(lights.size()) +
                         " lights of known temperature, expected 3 to 7");
    }
    const auto reference = std::ranges::min_element(
        lights, {}, [](const WhiteBalance& light) { return std::abs(*light.illuminant_k - kReferenceK); });
    // Ratios of the light's colour: red over green, and blue over green.
    const auto ratio = [](uint16_t gain) { return 1024.0F / static_cast<float>(gain); };
    std::vector<float> ratio_a;
    std::vector<float> ratio_b;
    std::vector<float> temp_k;
    for (const WhiteBalance& light : lights) {
        ratio_a.push_back(ratio(light.red));
        ratio_b.push_back(ratio(light.blue));
        temp_k.push_back(static_cast<float>(*light.illuminant_k));
    }
    const std::vector<uint8_t> weight(lights.size(), 1);
    CurveResult result;
    result.reference_k = *reference->illuminant_k;
    require_accepted(output.call("cali_awb_BuildCurve",
                                 [&] {
                                     return cali_awb_BuildCurve(ratio(reference->red), ratio(reference->blue),
                                                                ratio_a.data(), ratio_b.data(), temp_k.data(),
                                                                weight.data(), static_cast<uint8_t>(lights.size()),
                                                                &result.record);
                                 }),
                     "cali_awb_BuildCurve", file);
    result.table.resize(kTableSize);
    const std::array<float, 2> unity = {0, 1024};
    require_accepted(output.call("cali_awb_getCurve",
                                 [&] { return cali_awb_getCurve(result.table.data(), unity.data(), unity.data()); }),
                     "cali_awb_getCurve", file);
    const auto& [a, b, c, pack] = result.record;
    for (const WhiteBalance& light : lights) {
        const double x = static_cast<double>(light.red) / reference->red;
        const double y = static_cast<double>(light.blue) / reference->blue;
        result.points.push_back({*light.illuminant_k, x, y,
                                 static_cast<double>(a) * x * x + static_cast<double>(b) * x + static_cast<double>(c)});
    }
    return result;
}

void print_curve(const CurveResult& curve) {
    std::printf("White-balance curve: y = %.5f x^2 %+.5f x %+.5f, gains over those at %.0f K\n",
                static_cast<double>(curve.record.a), static_cast<double>(curve.record.b),
                static_cast<double>(curve.record.c), curve.reference_k);
    std::printf("  %10s %12s %12s %12s\n", "light", "x (red)", "y (blue)", "curve");
    for (const CurvePoint& point : curve.points) {
        std::printf("  %8.0f K %12.4f %12.4f %12.4f\n", point.illuminant_k, point.x, point.y, point.fitted_y);
    }
}

}  // namespace cali::host
