/// The white-balance curve over several lights.
#pragma once

#include <vector>

#include "base/record.h"
#include "base/section.h"
#include "cali/cali.h"
#include "calibrations/white_balance.h"

namespace cali::host {

/// A light's ratios over those of the reference light, and what the curve makes of them.
struct CurvePoint {
    double illuminant_k = 0;
    double x = 0;
    double y = 0;
    double fitted_y = 0;
};

struct CurveResult {
    AwbCurveRecord fit{};
    double reference_k = 0;  ///< the light nearest 5000 K
    std::vector<CurvePoint> points;
    std::vector<float> table;  ///< the curve at x = 0, 0.01, ... 1.99: its running minimum, within 0..8
    Record record = {};
};

inline constexpr std::size_t kLeastCurveLights = 3;
inline constexpr std::size_t kMostCurveLights = 7;

/// Those whose light is known, one of each light: with the least gain.
[[nodiscard]] std::vector<WhiteBalance> curve_lights(const std::vector<WhiteBalance>& entries);

/// Through `curve_lights` of the entries. x is the red gain, y the blue gain, each over that of the reference light.
/// Throws InputError where there are fewer than three or more than seven.
[[nodiscard]] CurveResult fit_curve(const std::vector<WhiteBalance>& entries, const std::filesystem::path& file,
                                    const LibraryOutput& output);

[[nodiscard]] Section describe(const CurveResult& curve);
void add_plots(const CurveResult& curve, Section& section);

}  // namespace cali::host
