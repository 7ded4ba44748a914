/// Mean colours of regions, and what is done to them before a fit.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "cali/cali.h"

namespace cali::regions {

/// Mean of the rectangle's pixels; NaN without any. Nothing is clipped.
[[nodiscard]] RoiRgbMean measure_region(const uint8_t* image, int32_t width, const RoiRect& region);

/// Each channel of `measured` through the least-squares line to `reference`, within 0..255. Spans of one length.
void fit_lines(std::span<const RoiRgbMean> measured, std::span<const RoiRgbMean> reference,
               std::span<RoiRgbMean> adjusted);

/// The measured colour with the reference's CIE lightness.
void transfer_lightness(const RoiRgbMean& measured, const RoiRgbMean& reference, RoiRgbMean& adjusted);

/// A measured colour and what it should be.
struct ColourPair {
    RoiRgbMean measured{};
    RoiRgbMean reference{};
};

/// The nearly neutral pairs by rising brightness, those that are equally bright in their order.
[[nodiscard]] std::vector<ColourPair> grey_pairs(std::span<const RoiRgbMean> measured,
                                                 std::span<const RoiRgbMean> reference, uint16_t tolerance);

/// How many pairs to insert after each of `pairs`. Empty where no plan stays within settings.max_add: the step widens
/// by 2 at most 30 times.
[[nodiscard]] std::vector<uint64_t> plan_inserts(const std::vector<ColourPair>& pairs,
                                                 const GrayInterpSettings& settings);

/// The pair at `part` of `parts` between two.
[[nodiscard]] ColourPair between(const ColourPair& lower, const ColourPair& upper, uint64_t part, uint64_t parts);

}  // namespace cali::regions
