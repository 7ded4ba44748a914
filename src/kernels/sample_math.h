/// What each pipeline stage does to one sample. The row kernels do the same to many at once.
#pragma once

#include <algorithm>
#include <cstdint>

#include "core/arithmetic.h"

namespace cali::sample {

inline constexpr int32_t kFullScale = 4095;

/// Strength field of both shading blocks: full strength, in 1/4096.
inline constexpr int32_t kShadingStrength = 4095;

/// Black-level subtraction with restoring gain. No upper clamp.
[[nodiscard]] inline uint32_t black_level(uint32_t sample, uint32_t offset, float gain) {
    const auto difference = static_cast<int32_t>(sample - offset);
    const float restored = static_cast<float>(difference <= 0 ? 0 : difference) * gain;
    return static_cast<uint32_t>(add_half_and_truncate(static_cast<double>(restored)));
}

/// White-balance gain of a red or blue sample; `gain` is the register value times 1/1024.
[[nodiscard]] inline uint32_t wb_gain(uint32_t sample, float gain) {
    float v = static_cast<float>(sample) * gain;
    v = v + 0.5F;
    if (v > 4095.0F) {
        v = 4095.0F;
    }
    return static_cast<uint32_t>(to_int32(static_cast<double>(v)));
}

/// Mesh gain (512 = 1.0) and the blend at full strength.
[[nodiscard]] inline uint32_t mesh_gain(uint32_t sample, int32_t gain) {
    const auto p = static_cast<int32_t>(sample);
    const int32_t t = wrap_add(wrap_mul(gain, p), 256);
    const int32_t v = t >> 9;
    const int32_t corrected = v >= kFullScale ? kFullScale : t < 512 ? 0 : v;
    // Full strength: the uncorrected sample's share, 4095 minus the strength, is none, and what remains still scales
    // by 4095/4096, so a corrected 4095 leaves as 4094.
    return static_cast<uint32_t>((corrected * kShadingStrength + 2048) >> 12);
}

/// Distance from the centre as the radial block approximates it: an octagon in place of the circle.
[[nodiscard]] inline int32_t octagonal_distance(int32_t dx, int32_t dy) {
    const int32_t mn = std::min(dx, dy);
    const int32_t mx = std::max(dx, dy);
    return std::max((127 * mx + 24 * mn + 64) >> 7, (71 * mn + 108 * mx + 64) >> 7);
}

/// Largest radius in table units of 1/64.
inline constexpr uint32_t kMaxRadius = 1984;

/// Radius in table units; `norm` has 15 bits and the distance 14.
[[nodiscard]] inline uint32_t table_radius(int32_t distance, uint32_t norm) {
    return std::min((static_cast<uint32_t>(distance) * norm + 16U) >> 5, kMaxRadius);
}

/// Radial gain (512 = 1.0), limited to the 12-bit range.
[[nodiscard]] inline uint32_t radial_gain(uint32_t sample, int32_t gain) {
    const int32_t v = wrap_add(wrap_mul(gain, static_cast<int32_t>(sample)), 256) >> 9;
    return static_cast<uint32_t>(std::clamp(v, 0, kFullScale));
}

/// Black-level subtraction within the 12-bit range.
[[nodiscard]] inline uint32_t subtract_limited(uint32_t sample, uint32_t offset) {
    return static_cast<uint32_t>(std::clamp(static_cast<int32_t>(sample - offset), 0, kFullScale));
}

/// What a dark sample may be replaced with: a sample above the threshold. Full scale stands for none.
[[nodiscard]] inline int16_t bright_key(int32_t sample, int32_t threshold) {
    return static_cast<int16_t>(sample > threshold ? std::min(sample, kFullScale) : kFullScale);
}

/// Replaces a sample below the threshold by the mean of the smallest keys along its row and its column, or by the one
/// that there is.
[[nodiscard]] inline int32_t fill_dark(int32_t sample, int32_t threshold, int16_t in_row, int16_t in_column) {
    if (sample >= threshold) {
        return sample;
    }
    const int32_t smaller = std::min(in_row, in_column);
    if (std::max(in_row, in_column) < kFullScale) {
        return (in_row + in_column) / 2;
    }
    return smaller < kFullScale ? smaller : sample;
}

}  // namespace cali::sample
