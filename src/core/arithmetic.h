/// Integer and rounding rules that every stage shares. The results are register bits, so each rule is written once.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

namespace cali {

/// Truncates toward zero as the x86 conversion does: NaN and anything that no int32 holds give INT32_MIN.
[[nodiscard]] inline int32_t to_int32(double value) noexcept {
    // The first comparison is false for NaN.
    if (value > -2147483649.0 && value < 2147483648.0) {
        return static_cast<int32_t>(value);
    }
    return std::numeric_limits<int32_t>::min();
}

/// Rounding to fixed point: add 0.5, truncate toward zero (also for negative values).
[[nodiscard]] inline int32_t add_half_and_truncate(double value) noexcept { return to_int32(value + 0.5); }

/// The same with the addition in single precision.
[[nodiscard]] inline int32_t add_half_and_truncate(float value) noexcept {
    return to_int32(static_cast<double>(value + 0.5F));
}

/// A gain register: the low 16 bits of `gain`, at most 16383. Narrowing comes first, so 70000 gives 4464.
[[nodiscard]] inline uint16_t clamp_gain16(int32_t gain) noexcept {
    const auto low = static_cast<uint16_t>(static_cast<uint32_t>(gain) & 0xFFFFU);
    return low >= 16383U ? uint16_t{16383} : low;
}

/// Signed 32-bit arithmetic that wraps, as the modelled hardware's adders and multipliers do.
[[nodiscard]] inline int32_t wrap_add(int32_t a, int32_t b) noexcept {
    return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}
[[nodiscard]] inline int32_t wrap_sub(int32_t a, int32_t b) noexcept {
    return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}
[[nodiscard]] inline int32_t wrap_mul(int32_t a, int32_t b) noexcept {
    return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}

}  // namespace cali
