/// The white-balance curve over colour temperature.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "core/awb_curve.h"

namespace cali::awb {

/// A light source as the camera sees it: two ratios of its channels, its temperature in kelvin, and how often it
/// counts.
struct LightSource {
    float ratio_a;
    float ratio_b;
    float temp_k;
    uint8_t weight;
};

inline constexpr std::size_t kMostLights = 7;

/// The camera's record: see SCT_RB_CLBT_PACK.
[[nodiscard]] std::array<uint32_t, 3> pack_lights(std::span<const LightSource> lights);

/// Least-squares parabola y(x) with x = norm_a / ratio_a, y = norm_b / ratio_b over the lights, each repeated by its
/// weight. While it opens downward or dips below 0, one anchor at x = 0, rising in steps of 0.1 above the largest y,
/// is added and the fit repeated, at most 101 times. Throws std::bad_alloc.
[[nodiscard]] AwbCurve fit_curve(float norm_a, float norm_b, std::span<const LightSource> lights);

inline constexpr std::size_t kCurveSamples = 200;

/// Gains at steps of 1/100: the running minimum of the curve, from reference gains in 1/1024, within 0..8.
void sample_curve(const AwbCurve& curve, float ref_a, float ref_b, std::span<float, kCurveSamples> table);

}  // namespace cali::awb
